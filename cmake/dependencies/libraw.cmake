# LibRaw as a static library, from its unpacked source: without the colour management and JPEG libraries, which raw
# samples do not need.
cmake_minimum_required(VERSION 3.25)
project(libraw CXX)
find_package(ZLIB REQUIRED)
file(GLOB_RECURSE sources src/*.cpp)
# libraw_cxx.cpp holds once more what lies in files of its own.
list(FILTER sources EXCLUDE REGEX "(_ph|libraw_cxx)\\.cpp$")
add_library(raw STATIC ${sources})
target_include_directories(raw PRIVATE ${CMAKE_SOURCE_DIR})
target_compile_definitions(raw PRIVATE LIBRAW_NODLL NO_LCMS NO_JASPER NO_JPEG USE_ZLIB LIBRAW_NOTHREADS)
target_compile_options(raw PRIVATE -w)
target_link_libraries(raw PRIVATE ZLIB::ZLIB)
install(TARGETS raw)
install(DIRECTORY libraw DESTINATION include)
