# Options that every target of ours takes by linking travik_warnings.
add_library(travik_warnings INTERFACE)
if(WIN32)
    target_compile_definitions(travik_warnings INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
endif()
if(MSVC)
    target_compile_options(travik_warnings INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus)
else()
    # No path of the building machine may reach a product. (gcov, however, leaves out what it does not find under its name.)
    if(NOT TRAVIK_COVERAGE)
        target_compile_options(travik_warnings INTERFACE
            -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
    endif()
    target_compile_options(travik_warnings INTERFACE
        $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wpedantic -Werror>
        # ComPtr and the COM headers of MinGW use multi-character pragmas that GCC does not know.
        $<$<COMPILE_LANGUAGE:C,CXX>:-Wno-unknown-pragmas>
        # In a group of sources no source is the main file, where alone GCC lets classes have anonymous bases.
        $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Wno-subobject-linkage>)
    # scripts/package takes the symbols out again: what is left is a program linked without them, stripped.
    option(TRAVIK_SYMBOLS "Programs with debug symbols, for scripts/package" OFF)
    if(TRAVIK_SYMBOLS)
        target_compile_options(travik_warnings INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:-g>)
        foreach(folder IN LISTS CMAKE_PREFIX_PATH)
            target_compile_options(travik_warnings INTERFACE -fdebug-prefix-map=${folder}=libraries)
        endforeach()
    endif()
    if(WIN32) # the programs need no DLL but the system's; linked twice they are the same
        add_link_options(-static -static-libgcc -static-libstdc++ $<$<AND:$<CONFIG:Release>,$<NOT:$<BOOL:${TRAVIK_SYMBOLS}>>>:-s>
            -Wl,--no-insert-timestamp)
    endif()
endif()
