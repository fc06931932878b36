// PostRequest over WinInet. The steps, flags and close order are those the module has always
// used; servers and the helper were built around them.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include <windows.h>
#include <wininet.h>

#include "net/exit_flag.h"
#include "net/http_client.h"

namespace orin::net {
namespace {

constexpr DWORD kReadChunk = 4096;
constexpr DWORD kOperationCancelled = ERROR_INTERNET_OPERATION_CANCELLED;

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// The three handles of one call, closed whatever way the call ends, in the order the module has
// always closed them: session, connection, request.
struct Handles {
  HINTERNET session = nullptr, connection = nullptr, request = nullptr;
  Handles() = default;
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;
  ~Handles() {
    if (session != nullptr) InternetCloseHandle(session);
    if (connection != nullptr) InternetCloseHandle(connection);
    if (request != nullptr) InternetCloseHandle(request);
  }
};

// Ends the exchange when its deadline passes: WinInet's own limits are per wait, so a server that
// trickles a byte at a time would hold a blocking call for ever. Closing the request handle is how
// a blocked call is cancelled; the handle is then not closed a second time.
class Deadline {
 public:
  Deadline(std::uint32_t ms, HINTERNET& request)
      : request_(request),
        end_(std::chrono::steady_clock::now() + std::chrono::milliseconds(ms)),
        limited_(ms != 0) {
    if (ms == 0 || request == nullptr) return;
    watcher_ = std::thread([this, ms] {
      std::unique_lock<std::mutex> guard(lock_);
      if (!ended_.wait_for(guard, std::chrono::milliseconds(ms), [this] { return done_; })) {
        fired_ = true;
        InternetCloseHandle(request_);
      }
    });
  }
  // Between reads: a blocked read is not always cut short by the close (Wine's is not), but a
  // reply trickled a byte at a time returns from each read.
  bool Passed() {
    if (limited_ && std::chrono::steady_clock::now() >= end_) expired_ = true;
    return expired_;
  }
  // True when the deadline cut the exchange short.
  bool Stop() {
    {
      std::lock_guard<std::mutex> guard(lock_);
      done_ = true;
    }
    ended_.notify_all();
    if (watcher_.joinable()) watcher_.join();
    if (fired_) request_ = nullptr;
    return fired_ || expired_;
  }
  ~Deadline() { Stop(); }

 private:
  HINTERNET& request_;
  const std::chrono::steady_clock::time_point end_;
  const bool limited_;
  bool expired_ = false;
  std::mutex lock_;
  std::condition_variable ended_;
  bool done_ = false, fired_ = false;
  std::thread watcher_;
};

}  // namespace

// WinInet needs no set-up of its own before the host's exit handlers.
void PrepareTransportForExit() {}

bool PostRequest(HttpResponseInfo& response, const HttpRequestInfo& request, ErrorInfo& error) {
  response.statusCode = 0;
  response.rawHeaders.clear();
  response.body.clear();
  error = ErrorInfo{};
  bool failed = true;
  // Windows ends the threads itself at exit; what is left is not to start another exchange.
  if (RequestsAbortedForExit()) {
    error.code = kOperationCancelled;
    error.message = kSendFailedMessage;
    return false;
  }

  Handles handles;
  HINTERNET& session = handles.session;
  HINTERNET& connection = handles.connection;
  HINTERNET& handle = handles.request;
  session = InternetOpenA(kUserAgent.c_str(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
  if (session != nullptr && request.deadlineMs != 0) {
    // No single wait may outlast the whole exchange.
    DWORD limit = request.deadlineMs;
    for (DWORD option : {INTERNET_OPTION_CONNECT_TIMEOUT, INTERNET_OPTION_SEND_TIMEOUT,
                         INTERNET_OPTION_RECEIVE_TIMEOUT}) {
      InternetSetOptionW(session, option, &limit, sizeof limit);
    }
  }
  if (session != nullptr) {
    const INTERNET_PORT port =
        request.secure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
    connection = InternetConnectA(session, request.host.c_str(), port, nullptr, nullptr,
                                  INTERNET_SERVICE_HTTP, 0, 0);
  }
  if (connection != nullptr) {
    // A certificate for another host name must still fail, so CN_INVALID is never ignored.
    DWORD flags = INTERNET_FLAG_RELOAD;
    if (request.secure) flags |= INTERNET_FLAG_SECURE | INTERNET_FLAG_IGNORE_CERT_DATE_INVALID;
    if (!request.followRedirects) flags |= INTERNET_FLAG_NO_AUTO_REDIRECT;
    handle = HttpOpenRequestA(connection, request.useGet ? "GET" : "POST", OrNull(request.path),
                              "HTTP/1.1", nullptr, nullptr, flags, 0);
  }
  Deadline deadline(request.deadlineMs, handle);
  if (handle != nullptr) {
    DWORD security = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_REVOCATION;
    if (!InternetSetOptionW(handle, INTERNET_OPTION_SECURITY_FLAGS, &security, sizeof security)) {
      std::printf("%d", static_cast<int>(GetLastError()));
    }
    // The body is opaque bytes; WinInet only reads it.
    void* body = request.body.empty() ? nullptr : const_cast<char*>(request.body.data());
    if (!HttpSendRequestA(handle, OrNull(request.headers),
                          static_cast<DWORD>(request.headers.size()), body,
                          static_cast<DWORD>(request.body.size()))) {
      error.code = GetLastError();
      error.message = kSendFailedMessage;
    } else {
      failed = false;
      DWORD status = 0, length = sizeof status;
      if (HttpQueryInfoA(handle, HTTP_QUERY_FLAG_NUMBER | HTTP_QUERY_STATUS_CODE, &status, &length,
                         nullptr)) {
        response.statusCode = status;
      }
      if (!request.skipReply) {
        // The first query only learns the size, which counts the terminating NUL; it is kept.
        char probe[4] = {};
        DWORD needed = sizeof probe;
        HttpQueryInfoA(handle, HTTP_QUERY_RAW_HEADERS_CRLF, probe, &needed, nullptr);
        response.rawHeaders.resize(needed);
        DWORD filled = needed;
        if (needed != 0) {
          HttpQueryInfoA(handle, HTTP_QUERY_RAW_HEADERS_CRLF, &response.rawHeaders[0], &filled,
                         nullptr);
        }
        // Only so much is kept; the rest is left unread and goes with the handles.
        std::vector<char> buffer(kReadChunk, 0);
        DWORD read = 0;
        // Under a deadline only what has arrived is asked for, so no read waits for a full chunk.
        const auto want = [&]() -> DWORD {
          if (request.deadlineMs == 0) return kReadChunk;
          DWORD available = 0;
          if (!InternetQueryDataAvailable(handle, &available, 0, 0)) return 0;
          return std::min(available, kReadChunk);
        };
        DWORD size = 0;
        while (response.body.size() < kReplyBodyLimit && !deadline.Passed() &&
               (size = want()) != 0 && InternetReadFile(handle, buffer.data(), size, &read) &&
               read != 0) {
          response.body.append(buffer.data(),
                               std::min<std::size_t>(read, kReplyBodyLimit - response.body.size()));
        }
      }
    }
  }
  if (deadline.Stop()) {
    response = HttpResponseInfo{};
    error.code = ERROR_INTERNET_TIMEOUT;
    error.message = kSendFailedMessage;
    failed = true;
  }
  return !failed;
}

}  // namespace orin::net
