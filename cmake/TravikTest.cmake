# How tests are declared, in tests/ and beside the parts that they test.
find_package(GTest REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
enable_testing()

# The folder of one test for its files, as the test sees it: under Wine the machine's root is drive Z:.
function(travik_windows_path out path)
    if(NOT WIN32)
        set(${out} "${path}" PARENT_SCOPE)
        return()
    endif()
    if(NOT CMAKE_HOST_WIN32)
        set(path "Z:${path}")
    endif()
    string(REPLACE "/" "\\" path "${path}")
    set(${out} "${path}" PARENT_SCOPE)
endfunction()

add_custom_target(long_tests)

# travik_add_test(NAME name SOURCES ... LIBS ... [LABELS ...] [TIMEOUT seconds]): one executable and one CTest entry, as
# starting a program under Wine takes long. It finds in its environment TRAVIK_TEST_SCRATCH, a folder of its own, and
# TRAVIK_TEST_BIN, the folder with the products. The label long keeps it out of the usual run and the usual build.
function(travik_add_test)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS")
    if(NOT DEFINED arg_TIMEOUT)
        set(arg_TIMEOUT 600) # a machine at work may take ten times its usual time
    endif()
    add_executable(${arg_NAME} ${arg_SOURCES})
    target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBS} travik_test_support travik_tests_code travik_warnings)
    travik_precompile(precompiled_tests ${arg_NAME})
    set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/tests)
    if("long" IN_LIST arg_LABELS)
        set_target_properties(${arg_NAME} PROPERTIES EXCLUDE_FROM_ALL ON)
        add_dependencies(long_tests ${arg_NAME})
    endif()
    add_test(NAME ${arg_NAME} COMMAND ${arg_NAME})
    travik_windows_path(scratch ${CMAKE_BINARY_DIR}/scratch/${arg_NAME})
    travik_windows_path(bin ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    set_tests_properties(${arg_NAME} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
        ENVIRONMENT "TRAVIK_TEST_SCRATCH=${scratch};TRAVIK_TEST_BIN=${bin}")
endfunction()

# One VirtualBox is known to COM at a time. Under Wine each prefix has a COM of its own: CTest allots the tests one of
# several, as they wait more than they compute (ctest --resource-spec-file; without, scripts/wine-run lets one at a time
# into the only one).
set(wine_prefixes 5) # 0 is the project's own, the others are copies of it
if(NOT CMAKE_HOST_WIN32)
    math(EXPR last "${wine_prefixes} - 1")
    set(slots)
    foreach(id RANGE ${last})
        list(APPEND slots "{\"id\": \"${id}\"}")
    endforeach()
    list(JOIN slots ", " slots)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/wine_prefixes.json
        CONTENT "{\"version\": {\"major\": 1, \"minor\": 0}, \"local\": [{\"wine_prefix\": [${slots}]}]}\n")
endif()
function(travik_uses_virtualbox)
    foreach(test IN LISTS ARGN)
        if(CMAKE_HOST_WIN32)
            set_tests_properties(${test} PROPERTIES RESOURCE_LOCK virtualbox)
        else()
            set_tests_properties(${test} PROPERTIES RESOURCE_GROUPS "wine_prefix:1"
                ENVIRONMENT_MODIFICATION TRAVIK_TEST_USES_VIRTUALBOX=set:1)
        endif()
    endforeach()
endfunction()

# travik_operation_list(out [implementation header [sources of rows...]]): a header with the names of all operations, made
# from the public header (and of those that the implementation adds), as a macro that takes a macro. An operation without
# its row in the sources ends the build.
function(travik_operation_list out)
    set(interface ${PROJECT_SOURCE_DIR}/include/travik/vbox_instance.h)
    set(rows ${ARGN})
    list(POP_FRONT rows implementation)
    if(NOT implementation)
        set(implementation ${interface})
    endif()
    set(script ${PROJECT_SOURCE_DIR}/tests/component/make_operation_list.py)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/operation_list.h)
    add_custom_command(OUTPUT ${made}
        COMMAND ${Python3_EXECUTABLE} ${script} ${interface} ${implementation} ${made} ${rows}
        DEPENDS ${interface} ${implementation} ${script} ${PROJECT_SOURCE_DIR}/scripts/public_interface.py ${rows} VERBATIM)
    set(${out} ${made} PARENT_SCOPE)
endfunction()

# travik_lawful_codes(out): a header with the codes that the documents promise for each operation.
function(travik_lawful_codes out)
    set(promises ${PROJECT_SOURCE_DIR}/docs/operations.tsv)
    set(script ${PROJECT_SOURCE_DIR}/tests/endurance/make_lawful_codes.py)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/lawful_codes.h)
    add_custom_command(OUTPUT ${made} COMMAND ${Python3_EXECUTABLE} ${script} ${promises} ${made}
        DEPENDS ${promises} ${script} VERBATIM)
    set(${out} ${made} PARENT_SCOPE)
endfunction()
