# The script that guards the arrows finds each wrong one in a tree made for it, and nothing else.
file(REMOVE_RECURSE ${WORK_DIR})

function(write path include)
  file(WRITE ${WORK_DIR}/${path} "#pragma once\n\n#include ${include}\n")
endfunction()

# Path, what it includes, whether that is wrong.
set(cases
  "src/core/up.h|\"kernels/row_kernels.h\"|wrong"
  "src/stages/sideways.h|\"lut/table.h\"|wrong"
  "src/chart/boundary.cpp|\"boundary/warning.h\"|wrong"
  "src/pictures/beside.h|\"boundary/warning.h\"|wrong"
  "src/awb/other.cpp|\"blc/estimators.h\"|wrong"
  "src/awb/host.cpp|\"base/error.h\"|wrong"
  "src/awb/bare.cpp|\"awb_gains.h\"|wrong"
  "src/new/folder.cpp|\"core/frame.h\"|wrong"
  "src/awb/right.cpp|\"boundary/warning.h\"|right"
  "src/awb/own.cpp|\"awb/curve.h\"|right"
  "src/lsc/system.cpp|<vector>|right"
  "src/chart/table.h|\"lut/table.h\"|right"
  "src/math/public.h|\"cali/cali.h\"|right"
  "host/outputs/options.h|<CLI/CLI.hpp>|wrong"
  "host/captures/up.h|\"calibrations/noise.h\"|wrong"
  "host/simulation/sideways.h|\"calibrations/noise.h\"|wrong"
  "host/library/boundary.cpp|\"boundary/warning.h\"|wrong"
  "host/library/fit.cpp|\"awb/curve.h\"|wrong"
  "host/calibrations/noise.h|\"calibrations/flatness.h\"|wrong"
  "host/calibrations/flatness.h|\"calibrations/lens_shading.h\"|wrong"
  "host/calibrations/lens_shading.h|\"calibrations/flatness.h\"|right"
  "host/calibrations/lens_shading.cpp|\"calibrations/lens_shading_settings.h\"|right"
  "host/commands/main.cpp|<CLI/CLI.hpp>|right"
  "host/simulation/sensor.cpp|\"stages/black_level.h\"|right"
  "host/session/chain.h|\"results/types.h\"|right")

set(expected "")
foreach(case IN LISTS cases)
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 path)
  list(GET case 1 include)
  list(GET case 2 verdict)
  write(${path} "${include}")
  if(verdict STREQUAL "wrong")
    list(APPEND expected "${path}:3")
  endif()
endforeach()
list(SORT expected)

execute_process(COMMAND ${SCRIPT} ${WORK_DIR} RESULT_VARIABLE status OUTPUT_VARIABLE output)
string(REGEX MATCHALL "[^\n]+\n" found "${output}")
list(TRANSFORM found REPLACE ": includes .*" "")
list(SORT found)
if(NOT status EQUAL 1 OR NOT found STREQUAL expected)
  message(FATAL_ERROR "status ${status}, found\n${found}\nexpected\n${expected}\n${output}")
endif()
