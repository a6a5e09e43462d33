# cmake -Dcompiler= -Doptions= -Dinclude= -Dsource= -P refuses.cmake: the source compiles with MATCHED, and not without.
foreach(define IN ITEMS MATCHED MIXED)
    execute_process(COMMAND ${compiler} ${options} -fsyntax-only -D${define} -I${include} ${source}
        RESULT_VARIABLE ${define} ERROR_VARIABLE told)
    if(define STREQUAL MATCHED AND NOT MATCHED EQUAL 0)
        message(FATAL_ERROR "${compiler} does not compile the header: ${told}")
    endif()
endforeach()
if(MIXED EQUAL 0 OR NOT told MATCHES "incompatible type|no matching function")
    message(FATAL_ERROR "${compiler} takes a progress for a machine: ${told}")
endif()
