# zlib as a static library, from its unpacked source: Debian's has no part for Windows. Without gzip files.
cmake_minimum_required(VERSION 3.25)
project(zlib C)
file(GLOB sources *.c)
list(FILTER sources EXCLUDE REGEX "/gz[a-z]*\\.c$")
add_library(z STATIC ${sources})
install(TARGETS z)
install(FILES zlib.h zconf.h DESTINATION include)
