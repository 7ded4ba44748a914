# embed_text(TARGET NAME FILE): makes the text of FILE the constant `NAME` of outputs/web_page.h, with the digest that a
# page's policy names it by.
function(embed_text target name file)
  set(made ${CMAKE_CURRENT_BINARY_DIR}/embedded/${name}.cpp)
  set(script ${PROJECT_SOURCE_DIR}/cmake/WriteEmbeddedText.cmake)
  add_custom_command(OUTPUT ${made}
    COMMAND ${CMAKE_COMMAND} -DNAME=${name} -DFILE=${file} -DMADE=${made} -P ${script}
    DEPENDS ${file} ${script}
    VERBATIM)
  target_sources(${target} PRIVATE ${made})
  # Longer than the standard asks compilers to take; all of ours do.
  set_source_files_properties(${made} PROPERTIES
    SKIP_UNITY_BUILD_INCLUSION ON SKIP_PRECOMPILE_HEADERS ON COMPILE_OPTIONS -Wno-overlength-strings)
endfunction()

# fetch_charts(RESULT): the chart library's file, from the npm registry into a cache, held against its digest; empty where
# it cannot be had, and then reports have no charts and say so.
function(fetch_charts result)
  set(${result} "" PARENT_SCOPE)
  if(NOT CALI_WITH_CHARTS)
    return()
  endif()
  set(wanted b66b25aeb4df84e33199dc21694014d336d222cbd9deb0e5a7c14bd6aa0d0fd0)
  fetch_npm_packages(folder problem charts ${CMAKE_CURRENT_SOURCE_DIR}/outputs/web)
  if(NOT folder)
    message(WARNING "reports will have no charts: ECharts could not be fetched: ${problem}")
    return()
  endif()
  # Its licence and notice go with packages.
  set(CALI_CHARTS_FOLDER ${folder}/node_modules/echarts CACHE INTERNAL "")
  set(file ${CALI_CHARTS_FOLDER}/dist/echarts.min.js)
  file(SHA256 ${file} found)
  if(NOT found STREQUAL wanted)
    message(FATAL_ERROR "${file} has the digest ${found}, expected ${wanted}: remove ${folder}")
  endif()
  set(${result} ${file} PARENT_SCOPE)
endfunction()
