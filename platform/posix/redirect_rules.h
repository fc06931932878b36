#pragma once
#include <cstdint>
#include <string>

// Which redirect WinInet follows with the module's flags, and how: 301, 302 and 303 go on as a
// GET, 307 as the same verb (Wine's WinInet sends neither the body nor the caller's headers
// again on any hop); 308 and every other status are answers. At most five redirects, and never
// from https to http.

namespace orin::net {

struct RedirectStep {
  enum Kind { kNone, kFollow, kRefused } kind = kNone;
  std::string url;               // kFollow: absolute
  const char* verb = "GET";      // kFollow
  std::int64_t error = 0;        // kRefused: the WinInet error number of the failed send
};

inline constexpr int kMaxRedirects = 5;
inline constexpr std::int64_t kRedirectFailed = 12156;      // ERROR_HTTP_REDIRECT_FAILED
inline constexpr std::int64_t kHttpsToHttpRedirect = 12040;  // ERROR_INTERNET_HTTPS_TO_HTTP_ON_REDIR

// base: the absolute URL of the request that got the answer; redirects: how many were followed
// before it.
RedirectStep NextHop(const std::string& base, const char* verb, long status,
                     const std::string& location, int redirects);

}  // namespace orin::net
