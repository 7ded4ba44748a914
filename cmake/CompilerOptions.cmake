# One interface target carries what every file of ours is compiled with.
add_library(cali_options INTERFACE)
target_compile_features(cali_options INTERFACE cxx_std_20)
target_include_directories(cali_options INTERFACE ${PROJECT_SOURCE_DIR}/include)

# Contracted multiply-adds would round once where the results are defined to round twice.
target_compile_options(cali_options INTERFACE -ffp-contract=off)
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
