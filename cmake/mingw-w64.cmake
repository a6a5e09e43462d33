# Cross build for 64-bit Windows with MinGW-w64 (GCC, POSIX threads); the programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_MC_COMPILER x86_64-w64-mingw32-windmc)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)

# The libraries that scripts/setup has built, where it puts them.
if(NOT "$ENV{TRAVIK_CACHE}" STREQUAL "")
    set(travik_prefix $ENV{TRAVIK_CACHE}/mingw)
elseif(NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
    set(travik_prefix $ENV{XDG_CACHE_HOME}/travik-sdk/mingw)
else()
    set(travik_prefix $ENV{HOME}/.cache/travik-sdk/mingw)
endif()
if(NOT travik_prefix IN_LIST CMAKE_PREFIX_PATH)
    list(APPEND CMAKE_PREFIX_PATH ${travik_prefix})
endif()

# The programs need no DLL but the system's.
set(ZLIB_USE_STATIC_LIBS ON)
