cmake_minimum_required(VERSION 3.20)
# cmake -DORIN_SOURCE_DIR=... -P build_checks_test.cmake: the configure-time verdicts on inputs a
# configure run here never meets (another TLS backend, a release build).
include(${ORIN_SOURCE_DIR}/cmake/OrinBuildChecks.cmake)

set(failures 0)
macro(expect what got want)
  if(want STREQUAL "" AND NOT got STREQUAL "")
    message(SEND_ERROR "${what}: no report expected, got: ${got}")
  elseif(NOT want STREQUAL "" AND NOT got MATCHES "${want}")
    message(SEND_ERROR "${what}: expected a report matching \"${want}\", got: \"${got}\"")
  endif()
endmacro()

foreach(row "OpenSSL/3.0.15;" "GnuTLS/3.7.9;not OpenSSL" "none;not OpenSSL"
            "(OpenSSL/3.0.15) GnuTLS/3.7.9;not OpenSSL")
  list(GET row 0 version)
  list(LENGTH row n)
  set(want "")
  if(n GREATER 1)
    list(GET row 1 want)
  endif()
  orin_curl_tls_problem("${version}" got)
  expect("TLS backend ${version}" "${got}" "${want}")
endforeach()

set(p ${ORIN_DEFAULT_PRIMARY_HOST})
set(s ${ORIN_DEFAULT_SECONDARY_HOST})
set(t ${ORIN_DEFAULT_TRACKING_HOST})
foreach(row "Release|${p}|${s}|${t}|ORIN_PRIMARY_HOST, ORIN_SECONDARY_HOST, ORIN_TRACKING_HOST"
            "MinSizeRel|a.example|b.example|${t}|[(]ORIN_TRACKING_HOST not set"
            "Release|a.example|b.example|c.example|"
            "RelWithDebInfo|${p}|${s}|${t}|"
            "Debug|${p}|${s}|${t}|")
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 type)
  list(GET row 1 primary)
  list(GET row 2 secondary)
  list(GET row 3 tracking)
  list(LENGTH row n)
  set(want "")
  if(n GREATER 4)
    list(GET row 4 want)
  endif()
  orin_release_hosts_problem("${type}" "${primary}" "${secondary}" "${tracking}" got)
  expect("hosts ${type} ${primary} ${secondary} ${tracking}" "${got}" "${want}")
endforeach()
