# cmake -DSOURCE_DIR= -DINCLUDE_DIR= -DIMPLIB= -DOUT_DIR= -P build_hosts.cmake
# Builds the two MSVC-ABI hosts with Debian's clang and lld-link: msvc_host_linked.exe links the
# module's import library IMPLIB, msvc_host_loaded.exe looks the export up at run time. They get
# no C runtime at all, so the only imports allowed are kernel32's and the module's.
find_program(CLANG NAMES clang clang-14 REQUIRED)
find_program(DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
find_program(READOBJ NAMES llvm-readobj llvm-readobj-14 REQUIRED)
file(MAKE_DIRECTORY ${OUT_DIR})
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${ARGV}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
run(${DLLTOOL} -m i386:x86-64 -d ${SOURCE_DIR}/kernel32.def -l ${OUT_DIR}/kernel32.lib)
foreach(form linked loaded)
  set(libs ${OUT_DIR}/kernel32.lib)
  if(form STREQUAL linked)
    list(APPEND libs ${IMPLIB})
  endif()
  set(exe ${OUT_DIR}/msvc_host_${form}.exe)
  run(${CLANG} --target=x86_64-pc-windows-msvc -fuse-ld=lld -nostdlib -O2 -Wall -Wextra -Werror
      -fno-exceptions -fno-rtti -fno-stack-protector -fno-builtin -I${INCLUDE_DIR}
      -o ${exe} ${SOURCE_DIR}/host_${form}.cpp ${libs}
      -Wl,/entry:HostEntry,/subsystem:console)
  run(${READOBJ} --coff-imports ${exe})
  string(REGEX MATCHALL "Name: [^\n]+" dlls "${out}")
  list(REMOVE_ITEM dlls "Name: kernel32.dll" "Name: orinpoint.dll")
  if(dlls)
    message(FATAL_ERROR "${exe} imports more than kernel32 and the module: ${dlls}")
  endif()
endforeach()
