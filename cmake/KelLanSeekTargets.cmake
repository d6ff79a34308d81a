# How every target of the project is built, and which floor stands on which.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# What runs needs the system's own libraries only; where the compiler has a switch for all that, it is this one.
set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")

find_program(KELLANSEEK_CCACHE ccache)
if(KELLANSEEK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # What it has to be told to keep what is compiled with a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${KELLANSEEK_CCACHE})
endif()

add_library(kellanseek_options INTERFACE)
target_include_directories(kellanseek_options INTERFACE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(kellanseek_options INTERFACE Threads::Threads)
if(MSVC)
  target_compile_options(kellanseek_options INTERFACE /W4 /WX /utf-8)
else()
  target_compile_options(kellanseek_options INTERFACE -Wall -Wextra -Wconversion -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(kellanseek_options INTERFACE -Wthread-safety)
endif()
if(WIN32)
  target_compile_definitions(kellanseek_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                             _WIN32_WINNT=0x0601)
endif()

# kellanseek_floor(NAME FLOOR...): the library of one folder of src/, standing on the libraries of lower folders only. Its
# include root holds a link to this folder and nothing else, so that an include of a floor above does not compile.
function(kellanseek_floor name)
  set(root ${PROJECT_BINARY_DIR}/floors/${name})
  file(MAKE_DIRECTORY ${root})
  if(NOT EXISTS ${root}/${name})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${name} ${root}/${name} RESULT linked SYMBOLIC)
    if(linked)  # A system without links: scripts/check_floors.py finds a wrong include then.
      set(root ${PROJECT_SOURCE_DIR}/src)
    endif()
  endif()
  target_include_directories(kellanseek_${name} PUBLIC ${root})
  target_link_libraries(kellanseek_${name} PUBLIC kellanseek_options)
  kellanseek_standard_headers(kellanseek_${name})
  foreach(lower IN LISTS ARGN)
    target_link_libraries(kellanseek_${name} PUBLIC kellanseek_${lower})
  endforeach()
endfunction()

# What nearly every source includes of the standard library, compiled once: half of the time that most of them take goes
# into it. Not in builds for tools that read the compile commands of each file. GCC takes what comes out of a precompiled
# header for the project's own code and warns of the inside of std::string: too often with MinGW, which goes without;
# elsewhere these warnings are off, and `./dev check` compiles the component once more without the header.
function(kellanseek_standard_headers)
  if(WIN32 OR NOT KELLANSEEK_UNITY)
    return()
  endif()
  kellanseek_precompiled_header(kellanseek_headers ${PROJECT_SOURCE_DIR}/cmake/StandardHeaders.h)
  foreach(target IN LISTS ARGN)
    kellanseek_cacheable_precompiled(${target})
    target_precompile_headers(${target} REUSE_FROM kellanseek_headers)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow
                                               -Wno-stringop-overread)
    endif()
  endforeach()
endfunction()

# What nearly every test includes, compiled once for all test programs.
function(kellanseek_test_headers)
  kellanseek_precompiled_header(kellanseek_test_headers ${PROJECT_SOURCE_DIR}/tests/support/Precompiled.h
                                GTest::gtest GTest::gmock)
  set_target_properties(kellanseek_test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
endfunction()

# kellanseek_precompiled_header(NAME HEADER LIBRARY...): the target that a precompiled header belongs to, made once.
function(kellanseek_precompiled_header name header)
  if(TARGET ${name})
    return()
  endif()
  add_library(${name} OBJECT ${PROJECT_SOURCE_DIR}/cmake/Precompiled.cpp)
  target_link_libraries(${name} PRIVATE kellanseek_options ${ARGN})
  target_precompile_headers(${name} PRIVATE ${header})
  kellanseek_cacheable_precompiled(${name})
endfunction()

# A precompiled header serves only what is compiled with the same options.
function(kellanseek_as_test target)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  kellanseek_cacheable_precompiled(${target})
endfunction()

# What the compiler has to be told so that ccache can keep what it makes of a precompiled header.
function(kellanseek_cacheable_precompiled target)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -fpch-preprocess)
  elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT MSVC)
    target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
  endif()
endfunction()

# kellanseek_test(NAME SOURCES FILE... LIBRARIES TARGET...): one test program; every case in it is a test of its own, but
# where an emulator has to be started for each the program is one test.
function(kellanseek_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} kellanseek_options GTest::gtest_main GTest::gmock)
  if(NOT MINGW)  # Its compiler warns of the inside of its own headers once they come out of a precompiled one.
    kellanseek_test_headers()
    kellanseek_as_test(${name})
    target_precompile_headers(${name} REUSE_FROM kellanseek_test_headers)
    # Half of the time that a test takes goes into the project's own headers.
    set_target_properties(${name} PROPERTIES UNITY_BUILD ${KELLANSEEK_UNITY} UNITY_BUILD_BATCH_SIZE 5)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  kellanseek_static_runtime(${name})
  if(WIN32)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/Apartment.cpp)
    target_link_libraries(${name} PRIVATE ole32)
  endif()
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT KELLANSEEK_UNDER_WINE=1)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  endif()
endfunction()
