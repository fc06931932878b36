# Configure-time checks whose verdicts are plain functions, so that tests/tools can try them on
# any input. Each sets OUT to the text to report, or to an empty string when all is well.

# The certificate policy of the POSIX HTTP client is an OpenSSL verify callback: a libcurl built
# on any other TLS library accepts the option but never calls it.
function(orin_curl_tls_problem ssl_version out)
  if(ssl_version MATCHES "^OpenSSL/")
    set(${out} "" PARENT_SCOPE)
  else()
    set(${out} "libcurl's TLS backend is \"${ssl_version}\", not OpenSSL: the HTTP client's certificate policy needs an OpenSSL-based libcurl (Debian: libcurl4-openssl-dev)" PARENT_SCOPE)
  endif()
endfunction()

# Placeholders of the three host names; a release that keeps any of them reaches nothing.
set(ORIN_DEFAULT_PRIMARY_HOST "collect.orinpoint.invalid")
set(ORIN_DEFAULT_SECONDARY_HOST "collect2.orinpoint.invalid")
set(ORIN_DEFAULT_TRACKING_HOST "tracking.orinpoint.invalid")

function(orin_release_hosts_problem build_type primary secondary tracking out)
  set(kept)
  if(build_type STREQUAL "Release" OR build_type STREQUAL "MinSizeRel")
    foreach(pair "ORIN_PRIMARY_HOST;${primary};${ORIN_DEFAULT_PRIMARY_HOST}"
                 "ORIN_SECONDARY_HOST;${secondary};${ORIN_DEFAULT_SECONDARY_HOST}"
                 "ORIN_TRACKING_HOST;${tracking};${ORIN_DEFAULT_TRACKING_HOST}")
      list(GET pair 0 name)
      list(GET pair 1 value)
      list(GET pair 2 placeholder)
      if(value STREQUAL placeholder)
        list(APPEND kept ${name})
      endif()
    endforeach()
  endif()
  if(kept)
    list(JOIN kept ", " kept)
    set(${out} "A ${build_type} build with the placeholder host names (${kept} not set): the module built here reaches no service. Set -DORIN_PRIMARY_HOST=, -DORIN_SECONDARY_HOST= and -DORIN_TRACKING_HOST= (see README, Building a release)." PARENT_SCOPE)
  else()
    set(${out} "" PARENT_SCOPE)
  endif()
endfunction()
