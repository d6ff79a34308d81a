# How every target of the project is built, and which floor stands on which.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(KELLANSEEK_CCACHE ccache)
if(KELLANSEEK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KELLANSEEK_CCACHE})
endif()

add_library(kellanseek_options INTERFACE)
target_include_directories(kellanseek_options INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
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

# kellanseek_floor(NAME FLOOR...): the library of one folder of src/, standing on the libraries of lower folders only.
function(kellanseek_floor name)
  target_link_libraries(kellanseek_${name} PUBLIC kellanseek_options)
  foreach(lower IN LISTS ARGN)
    target_link_libraries(kellanseek_${name} PUBLIC kellanseek_${lower})
  endforeach()
endfunction()

# kellanseek_test(NAME SOURCES FILE... LIBRARIES TARGET...): one test program; every case in it is a test of its own.
function(kellanseek_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} kellanseek_options GTest::gtest_main GTest::gmock)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()
