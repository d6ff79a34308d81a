set(MINGW_PROCESSOR i686)
set(KELLANSEEK_WINE /usr/lib/wine/wine)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
