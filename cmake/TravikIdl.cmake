# travik_add_idl(NAME FILE [DEPENDS ...]): makes from an interface description NAME.h, NAME_i.c (identifiers), NAME_p.c
# and NAME_dlldata.c (proxy and stub) in the current binary folder. With MinGW by widl, else by MIDL.
# travik_add_type_library(NAME FILE [DEPENDS ...]): makes NAME.tlb from it.
if(TRAVIK_VBOX_IDENTITY STREQUAL stock61)
    set(TRAVIK_IDL_DEFINES -DTRAVIK_IDENTITY_STOCK61)
elseif(NOT TRAVIK_VBOX_IDENTITY STREQUAL selq6)
    message(FATAL_ERROR "TRAVIK_VBOX_IDENTITY is '${TRAVIK_VBOX_IDENTITY}'; choose selq6 or stock61")
endif()

if(MSVC)
    find_program(TRAVIK_MIDL midl REQUIRED)
else()
    find_program(TRAVIK_WIDL NAMES x86_64-w64-mingw32-widl REQUIRED)
    # The standard .idl files (oaidl.idl and the like), which the MinGW packages lack.
    find_path(TRAVIK_WIDL_INCLUDE oaidl.idl PATHS /usr/include/wine/wine/windows /usr/include/wine/windows
              NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    # The type library that all others refer to.
    find_path(TRAVIK_STDOLE stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows
              /usr/lib/wine/x86_64-windows /usr/lib64/wine/x86_64-windows NO_CMAKE_FIND_ROOT_PATH REQUIRED)
endif()

function(travik_add_idl name file)
    cmake_parse_arguments(arg "" "" "DEPENDS" ${ARGN})
    set(out ${CMAKE_CURRENT_BINARY_DIR}/${name})
    set(outputs ${out}.h ${out}_i.c ${out}_p.c ${out}_dlldata.c)
    cmake_path(ABSOLUTE_PATH file NORMALIZE)
    cmake_path(GET file PARENT_PATH folder)
    if(MSVC)
        add_custom_command(OUTPUT ${outputs}
            COMMAND ${TRAVIK_MIDL} /nologo /env x64 /I ${folder} /I ${CMAKE_SOURCE_DIR}/idl ${TRAVIK_IDL_DEFINES}
                    /h ${out}.h /iid ${out}_i.c /proxy ${out}_p.c /dlldata ${out}_dlldata.c /notlb ${file}
            DEPENDS ${file} ${arg_DEPENDS} VERBATIM)
    else()
        set(widl ${TRAVIK_WIDL} -Oicf -I${TRAVIK_WIDL_INCLUDE} -I${folder} -I${CMAKE_SOURCE_DIR}/idl
            ${TRAVIK_IDL_DEFINES})
        add_custom_command(OUTPUT ${outputs}
            COMMAND ${widl} -h -H ${out}.h ${file}
            COMMAND ${widl} -u -U ${out}_i.c ${file}
            COMMAND ${widl} -p -P ${out}_p.c ${file}
            COMMAND ${widl} --dlldata-only --dlldata=${out}_dlldata.c ${name}
            DEPENDS ${file} ${arg_DEPENDS} VERBATIM)
    endif()
endfunction()

function(travik_add_type_library name file)
    cmake_parse_arguments(arg "" "" "DEPENDS" ${ARGN})
    set(out ${CMAKE_CURRENT_BINARY_DIR}/${name}.tlb)
    cmake_path(ABSOLUTE_PATH file NORMALIZE)
    set(defines ${TRAVIK_IDL_DEFINES} -DTRAVIK_TYPE_LIBRARY)
    if(MSVC)
        add_custom_command(OUTPUT ${out}
            COMMAND ${TRAVIK_MIDL} /nologo /env x64 /I ${CMAKE_SOURCE_DIR}/idl ${defines} /tlb ${out}
                    /header ${name}_tlb.h /iid ${name}_tlb_i.c /proxy ${name}_tlb_p.c /dlldata ${name}_tlb_dlldata.c ${file}
            WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} DEPENDS ${file} ${arg_DEPENDS} VERBATIM)
    else()
        add_custom_command(OUTPUT ${out}
            COMMAND ${TRAVIK_WIDL} -I${TRAVIK_WIDL_INCLUDE} -I${CMAKE_SOURCE_DIR}/idl -L${TRAVIK_STDOLE} ${defines}
                    -t -T ${out} ${file}
            COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/scripts/timeless_type_library.py ${out}
            DEPENDS ${file} ${arg_DEPENDS} ${CMAKE_SOURCE_DIR}/scripts/timeless_type_library.py VERBATIM)
    endif()
endfunction()
