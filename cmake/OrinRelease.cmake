# What a release adds to the programs: the project's version in every --version and in the
# Windows images' version resources, the debug information split off beside each shipped
# binary, the import library for Visual C++'s linker, and the packages CPack makes.

include(GNUInstallDirs)

# Shipped: installed, stripped and version-stamped. The other programs only say their version.
set(ORIN_SHIPPED orinpoint orinhlp orincache)
foreach(target ${ORIN_SHIPPED} orinhost)
  target_compile_definitions(${target} PRIVATE ORIN_VERSION="${PROJECT_VERSION}")
endforeach()

if(WIN32)
  enable_language(RC)
  foreach(entry "orinpoint|orinpoint.dll|0x2|Usage-analytics module"
                "orinhlp|orinhlp.exe|0x1|Usage-analytics helper (cache upload)"
                "orincache|orincache.exe|0x1|Usage-analytics cache inspector")
    string(REPLACE "|" ";" entry "${entry}")
    list(GET entry 0 target)
    list(GET entry 1 ORIN_RC_FILENAME)
    list(GET entry 2 ORIN_RC_FILETYPE)
    list(GET entry 3 ORIN_RC_DESCRIPTION)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/version.rc.in
                   ${CMAKE_BINARY_DIR}/version/${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_BINARY_DIR}/version/${target}.rc)
  endforeach()

  # Visual C++'s linker wants an import library in its own format, made from the same .def.
  find_program(ORIN_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14)
  if(ORIN_LLVM_DLLTOOL)
    set(ORIN_MSVC_IMPLIB ${CMAKE_BINARY_DIR}/orinpoint.lib)
    add_custom_command(OUTPUT ${ORIN_MSVC_IMPLIB}
      COMMAND ${ORIN_LLVM_DLLTOOL} -m i386:x86-64 -D orinpoint.dll
              -d ${PROJECT_SOURCE_DIR}/facade/module/orinpoint.def -l ${ORIN_MSVC_IMPLIB}
      DEPENDS ${PROJECT_SOURCE_DIR}/facade/module/orinpoint.def VERBATIM)
    add_custom_target(orinpoint_msvc_implib ALL DEPENDS ${ORIN_MSVC_IMPLIB})
    install(FILES ${ORIN_MSVC_IMPLIB} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endif()

install(TARGETS orinhlp orincache RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

if(ORIN_SPLIT_DEBUG)
  # cpack installs only what was built for it, not every program of the tree.
  set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
endif()

set(CPACK_PACKAGE_NAME orinpoint)
set(CPACK_PACKAGE_VENDOR orinpoint)
set(CPACK_PACKAGE_CONTACT "orinpoint developers <dev@orinpoint.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Usage-analytics module for the backup product, with its helper and cache inspector")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME windows-x64)
else()
  set(CPACK_GENERATOR "TGZ;DEB")
  set(CPACK_SYSTEM_NAME linux-x86_64)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Loaded at run time, so dpkg-shlibdeps cannot see it: the OpenSSL-based libcurl, new enough
  # for CURLOPT_PROTOCOLS_STR.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libcurl4 (>= 7.85.0)")
  set(CPACK_DEBIAN_PACKAGE_SECTION libs)
endif()
include(CPack)
