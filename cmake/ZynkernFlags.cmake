# What every target of this project is compiled with: the language, the warnings, the instrumentation.

option(ZYNKERN_WERROR "Treat warnings as errors" OFF)
option(ZYNKERN_COVERAGE "Count the lines and branches that run" OFF)
set(ZYNKERN_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
# The same objects go into the shared library and into the programs that look behind its exports.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

find_program(ZYNKERN_CCACHE ccache)
if(ZYNKERN_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZYNKERN_CCACHE})
endif()

# Flags that a program outside the project needs too if it is to run with an instrumented library.
set(ZYNKERN_INSTRUMENT_FLAGS "")
if(ZYNKERN_SANITIZE)
  list(APPEND ZYNKERN_INSTRUMENT_FLAGS
    -fsanitize=${ZYNKERN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()
if(ZYNKERN_COVERAGE)
  list(APPEND ZYNKERN_INSTRUMENT_FLAGS --coverage)
endif()

add_library(zynkern_flags INTERFACE)
target_compile_options(zynkern_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${ZYNKERN_WERROR}>:-Werror>
  ${ZYNKERN_INSTRUMENT_FLAGS})
target_link_options(zynkern_flags INTERFACE ${ZYNKERN_INSTRUMENT_FLAGS})
