set(MINGW_PROCESSOR x86_64)
set(KELLANSEEK_WINE /usr/lib/wine/wine64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
