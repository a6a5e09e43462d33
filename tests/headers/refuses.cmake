# cmake -Dcompiler= -Dinclude= -Dwork= -P refuses.cmake: a wrong compiler or runtime is told so, in one sentence.
file(WRITE ${work}/front_end.cpp "#include <travik/vbox_instance.h>\n")
foreach(case "" -D_UCRT -DTRAVIK_SDK_BUILT_BY_MSVC)
    execute_process(COMMAND ${compiler} -std=c++17 -fsyntax-only ${case} -I${include} ${work}/front_end.cpp
        RESULT_VARIABLE result ERROR_VARIABLE told)
    if(case STREQUAL "" AND NOT result EQUAL 0)
        message(FATAL_ERROR "the right compiler is refused: ${told}")
    elseif(NOT case STREQUAL "" AND (result EQUAL 0 OR NOT told MATCHES "include travik.hpp or travik.h"))
        message(FATAL_ERROR "${case} is not refused with the reason: ${told}")
    endif()
endforeach()
