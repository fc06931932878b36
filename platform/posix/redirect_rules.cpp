#include "platform/posix/redirect_rules.h"

#include <cstring>
#include <memory>

#include "platform/posix/curl_library.h"

namespace orin::net {
namespace {

struct UrlCleanup {
  void operator()(CURLU* u) const { Curl()->url_cleanup(u); }
};
struct TextCleanup {
  void operator()(char* t) const { Curl()->free(t); }
};

// The Location resolved against the URL that was asked for; empty when it is no http(s) URL.
std::string Resolve(const std::string& base, const std::string& location) {
  const CurlLibrary* lib = Curl();
  if (lib == nullptr) return {};
  std::unique_ptr<CURLU, UrlCleanup> url(lib->url());
  if (!url || lib->url_set(url.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK ||
      lib->url_set(url.get(), CURLUPART_URL, location.c_str(), 0) != CURLUE_OK) {
    return {};
  }
  char* scheme = nullptr;
  char* full = nullptr;
  if (lib->url_get(url.get(), CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) return {};
  std::unique_ptr<char, TextCleanup> schemeText(scheme);
  if (std::strcmp(scheme, "http") != 0 && std::strcmp(scheme, "https") != 0) return {};
  if (lib->url_get(url.get(), CURLUPART_URL, &full, 0) != CURLUE_OK) return {};
  std::unique_ptr<char, TextCleanup> fullText(full);
  return full;
}

bool IsHttps(const std::string& url) { return url.rfind("https://", 0) == 0; }

}  // namespace

RedirectStep NextHop(const std::string& base, const char* verb, long status,
                     const std::string& location, int redirects) {
  RedirectStep step;
  const bool followed = status == 301 || status == 302 || status == 303 || status == 307;
  if (!followed || location.empty()) return step;
  step.kind = RedirectStep::kRefused;
  step.url = Resolve(base, location);
  if (step.url.empty() || redirects >= kMaxRedirects) {
    step.error = kRedirectFailed;
  } else if (IsHttps(base) && !IsHttps(step.url)) {
    step.error = kHttpsToHttpRedirect;
  } else {
    step.kind = RedirectStep::kFollow;
    step.verb = status == 307 ? verb : "GET";
  }
  return step;
}

}  // namespace orin::net
