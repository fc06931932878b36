# Installs the built module into a fresh prefix, then configures, builds and runs a consumer
# that only knows find_package(orinpoint).
file(REMOVE_RECURSE ${WORK_DIR})
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${ARGV}\n${out}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix --component Unspecified)
if(NOT EXISTS ${WORK_DIR}/prefix/include/orinpoint/IEventTap.h)
  message(FATAL_ERROR "IEventTap.h was not installed")
endif()
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
set(ENV{ORIN_COMMON_APPDATA} ${WORK_DIR}/appdata)
set(ENV{ORIN_HOST_DIR} ${WORK_DIR})
run(${WORK_DIR}/build/consumer)
