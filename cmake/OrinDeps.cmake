# Third-party libraries: installed Debian packages, except JsonCpp, which is compiled from
# Debian's source package (unpacked by ./dev into ORIN_JSONCPP_SOURCE_DIR) and linked into each
# program: the module then binds none of its symbols at load and exports none of them.

set(ORIN_JSONCPP_SOURCE_DIR ${PROJECT_SOURCE_DIR}/build/deps/jsoncpp CACHE PATH
    "An unpacked JsonCpp source tree")
if(NOT EXISTS "${ORIN_JSONCPP_SOURCE_DIR}/include/json/json.h")
  message(FATAL_ERROR "ORIN_JSONCPP_SOURCE_DIR must point at an unpacked JsonCpp source tree "
                      "(./dev fetches one into build/deps/jsoncpp)")
endif()
file(GLOB _jsoncpp_src ${ORIN_JSONCPP_SOURCE_DIR}/src/lib_json/*.cpp)
add_library(orin_jsoncpp STATIC ${_jsoncpp_src})
target_include_directories(orin_jsoncpp SYSTEM PUBLIC ${ORIN_JSONCPP_SOURCE_DIR}/include)
target_include_directories(orin_jsoncpp PRIVATE ${ORIN_JSONCPP_SOURCE_DIR}/src/lib_json)
set_target_properties(orin_jsoncpp PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
add_library(orin::jsoncpp ALIAS orin_jsoncpp)

if(WIN32)
  add_library(orin_platform_libs INTERFACE)
  target_link_libraries(orin_platform_libs INTERFACE
    shell32 ole32 advapi32 version wininet shlwapi)
  add_library(orin::platform_libs ALIAS orin_platform_libs)
else()
  find_package(PkgConfig REQUIRED)
  # HTTP: libcurl, with OpenSSL reached directly for the certificate check. Neither is linked:
  # the client loads libcurl on first use (platform/posix/curl_library.h); only their headers.
  pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
  # Asked of the library itself: the headers are the same for every TLS backend.
  set(_probe ${CMAKE_BINARY_DIR}/orin_curl_tls_probe.c)
  file(WRITE ${_probe} "#include <curl/curl.h>\n#include <stdio.h>\nint main(void) {\n"
       "  const curl_version_info_data* d = curl_version_info(CURLVERSION_NOW);\n"
       "  printf(\"%s\", d->ssl_version ? d->ssl_version : \"none\");\n  return 0;\n}\n")
  try_run(_probe_ran _probe_built ${CMAKE_BINARY_DIR}/orin_curl_tls_probe ${_probe}
          LINK_LIBRARIES PkgConfig::CURL
          COMPILE_OUTPUT_VARIABLE _probe_log RUN_OUTPUT_VARIABLE _curl_ssl_version)
  if(NOT _probe_built OR NOT _probe_ran EQUAL 0)
    message(FATAL_ERROR "Could not ask libcurl for its TLS backend:\n${_probe_log}")
  endif()
  orin_curl_tls_problem("${_curl_ssl_version}" _tls_problem)
  if(_tls_problem)
    message(FATAL_ERROR "${_tls_problem}")
  endif()
  find_package(OpenSSL REQUIRED)
  find_package(Threads REQUIRED)
  # SimpleIni is header-only (libsimpleini-dev).
  find_path(ORIN_SIMPLEINI_INCLUDE_DIR SimpleIni.h REQUIRED)
  add_library(orin_platform_libs INTERFACE)
  target_include_directories(orin_platform_libs SYSTEM INTERFACE ${ORIN_SIMPLEINI_INCLUDE_DIR}
    $<TARGET_PROPERTY:PkgConfig::CURL,INTERFACE_INCLUDE_DIRECTORIES> ${OPENSSL_INCLUDE_DIR})
  target_link_libraries(orin_platform_libs INTERFACE Threads::Threads ${CMAKE_DL_LIBS})
  add_library(orin::platform_libs ALIAS orin_platform_libs)
endif()
