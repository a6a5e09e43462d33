# cmake -Dcompiler= -Dinclude= -Dsource= -P refuses.cmake: the source compiles with MATCHED, and not without.
foreach(define IN ITEMS MATCHED MIXED)
    execute_process(COMMAND ${compiler} -std=c99 -fsyntax-only -D${define} -I${include} ${source}
        RESULT_VARIABLE ${define} ERROR_VARIABLE told)
endforeach()
if(NOT MATCHED EQUAL 0)
    message(FATAL_ERROR "${compiler} does not compile the header")
endif()
if(MIXED EQUAL 0 OR NOT told MATCHES "incompatible type")
    message(FATAL_ERROR "${compiler} takes a progress for a machine: ${told}")
endif()
