file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

# A sanitized library needs sanitized hosts.
set(host_flags "")
if(SANITIZE)
    set(host_flags -DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE} -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE})
endif()

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\n${out}\n${err}")
    endif()
    set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix})
foreach(file lib/cmake/Velmora/VelmoraConfig.cmake lib/cmake/Velmora/VelmoraConfigVersion.cmake
        lib/pkgconfig/velmora.pc include/velmora/Velmora.h include/velmora/velmora_export.h)
    if(NOT EXISTS ${prefix}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug ${host_flags})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
if(NOT last_output MATCHES "velmora 3\\.5\\.0 ads-removed=0")
    message(FATAL_ERROR "unexpected consumer output: ${last_output}")
endif()
message(STATUS "consumer said: ${last_output}")

run(${CMAKE_COMMAND} -S ${FACADE_SOURCE} -B ${WORK_DIR}/facade -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug ${host_flags})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/facade)
