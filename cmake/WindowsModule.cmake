# kellanseek_windows_module(TARGET): turns a shared library into the Windows component: adds the type library and other
# resources, undecorated exports and the entry point. No effect on other systems.
#
# kellanseek_windows_program(TARGET DESCRIPTION): adds a version resource and a manifest. No effect on other systems.
#
# kellanseek_static_runtime(TARGET): links the compiler's run-time libraries into a program or module, so that it needs
# only the system's own libraries.

if(NOT WIN32)
  function(kellanseek_windows_module target)
  endfunction()
  function(kellanseek_windows_program target description)
  endfunction()
  function(kellanseek_static_runtime target)
  endfunction()
  return()
endif()

enable_language(RC)

if(MINGW)
  get_filename_component(_compiler_directory ${CMAKE_CXX_COMPILER} DIRECTORY)
  find_program(KELLANSEEK_WIDL NAMES ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-widl x86_64-w64-mingw32-widl widl HINTS ${_compiler_directory} REQUIRED)
endif()

# The type library is written to ${PROJECT_BINARY_DIR}/KelLanSeek.tlb.
function(kellanseek_type_library)
  set(idl ${PROJECT_SOURCE_DIR}/src/component/KelLanSeek.idl)
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  if(MINGW)
    set(stand_ins ${PROJECT_SOURCE_DIR}/cmake/widl)
    set(widl ${KELLANSEEK_WIDL} -m${bits} --nostdinc -I${stand_ins} -t)
    add_custom_command(
      OUTPUT ${PROJECT_BINARY_DIR}/KelLanSeek.tlb
      COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/widl
      COMMAND ${widl} -o ${PROJECT_BINARY_DIR}/widl/stdole2.tlb ${stand_ins}/stdole2.idl
      COMMAND ${widl} -L${PROJECT_BINARY_DIR}/widl -o ${PROJECT_BINARY_DIR}/KelLanSeek.tlb ${idl}
      DEPENDS ${idl} ${stand_ins}/stdole2.idl ${stand_ins}/oaidl.idl
      COMMENT "Compiling the type library" VERBATIM)
  else()
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|ARM64|arm64)$")
      set(environment arm64)
    elseif(bits EQUAL 64)
      set(environment x64)
    else()
      set(environment win32)
    endif()
    add_custom_command(
      OUTPUT ${PROJECT_BINARY_DIR}/KelLanSeek.tlb
      COMMAND midl /nologo /env ${environment} /tlb ${PROJECT_BINARY_DIR}/KelLanSeek.tlb /h nul /iid nul /proxy nul
              /dlldata nul ${idl}
      DEPENDS ${idl}
      COMMENT "Compiling the type library" VERBATIM)
  endif()
endfunction()

function(kellanseek_static_runtime target)
  if(MINGW)
    target_link_options(${target} PRIVATE -static)
  endif()
endfunction()

function(kellanseek_windows_module target)
  kellanseek_type_library()
  set(component ${PROJECT_SOURCE_DIR}/src/component)
  target_sources(${target} PRIVATE
    ${PROJECT_SOURCE_DIR}/src/platform/win32/DllMain.cpp ${component}/KelLanSeek.rc ${component}/KelLanSeek.def)
  set_source_files_properties(${component}/KelLanSeek.rc TARGET_DIRECTORY ${target} PROPERTIES
    OBJECT_DEPENDS ${PROJECT_BINARY_DIR}/KelLanSeek.tlb
    INCLUDE_DIRECTORIES ${PROJECT_BINARY_DIR}
    COMPILE_DEFINITIONS
      "KELLANSEEK_VERSION=${PROJECT_VERSION};KELLANSEEK_VERSION_NUMBERS=${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},${PROJECT_VERSION_PATCH},0")
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME KelLanSeek)
  kellanseek_static_runtime(${target})
  if(MINGW AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    # The exported names deliberately lack the compiler's decoration; suppresses the linker's warning.
    target_link_options(${target} PRIVATE -Wl,--enable-stdcall-fixup)
  endif()
  string(TOLOWER "${CMAKE_SYSTEM_PROCESSOR}" KELLANSEEK_ARCHITECTURE)
  if(KELLANSEEK_ARCHITECTURE MATCHES "^(aarch64|arm64)$")
    set(KELLANSEEK_ARCHITECTURE arm64)
  elseif(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(KELLANSEEK_ARCHITECTURE amd64)
  else()
    set(KELLANSEEK_ARCHITECTURE x86)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/KelLanSeek.X.manifest.in
                 ${PROJECT_BINARY_DIR}/KelLanSeek.X.manifest @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/README.md.in ${PROJECT_BINARY_DIR}/README.md @ONLY)
endfunction()

function(kellanseek_windows_program target description)
  set(resources ${PROJECT_BINARY_DIR}/${target}.rc)
  set(manifest ${PROJECT_SOURCE_DIR}/packaging/windows/program.manifest)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/program.rc.in ${resources} @ONLY)
  target_sources(${target} PRIVATE ${resources})
  set_source_files_properties(${resources} TARGET_DIRECTORY ${target} PROPERTIES
    OBJECT_DEPENDS ${manifest} INCLUDE_DIRECTORIES ${PROJECT_SOURCE_DIR}/packaging/windows)
  if(MSVC)
    # The resources contain the manifest, so the linker must not generate another.
    target_link_options(${target} PRIVATE /MANIFEST:NO)
  endif()
endfunction()
