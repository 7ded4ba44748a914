# One interface target carries what every file of ours is compiled with.
add_library(cali_options INTERFACE)
target_compile_features(cali_options INTERFACE cxx_std_20)
target_include_directories(cali_options INTERFACE ${PROJECT_SOURCE_DIR}/include)

# Contracted multiply-adds would round once where the results are defined to round twice.
target_compile_options(cali_options INTERFACE -ffp-contract=off)
if(MINGW)
  # Windows aligns stacks to 16 bytes, and the compiler takes 32 for granted where it spills wide vectors: every aligned
  # move of a vector becomes an unaligned one, which costs nothing where the address is aligned. Some compilers pass
  # that by themselves; scripts/check-dll looks.
  target_compile_options(cali_options INTERFACE -Wa,-muse-unaligned-vector-move)
  # The same commit gives the same bytes.
  target_link_options(cali_options INTERFACE -Wl,--no-insert-timestamp)
  target_compile_definitions(cali_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()
target_compile_options(cali_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CALI_WARNINGS_AS_ERRORS)
  target_compile_options(cali_options INTERFACE -Werror)
endif()
if(CALI_SANITIZE)
  target_compile_options(cali_options INTERFACE -fsanitize=${CALI_SANITIZE} -fno-sanitize-recover=all
                                                -fno-omit-frame-pointer)
  target_link_options(cali_options INTERFACE -fsanitize=${CALI_SANITIZE})
endif()
if(CALI_COVERAGE)
  target_compile_options(cali_options INTERFACE --coverage -O0)
  target_link_options(cali_options INTERFACE --coverage)
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# With CALI_UNITY, the files of a folder are one compilation: their headers are read, and checked, once.
function(compile_by_folder target)
  if(NOT CALI_UNITY)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(GET folder FILENAME folder)
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder})
  endforeach()
endfunction()
