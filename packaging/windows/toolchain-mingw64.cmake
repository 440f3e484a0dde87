# 64-bit Windows, with Debian's MinGW-w64 (posix threads) and the Qt that scripts/build-qt-windows.sh makes.
# SONDRIX_QT_WINDOWS, a cache or an environment variable, says where that is.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)

if(NOT SONDRIX_QT_WINDOWS)
    if(DEFINED ENV{SONDRIX_QT_WINDOWS})
        set(SONDRIX_QT_WINDOWS "$ENV{SONDRIX_QT_WINDOWS}")
    else()
        set(SONDRIX_QT_WINDOWS "$ENV{HOME}/.cache/sondrix/qt-windows")
    endif()
endif()
set(SONDRIX_QT_WINDOWS "${SONDRIX_QT_WINDOWS}" CACHE PATH "Qt for 64-bit Windows")
# The trial builds of CMake read this file too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SONDRIX_QT_WINDOWS)

# Headers, libraries and packages come from these roots alone; moc and rcc are programs of this machine.
set(CMAKE_FIND_ROOT_PATH /usr/${triplet} "${SONDRIX_QT_WINDOWS}")
set(CMAKE_PREFIX_PATH "${SONDRIX_QT_WINDOWS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# ctest runs the programs by this.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../scripts/run-wine.sh"
    CACHE STRING "What runs a Windows program on this machine")
