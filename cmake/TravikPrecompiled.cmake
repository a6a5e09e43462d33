# Headers of the system and of libraries, read once instead of once for each source. Sources still include what they use:
# the builds of coverage, traps and lint do without (CMAKE_DISABLE_PRECOMPILE_HEADERS), that of coverage without groups,
# too. For MinGW only: Visual Studio wants equal options for all who share.

# travik_precompiled(name LIBS ... HEADERS ...): a set of headers; the libraries bring what they need to be read, and the
# options that all users of the set have.
function(travik_precompiled name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBS;HEADERS")
    if(NOT MINGW OR CMAKE_DISABLE_PRECOMPILE_HEADERS)
        return()
    endif()
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "// A library wants a source.\n")
    add_library(${name} OBJECT ${source})
    target_link_libraries(${name} PRIVATE ${arg_LIBS} travik_warnings)
    target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()

# travik_precompile(name target...): the targets use the set.
function(travik_precompile name)
    foreach(target IN LISTS ARGN)
        if(TARGET ${name})
            target_precompile_headers(${target} REUSE_FROM ${name})
            # GCC 12 then forgets that wchar.h is the system's, and warns of wmemcpy in it. The builds that do without keep
            # these warnings.
            target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overread -Wno-stringop-overflow)
        endif()
    endforeach()
endfunction()

# What the optimiser makes of tests, and of programs that wait for others, is not worth its time.
add_library(travik_tests_code INTERFACE)
add_library(travik_waiting_code INTERFACE)
target_compile_options(travik_tests_code INTERFACE $<$<AND:$<CONFIG:Release>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Og>)
target_compile_options(travik_waiting_code INTERFACE $<$<AND:$<CONFIG:Release>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Os>)

set(standard <algorithm> <atomic> <cstdint> <filesystem> <fstream> <functional> <map> <memory> <mutex> <optional> <set>
    <sstream> <stdexcept> <string> <string_view> <thread> <utility> <vector>)
set(com <windows.h> <virtualbox.h> <comdef.h> <oleauto.h> <wrl/client.h>)
if(TRAVIK_BUILD_TOOLS) # which bring the library for JSON
    set(json travik_json)
    set(json_header <nlohmann/json.hpp>)
endif()

travik_precompiled(precompiled_standard HEADERS ${standard}) # nothing of COM
travik_precompiled(precompiled_com LIBS travik_idl HEADERS ${standard} ${com} <virtualbox_defaults.h>)
travik_precompiled(precompiled_programs LIBS travik_waiting_code travik_idl ${json}
    HEADERS ${standard} ${com} ${json_header})
if(TRAVIK_BUILD_TESTS)
    travik_precompiled(precompiled_tests LIBS travik_tests_code travik_idl ${json} GTest::gmock
        HEADERS ${standard} ${com} ${json_header} <gmock/gmock.h>)
endif()
