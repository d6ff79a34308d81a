# cmake --install: headers, component, tools, and the files with which pkg-config and CMake find them.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kellanseek DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
install(TARGETS KelLanSeek
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(tool kelseek kelsim)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
if(TARGET manual)
  # Optional, because a build of the programs alone can be installed too.
  install(DIRECTORY ${PROJECT_BINARY_DIR}/share/man/ DESTINATION ${CMAKE_INSTALL_MANDIR} OPTIONAL)
  foreach(shell bash-completion zsh)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/share/${shell} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR} OPTIONAL)
  endforeach()
endif()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(NOT WIN32)  # The package for Windows has a README of its own.
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()

# The module's path and a client's link libraries: on Windows the system's COM libraries.
if(WIN32)
  set(kellanseek_module ${CMAKE_INSTALL_BINDIR}/KelLanSeek.dll)
  set(kellanseek_client_libraries ole32 oleaut32 uuid)
  install(FILES ${PROJECT_BINARY_DIR}/KelLanSeek.tlb ${PROJECT_BINARY_DIR}/KelLanSeek.X.manifest
          DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_SOURCE_DIR}/src/component/KelLanSeek.idl DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kellanseek)
else()
  set(kellanseek_module ${CMAKE_INSTALL_LIBDIR}/libKelLanSeek.so.1)
  set(kellanseek_client_libraries ${CMAKE_DL_LIBS} pthread)
endif()
list(TRANSFORM kellanseek_client_libraries PREPEND -l OUTPUT_VARIABLE kellanseek_client_flags)
list(JOIN kellanseek_client_flags " " kellanseek_client_flags)

# Relative, because the installed tree may be moved, or installed under another prefix than the configured one.
file(RELATIVE_PATH kellanseek_prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/kellanseek.pc.in kellanseek.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kellanseek.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KelLanSeek)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KelLanSeekConfig.cmake.in KelLanSeekConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_INCLUDEDIR kellanseek_module)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KelLanSeekConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KelLanSeekConfig.cmake ${PROJECT_BINARY_DIR}/KelLanSeekConfigVersion.cmake
        DESTINATION ${package_dir})

# cmake --install DIR --component register: registers the installed component, so that CoCreateInstance finds it.
configure_file(${PROJECT_SOURCE_DIR}/cmake/Register.cmake.in Register.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/Register.cmake COMPONENT register EXCLUDE_FROM_ALL)
