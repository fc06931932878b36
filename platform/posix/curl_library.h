#pragma once
// libcurl and the OpenSSL it was built on, reached through pointers resolved on first use: the
// module loads without either, so the host's thread never maps them or walks their dependencies.
// The headers still give the types and constants.
#include <curl/curl.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

// Each entry: the member, then the library's function.
#define ORIN_CURL_FUNCTIONS(X)                                  \
  X(global_init, curl_global_init)                              \
  X(easy_init, curl_easy_init)                                  \
  X(easy_setopt, curl_easy_setopt)                              \
  X(easy_getinfo, curl_easy_getinfo)                            \
  X(easy_cleanup, curl_easy_cleanup)                            \
  X(multi_init, curl_multi_init)                                \
  X(multi_add_handle, curl_multi_add_handle)                    \
  X(multi_perform, curl_multi_perform)                          \
  X(multi_info_read, curl_multi_info_read)                      \
  X(multi_poll, curl_multi_poll)                                \
  X(multi_remove_handle, curl_multi_remove_handle)              \
  X(multi_cleanup, curl_multi_cleanup)                          \
  X(slist_append, curl_slist_append)                            \
  X(slist_free_all, curl_slist_free_all)                        \
  X(url, curl_url)                                              \
  X(url_set, curl_url_set)                                      \
  X(url_get, curl_url_get)                                      \
  X(url_cleanup, curl_url_cleanup)                              \
  X(free, curl_free)                                            \
  X(store_new, X509_STORE_new)                                  \
  X(store_free, X509_STORE_free)                                \
  X(store_load_locations, X509_STORE_load_locations)            \
  X(store_set_flags, X509_STORE_set_flags)                      \
  X(store_ctx_get_error, X509_STORE_CTX_get_error)              \
  X(store_ctx_set_error, X509_STORE_CTX_set_error)              \
  X(ssl_ctx_set1_cert_store, SSL_CTX_set1_cert_store)           \
  X(ssl_ctx_set_verify, SSL_CTX_set_verify)

namespace orin::net {

struct CurlLibrary {
#define ORIN_CURL_MEMBER(member, function) decltype(&::function) member = nullptr;
  ORIN_CURL_FUNCTIONS(ORIN_CURL_MEMBER)
#undef ORIN_CURL_MEMBER
};

// Loaded and globally initialised by the first caller, from any thread. Null, then and for the
// rest of the process, when the library cannot be loaded, lacks one of the functions or fails
// to initialise: every exchange then fails as one that reaches no server.
// ORIN_CURL_LIBRARY names another file to load instead of libcurl.so.4.
const CurlLibrary* Curl();

}  // namespace orin::net
