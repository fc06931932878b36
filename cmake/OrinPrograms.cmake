function(orin_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra)
  endif()
endfunction()

# Release builds compile with -g and keep it in a file beside each binary, found by the
# debuggers through the image's .gnu_debuglink, so the shipped binaries stay small.
option(ORIN_SPLIT_DEBUG "Strip the binaries, keeping their debug information beside them" OFF)
function(orin_split_debug target)
  if(ORIN_SPLIT_DEBUG)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE_NAME:${target}> $<TARGET_FILE_NAME:${target}>.debug
      COMMAND ${CMAKE_OBJCOPY} --strip-unneeded $<TARGET_FILE_NAME:${target}>
      COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug $<TARGET_FILE_NAME:${target}>
      WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}> VERBATIM)
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
  orin_split_debug(${name})
endfunction()
