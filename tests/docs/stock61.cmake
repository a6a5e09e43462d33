# cmake -Dsource=... -Dselq6=... -Dbinary=... -Dctest=... -Dpython=... -Dprefix_path=... -P stock61.cmake
function(must)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE code)
    if(NOT code EQUAL 0)
        message(FATAL_ERROR "failed (${code}): ${ARGV}")
    endif()
endfunction()

must(${CMAKE_COMMAND} --preset mingw-release -S ${source} -B ${binary} -DTRAVIK_VBOX_IDENTITY=stock61
    "-DCMAKE_PREFIX_PATH=${prefix_path}")
must(${CMAKE_COMMAND} --build ${binary})
must(${python} ${CMAKE_CURRENT_LIST_DIR}/same_but_identity.py ${selq6}/bin/TravikSDK-selq6.dll
    ${binary}/bin/TravikSDK-selq6.dll)
must(${ctest} --test-dir ${binary} --output-on-failure --no-tests=error -R "^(system_|abi_)")
