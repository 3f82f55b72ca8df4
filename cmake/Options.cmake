# What the presets switch, and the flags that every target of the project shares.

option(ZOLT_BUILD_TOOLS "Build zolt-burst (needs FFmpeg's libraries, CLI11, nlohmann-json)" ON)
option(ZOLT_BUILD_TESTS "Build the tests and the replay of the fuzz corpora" ON)
option(ZOLT_BUILD_BENCHMARKS "Build the benchmarks (needs Google Benchmark)" OFF)
option(ZOLT_BUILD_PYTHON "Build the Python module (needs python3-dev, python3-numpy, pybind11-dev)" OFF)
option(ZOLT_BUILD_GSTREAMER "Build the GStreamer element (needs libgstreamer-plugins-base1.0-dev)" OFF)
option(ZOLT_BUILD_FUZZERS "Build the libFuzzer targets (needs Clang)" OFF)
set(ZOLT_SANITIZE "" CACHE STRING "Value of -fsanitize= for every target, empty for none")
set_property(CACHE ZOLT_SANITIZE PROPERTY STRINGS "" "address,undefined" "thread")
set(ZOLT_SIMD "auto" CACHE STRING "auto: kernels for AVX2 too, picked at run time; baseline: one variant")
set_property(CACHE ZOLT_SIMD PROPERTY STRINGS auto baseline)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# -O3 is what makes GCC 12 vectorise the kernels; -O2 leaves every one of them scalar.
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O3 -g -DNDEBUG")
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_package(Threads REQUIRED)

add_library(zolt_warnings INTERFACE)
target_compile_options(zolt_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees an overlap in std::string's operator+ that isn't there.
  target_compile_options(zolt_warnings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()

if(ZOLT_SIMD STREQUAL baseline)
  add_compile_definitions(ZOLT_SIMD_BASELINE)
endif()

if(ZOLT_SANITIZE)
  add_compile_options(-fsanitize=${ZOLT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${ZOLT_SANITIZE})
endif()

# Floating point is part of the result: no contraction to fused multiply-add, so that every processor
# computes the same bits.
function(zolt_library_options target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(${target} PRIVATE -ffp-contract=off -fvisibility=hidden -fvisibility-inlines-hidden)
  target_link_libraries(${target} PRIVATE zolt_warnings Threads::Threads)
endfunction()

# What a user of the static or the shared form needs.
function(zolt_library_interface target)
  target_include_directories(${target}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} PUBLIC Threads::Threads)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  if(ANDROID)
    target_link_libraries(${target} PRIVATE log)
  endif()
endfunction()

# 16 KB pages are what new Android phones map; text relocations and undefined symbols would only show at load.
# `name` is what it is called behind zolt:: and its list of exports.
function(zolt_shared_options target name)
  set(script ${PROJECT_SOURCE_DIR}/cmake/${name}.map)
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${name} LINK_DEPENDS ${script})
  target_link_options(${target} PRIVATE -Wl,--version-script=${script} -Wl,-z,max-page-size=16384 -Wl,-z,text)
  if(NOT ZOLT_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
endfunction()
