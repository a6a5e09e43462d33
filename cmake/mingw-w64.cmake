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

# The libraries that scripts/setup has built, where it puts them (prefix in scripts/steps.sh).
if(NOT "$ENV{TRAVIK_CACHE}" STREQUAL "")
    set(travik_prefix $ENV{TRAVIK_CACHE})
elseif(NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
    set(travik_prefix $ENV{XDG_CACHE_HOME}/travik-sdk)
else()
    set(travik_prefix $ENV{HOME}/.cache/travik-sdk)
endif()
file(READ ${CMAKE_CURRENT_LIST_DIR}/../scripts/libraries.sh travik_recipes)
file(READ ${CMAKE_CURRENT_LIST_DIR}/PocoParts.cmake travik_parts)
string(SHA256 travik_recipes "${travik_recipes}${travik_parts}")
string(SUBSTRING ${travik_recipes} 0 12 travik_recipes)
string(APPEND travik_prefix /mingw-${travik_recipes})
if(NOT travik_prefix IN_LIST CMAKE_PREFIX_PATH)
    list(APPEND CMAKE_PREFIX_PATH ${travik_prefix})
endif()
if(NOT TRAVIK_LIBRARIES STREQUAL travik_prefix) # what an older state found
    foreach(found Poco PocoFoundation PocoXML GTest benchmark)
        unset(${found}_DIR CACHE)
    endforeach()
    set(TRAVIK_LIBRARIES ${travik_prefix} CACHE INTERNAL "")
endif()

# The programs need no DLL but the system's.
set(ZLIB_USE_STATIC_LIBS ON)
