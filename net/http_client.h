#pragma once
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// One synchronous HTTP exchange per call: a fresh session, connection and request each time,
// nothing kept between calls, so any thread may call at any time.
// Win32: WinInet. POSIX: libcurl with the same observable behaviour.

namespace orin::net {

struct HttpRequestInfo {
  std::string host;     // passed as is: a ":port" in it is part of the name
  std::string path;     // empty: none
  std::string headers;  // one raw block, sent exactly as given; empty: none
  std::string body;     // opaque bytes, may hold NULs; empty: none
  bool useGet = false;  // "GET", else "POST"
  bool secure = false;  // TLS on 443, else plain on 80
  bool skipReply = false;
  // The module's exchanges follow redirects as WinInet does; the helper counts only what the
  // collector itself answered.
  bool followRedirects = true;
  // Overall limit for the whole exchange, redirects included; 0: only the per-wait limits.
  std::uint32_t deadlineMs = 0;
};

struct HttpResponseInfo {
  std::uint32_t statusCode = 0;  // 0: never sent, or the status could not be read
  std::string rawHeaders;        // CRLF text ending in one NUL, as the header query gives it
  std::string body;
};

struct ErrorInfo {
  std::int64_t code = 0;  // 0: no error
  std::wstring message;
};

// The exception PostRequestOrThrow raises.
class HttpError : public std::runtime_error {
 public:
  explicit HttpError(const ErrorInfo& error);
  const ErrorInfo& info() const { return info_; }

 private:
  ErrorInfo info_;
};

// The module-wide user-agent text (its missing blank before "Trident" is intended).
extern const std::string kUserAgent;

// True exactly when the request reached the server, whatever its status.
bool PostRequest(HttpResponseInfo& response, const HttpRequestInfo& request, ErrorInfo& error);

// PostRequest with a fresh ErrorInfo; throws HttpError when that records a failure.
void PostRequestOrThrow(HttpResponseInfo& response, const HttpRequestInfo& request);

// Appends name=value pairs joined by "&", unescaped. A pair with an empty half is skipped but
// still counts, so a skipped last pair leaves a trailing "&".
void BuildFormQuery(std::string& out, const std::vector<std::pair<std::string, std::string>>& pairs);

// How much of a reply body is kept; the rest is dropped and the call still succeeds.
inline constexpr std::size_t kReplyBodyLimit = 64 * 1024;

// For the host's exit: a request in flight ends soon (on Windows, which ends the threads itself,
// the next send is refused instead) and every later PostRequest fails as a failed send.
void AbortRequestsForExit();

// Sets the transport's libraries up now, so that their own exit handlers are registered before
// those of a caller that runs this first.
void PrepareTransportForExit();

// The message of a failed send.
inline constexpr const wchar_t* kSendFailedMessage = L"Send http request failed";

}  // namespace orin::net
