# Makes header-only libraries and GoogleTest's sources of the build host available to a cross build. The host's include
# directory as a whole stays invisible, because its other headers belong to the wrong system.

set(_host_headers ${PROJECT_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${_host_headers})
foreach(_library boost CLI nlohmann)
  if(NOT IS_DIRECTORY /usr/include/${_library})
    message(FATAL_ERROR "/usr/include/${_library} is missing: install libboost-dev, libcli11-dev and nlohmann-json3-dev")
  endif()
  file(CREATE_LINK /usr/include/${_library} ${_host_headers}/${_library} SYMBOLIC)
endforeach()

add_library(kellanseek_host_headers INTERFACE)
target_include_directories(kellanseek_host_headers SYSTEM INTERFACE ${_host_headers})
target_link_libraries(kellanseek_options INTERFACE kellanseek_host_headers)

# Lets find_package() succeed for these names.
foreach(_target Boost::headers Boost::boost CLI11::CLI11 nlohmann_json::nlohmann_json)
  add_library(${_target} INTERFACE IMPORTED GLOBAL)
endforeach()
foreach(_package Boost CLI11 nlohmann_json GTest)
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${_package}Config.cmake "")
  string(TOLOWER ${_package} _lower)
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${_lower}-config.cmake "")
endforeach()

if(KELLANSEEK_TESTS)
  if(NOT EXISTS /usr/src/googletest/CMakeLists.txt)
    message(FATAL_ERROR "/usr/src/googletest is missing: install googletest")
  endif()
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
