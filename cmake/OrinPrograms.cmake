function(orin_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra)
  endif()
endfunction()

# Every program of the project: linked to the core library, warnings on, and on Windows linked
# statically so it runs from its build folder (and under Wine) without the MinGW runtime DLLs.
function(orin_add_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE orinpoint_core)
  orin_warnings(${name})
  if(WIN32)
    target_link_options(${name} PRIVATE -static)
  endif()
endfunction()
