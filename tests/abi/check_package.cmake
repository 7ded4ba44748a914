# Installs into a fresh prefix, then builds and runs a project outside the tree that finds the library both ways, and
# the installed program.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
set(libdir ${prefix}/${LIBDIR})

function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGV}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# Found by what is installed alone, wherever it lies.
file(RENAME ${prefix} ${prefix}_moved)
set(prefix ${prefix}_moved)
set(libdir ${prefix}/${LIBDIR})

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -D CMAKE_PREFIX_PATH=${prefix}
    -D CMAKE_C_COMPILER=${C_COMPILER} -D CMAKE_CXX_COMPILER=${CXX_COMPILER} -D EXPECTED_VERSION=${VERSION})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

set(ENV{PKG_CONFIG_PATH} ${libdir}/pkgconfig)
run(pkg-config --modversion cali)
string(STRIP "${output}" found)
if(NOT found STREQUAL VERSION)
  message(FATAL_ERROR "pkg-config says version ${found}, expected ${VERSION}")
endif()
run(pkg-config --cflags --libs cali)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX_COMPILER} -std=c++20 ${SOURCE_DIR}/consumer.cpp ${flags} -Wl,-rpath,${libdir} -o ${WORK_DIR}/by_pkg_config)
run(${WORK_DIR}/by_pkg_config)

run(${prefix}/bin/cali --version)
if(NOT output MATCHES "^cali ${VERSION}")
  message(FATAL_ERROR "the installed program says '${output}', expected 'cali ${VERSION}'")
endif()
