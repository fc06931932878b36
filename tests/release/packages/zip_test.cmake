# Unpacks the Windows ZIP into an empty folder, checks which import library its CMake package
# gives each kind of consumer, builds the MSVC-ABI hosts from its header and lib/orinpoint.lib
# alone, and runs each under Wine beside the packed orinpoint.dll; the packed orincache.exe
# decodes what each cached.
cmake_minimum_required(VERSION 3.20)
file(REMOVE_RECURSE ${WORK_DIR})
file(ARCHIVE_EXTRACT INPUT ${ARCHIVE} DESTINATION ${WORK_DIR}/zip)
set(zip ${WORK_DIR}/zip)
foreach(f bin/orinpoint.dll bin/orinhlp.exe bin/orincache.exe include/orinpoint/IEventTap.h
          lib/orinpoint.lib lib/liborinpoint.dll.a lib/cmake/orinpoint/orinpointConfig.cmake)
  if(NOT EXISTS ${zip}/${f})
    message(FATAL_ERROR "the ZIP has no ${f}")
  endif()
endforeach()

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
                  WORKING_DIRECTORY ${WORK_DIR})
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${ARGV}: exit ${rc}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
# The CMake package hands each consumer the import library its linker reads: compiler (as CMake
# describes it) | import library.
foreach(case "-DMSVC=1|orinpoint.lib"
             "-DCMAKE_CXX_COMPILER_ID=Clang -DCMAKE_CXX_SIMULATE_ID=MSVC -DCMAKE_CXX_COMPILER_FRONTEND_VARIANT=MSVC|orinpoint.lib"
             "-DCMAKE_CXX_COMPILER_ID=Clang -DCMAKE_CXX_SIMULATE_ID=MSVC -DCMAKE_CXX_COMPILER_FRONTEND_VARIANT=GNU|orinpoint.lib"
             "-DCMAKE_C_COMPILER_ID=Clang -DCMAKE_C_COMPILER_TARGET=x86_64-pc-windows-msvc|orinpoint.lib"
             "-DCMAKE_CXX_COMPILER_ID=GNU -DCMAKE_CXX_COMPILER_FRONTEND_VARIANT=GNU|liborinpoint.dll.a"
             "-DCMAKE_CXX_COMPILER_ID=Clang -DCMAKE_CXX_COMPILER_TARGET=x86_64-w64-windows-gnu|liborinpoint.dll.a")
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 compiler)
  list(GET case 1 wanted)
  separate_arguments(compiler)
  file(REMOVE_RECURSE ${WORK_DIR}/abi_probe)
  run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/abi_probe -B ${WORK_DIR}/abi_probe
      -DCMAKE_PREFIX_PATH=${zip} ${compiler})
  file(READ ${WORK_DIR}/abi_probe/implib.txt implib)
  if(NOT implib STREQUAL "${zip}/lib/${wanted}")
    message(FATAL_ERROR "a consumer with ${compiler} gets ${implib}, not lib/${wanted}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -DSOURCE_DIR=${HOSTS_DIR} -DINCLUDE_DIR=${zip}/include
    -DIMPLIB=${zip}/lib/orinpoint.lib -DOUT_DIR=${WORK_DIR}/hosts -P ${HOSTS_DIR}/build_hosts.cmake)

# No helper beside these hosts: its starts are the module tests' business, and a real helper
# would claim the cache while the host counts its records.
foreach(form linked loaded)
  set(host ${WORK_DIR}/host-${form})
  file(MAKE_DIRECTORY ${host})
  file(COPY ${zip}/bin/orinpoint.dll ${WORK_DIR}/hosts/msvc_host_${form}.exe DESTINATION ${host})
  file(REMOVE_RECURSE $ENV{WINEPREFIX}/drive_c/ProgramData/QuillBR)
  run(${WINE_RUN} ${host}/msvc_host_${form}.exe)
  run(${WINE_RUN} ${zip}/bin/orincache.exe dump "C:\\ProgramData\\QuillBR\\KD_OF.dat")
  string(REGEX MATCHALL "[^\n]+" events "${out}")
  list(LENGTH events n)
  if(NOT n EQUAL 2
     OR NOT events MATCHES "^[^;]*\"l\":1,[^;]*\"n\":100,\"o\"[^;]*\"p\":{\"abi\":7}"
     OR NOT events MATCHES ";[^;]*\"l\":3,[^;]*\"n\":300,\"o\"")
    message(FATAL_ERROR "msvc_host_${form}: the cache holds\n${out}")
  endif()
endforeach()
