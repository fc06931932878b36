// PostRequest over libcurl, behaving as the WinInet client does with the module's flags: fixed
// ports, the header block and body sent as given, HTTP/1.1, the raw header text ending in a NUL,
// the same certificate tolerance (see AcceptLikeWinInet) and the same redirects (see
// FollowedStatus). Every hop is one easy handle of its own, run through a multi handle so that
// an exit can end it while the server keeps it waiting. libcurl is loaded by the first exchange;
// the module makes its exchanges on its own thread.
#include <strings.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "net/exit_flag.h"
#include "net/http_client.h"
#include "platform/posix/curl_library.h"
#include "platform/posix/redirect_rules.h"

namespace orin::net {
namespace {

// WinInet's defaults, which the module never changes: 60 s to connect, 30 s for each wait on the
// server. curl has no per-read limit; "under 1 byte/s for 30 s" ends the same kind of stall.
constexpr long kConnectTimeoutMs = 60000;
constexpr long kStallSeconds = 30;
// How long a hop may wait on the network before it looks at the exit flag again.
constexpr int kExitPollMs = 50;
// A reply head larger than this is not a server the module talks to.
constexpr std::size_t kReplyHeadLimit = 64 * 1024;

// The WinInet error numbers a failed send reports, for the causes curl distinguishes.
constexpr std::int64_t kNameNotResolved = 12007;
constexpr std::int64_t kCannotConnect = 12029;
constexpr std::int64_t kTimeout = 12002;
constexpr std::int64_t kCertNameInvalid = 12038;
constexpr std::int64_t kSecureChannelError = 12157;
constexpr std::int64_t kConnectionAborted = 12030;
constexpr std::int64_t kOperationCancelled = 12017;

// Reached only within an exchange, which PostRequest starts once the library is loaded.
const CurlLibrary& Lib() { return *Curl(); }

// The request's own flags tolerate an unknown authority (self-signed included), an invalid date
// and unchecked revocation; anything else, and curl's host-name check, still fail.
int AcceptLikeWinInet(int preverified, X509_STORE_CTX* store) {
  if (preverified) return 1;
  switch (Lib().store_ctx_get_error(store)) {
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_CERT_UNTRUSTED:
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
    case X509_V_ERR_UNABLE_TO_GET_CRL:
    case X509_V_ERR_CRL_HAS_EXPIRED:
    case X509_V_ERR_CRL_NOT_YET_VALID:
      Lib().store_ctx_set_error(store, X509_V_OK);
      return 1;
    default:
      return 0;
  }
}

// The authorities libcurl was built to trust, read once per process: reading the bundle is most
// of what a request costs otherwise. Null while it cannot be read; the next handshake tries again,
// and fails as libcurl does with an unreadable bundle. Never freed: a request may still be under
// way while the process exits.
X509_STORE* TrustedAuthorities(CURL* easy) {
  static std::mutex lock;
  static X509_STORE* shared = nullptr;
  std::lock_guard<std::mutex> guard(lock);
  if (shared != nullptr) return shared;
  const CurlLibrary& lib = Lib();
  char* file = nullptr;
  char* folder = nullptr;
  lib.easy_getinfo(easy, CURLINFO_CAINFO, &file);
  lib.easy_getinfo(easy, CURLINFO_CAPATH, &folder);
  X509_STORE* store = lib.store_new();
  if (store == nullptr) return nullptr;
  if ((file != nullptr || folder != nullptr) &&
      lib.store_load_locations(store, file, folder) != 1) {
    lib.store_free(store);
    return nullptr;
  }
  // What libcurl sets on a store it fills itself.
  lib.store_set_flags(store, X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  shared = store;
  return shared;
}

// Every connection gets the same store of authorities and nothing else of another: its own
// context, its own handshake, no session carried over.
CURLcode InstallVerifier(CURL* easy, void* sslContext, void*) {
  auto* context = static_cast<SSL_CTX*>(sslContext);
  X509_STORE* store = TrustedAuthorities(easy);
  if (store == nullptr) return CURLE_SSL_CACERT_BADFILE;
  Lib().ssl_ctx_set1_cert_store(context, store);
  Lib().ssl_ctx_set_verify(context, SSL_VERIFY_PEER, AcceptLikeWinInet);
  return CURLE_OK;
}

// WinInet resolves the host text as one name; anything a name cannot hold (a ":port", a path,
// user info) makes it unresolvable rather than reinterpreted.
bool IsPlainHostName(const std::string& host) {
  if (host.empty()) return false;
  for (char c : host) {
    const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                    c == '.' || c == '-' || c == '_';
    if (!ok) return false;
  }
  return true;
}

// What one hop received. The callbacks run inside curl's C frames: nothing may leave them by an
// exception, so every failure there becomes an abort of the transfer.
struct Exchange {
  bool skipReply = false;
  std::string head;          // of the response being received
  std::string location;      // its Location header, when it has one
  std::string* body = nullptr;
  bool headersDone = false;  // a final (non-1xx) response's header block has ended
};

long StatusOf(const std::string& head) {
  const std::size_t sp = head.find(' ');
  return sp == std::string::npos ? 0 : std::strtol(head.c_str() + sp + 1, nullptr, 10);
}

std::string Trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  const std::size_t end = text.find_last_not_of(" \t\r\n");
  return begin == std::string::npos ? std::string() : text.substr(begin, end - begin + 1);
}

size_t OnHeader(char* data, size_t size, size_t count, void* user) noexcept try {
  auto* x = static_cast<Exchange*>(user);
  const std::size_t n = size * count;
  if (x->head.size() + n > kReplyHeadLimit) return 0;
  const std::string line(data, n);
  // An interim response starts over; only the last one's headers are kept.
  if (line.compare(0, 5, "HTTP/") == 0) {
    x->head.clear();
    x->location.clear();
    x->headersDone = false;
  }
  x->head += line;
  if (strncasecmp(line.c_str(), "location:", 9) == 0) x->location = Trimmed(line.substr(9));
  // A 1xx block is followed by another.
  if ((line == "\r\n" || line == "\n") && StatusOf(x->head) >= 200) x->headersDone = true;
  return n;
} catch (...) {
  return 0;
}

// With skipReply nothing after the status is read: the first body bytes end the transfer, as
// does the first byte beyond what is kept.
size_t OnBody(char* data, size_t size, size_t count, void* user) noexcept try {
  auto* x = static_cast<Exchange*>(user);
  const std::size_t n = size * count;
  if (x->skipReply) return 0;
  const std::size_t room = kReplyBodyLimit - std::min(x->body->size(), kReplyBodyLimit);
  x->body->append(data, std::min(n, room));
  return n <= room ? n : 0;
} catch (...) {
  return 0;
}

int OnProgress(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  return RequestsAbortedForExit() ? 1 : 0;
}

std::int64_t ErrorNumber(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST: return kNameNotResolved;
    case CURLE_COULDNT_CONNECT: return kCannotConnect;
    case CURLE_OPERATION_TIMEDOUT: return kTimeout;
    case CURLE_PEER_FAILED_VERIFICATION: return kCertNameInvalid;
    case CURLE_SSL_CONNECT_ERROR: return kSecureChannelError;
    case CURLE_ABORTED_BY_CALLBACK: return kOperationCancelled;
    default: return kConnectionAborted;
  }
}

struct EasyCleanup {
  void operator()(CURL* c) const { Lib().easy_cleanup(c); }
};
struct MultiCleanup {
  void operator()(CURLM* m) const { Lib().multi_cleanup(m); }
};
struct ListCleanup {
  void operator()(curl_slist* l) const { Lib().slist_free_all(l); }
};
using Easy = std::unique_ptr<CURL, EasyCleanup>;
using Multi = std::unique_ptr<CURLM, MultiCleanup>;
using HeaderList = std::unique_ptr<curl_slist, ListCleanup>;

// The caller's block, one header per line; curl's own Accept, Expect and (when the caller names
// none) Content-Type are dropped, since WinInet sends none of them. Null when out of memory.
HeaderList MakeHeaderList(const std::string& block) {
  HeaderList list;
  bool hasContentType = false;
  const auto append = [&list](const char* line) {
    curl_slist* grown = Lib().slist_append(list.get(), line);
    if (grown == nullptr) return false;
    list.release();
    list.reset(grown);
    return true;
  };
  std::size_t start = 0;
  while (start < block.size()) {
    std::size_t end = block.find('\n', start);
    if (end == std::string::npos) end = block.size();
    std::string line = block.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) {
      if (line.size() >= 13 && strncasecmp(line.c_str(), "content-type:", 13) == 0) {
        hasContentType = true;
      }
      if (!append(line.c_str())) return nullptr;
    }
    start = end + 1;
  }
  if (!append("Accept:") || !append("Expect:")) return nullptr;
  if (!hasContentType && !append("Content-Type:")) return nullptr;
  return list;
}

// Runs one transfer to its end, or until the exit flag is seen.
CURLcode Perform(CURL* easy) {
  Multi multi(Lib().multi_init());
  if (!multi || Lib().multi_add_handle(multi.get(), easy) != CURLM_OK) return CURLE_OUT_OF_MEMORY;
  CURLcode result = CURLE_ABORTED_BY_CALLBACK;
  while (!RequestsAbortedForExit()) {
    int running = 0;
    if (Lib().multi_perform(multi.get(), &running) != CURLM_OK) {
      result = CURLE_OUT_OF_MEMORY;
      break;
    }
    int queued = 0;
    const CURLMsg* message = Lib().multi_info_read(multi.get(), &queued);
    if (message != nullptr && message->msg == CURLMSG_DONE) {
      result = message->data.result;
      break;
    }
    Lib().multi_poll(multi.get(), nullptr, 0, kExitPollMs, nullptr);
  }
  Lib().multi_remove_handle(multi.get(), easy);
  return result;
}

// One request of the exchange: the first one to the caller's host and path, with the caller's
// headers and body; later ones, without them, to where a redirect pointed.
struct Hop {
  std::string url;
  std::string target;  // the first hop's path, sent as given
  const char* verb;
  bool first;
  // What a relative Location is resolved against.
  std::string Base() const {
    return target.empty() || target[0] != '/' ? url : url.substr(0, url.size() - 1) + target;
  }
};

struct HopResult {
  CURLcode code = CURLE_OK;
  bool headersDone = false;
  long status = 0;
  std::string location;
  std::string head;
};

// False when an option the exchange depends on was refused (an old or differently built
// libcurl); the request is then not sent at all.
bool Configure(CURL* c, const Hop& hop, const HttpRequestInfo& request, curl_slist* headers,
               long timeoutMs, Exchange& x) {
  const CurlLibrary& lib = Lib();
  bool ok = true;
  const auto set = [&ok](CURLcode code) { ok = ok && code == CURLE_OK; };
  set(lib.easy_setopt(c, CURLOPT_URL, hop.url.c_str()));
  if (!hop.target.empty()) set(lib.easy_setopt(c, CURLOPT_REQUEST_TARGET, hop.target.c_str()));
  set(lib.easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http,https"));
  set(lib.easy_setopt(c, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)));
  set(lib.easy_setopt(c, CURLOPT_USERAGENT, kUserAgent.c_str()));
  set(lib.easy_setopt(c, CURLOPT_NOSIGNAL, 1L));
  set(lib.easy_setopt(c, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs));
  set(lib.easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, 1L));
  set(lib.easy_setopt(c, CURLOPT_LOW_SPEED_TIME, kStallSeconds));
  if (timeoutMs > 0) set(lib.easy_setopt(c, CURLOPT_TIMEOUT_MS, timeoutMs));
  set(lib.easy_setopt(c, CURLOPT_FORBID_REUSE, 1L));
  set(lib.easy_setopt(c, CURLOPT_FRESH_CONNECT, 1L));
  // Every call opens a fresh TLS session on a handle it then drops: a kept session is pure cost.
  set(lib.easy_setopt(c, CURLOPT_SSL_SESSIONID_CACHE, 0L));
  // Redirects are followed here, hop by hop, by WinInet's rules.
  set(lib.easy_setopt(c, CURLOPT_FOLLOWLOCATION, 0L));

  set(lib.easy_setopt(c, CURLOPT_SSL_VERIFYPEER, 1L));
  set(lib.easy_setopt(c, CURLOPT_SSL_VERIFYHOST, 2L));
  // Without it every unknown authority would fail: only an OpenSSL-based libcurl will do. It also
  // hands over the authorities, so libcurl is told to read none itself.
  set(lib.easy_setopt(c, CURLOPT_SSL_CTX_FUNCTION, InstallVerifier));
  set(lib.easy_setopt(c, CURLOPT_CAINFO, static_cast<char*>(nullptr)));
  set(lib.easy_setopt(c, CURLOPT_CAPATH, static_cast<char*>(nullptr)));
  set(lib.easy_setopt(c, CURLOPT_HTTPHEADER, headers));

  const bool get = std::string(hop.verb) == "GET";
  if (!hop.first || (get && request.body.empty())) {
    // Without a body nothing announces one: a redirected POST goes without Content-Length.
    set(lib.easy_setopt(c, CURLOPT_HTTPGET, 1L));
    if (!get) set(lib.easy_setopt(c, CURLOPT_CUSTOMREQUEST, hop.verb));
  } else {
    set(lib.easy_setopt(c, CURLOPT_POST, 1L));
    set(lib.easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(request.body.size())));
    set(lib.easy_setopt(c, CURLOPT_POSTFIELDS, request.body.data()));
    // A GET may carry a body too, as WinInet allows.
    if (get) set(lib.easy_setopt(c, CURLOPT_CUSTOMREQUEST, "GET"));
  }

  set(lib.easy_setopt(c, CURLOPT_HEADERFUNCTION, OnHeader));
  set(lib.easy_setopt(c, CURLOPT_HEADERDATA, &x));
  set(lib.easy_setopt(c, CURLOPT_WRITEFUNCTION, OnBody));
  set(lib.easy_setopt(c, CURLOPT_WRITEDATA, &x));
  set(lib.easy_setopt(c, CURLOPT_NOPROGRESS, 0L));
  set(lib.easy_setopt(c, CURLOPT_XFERINFOFUNCTION, OnProgress));
  return ok;
}

// False when the hop could not even be set up.
bool RunHop(const Hop& hop, const HttpRequestInfo& request, long timeoutMs, std::string& body,
            HopResult& out) {
  Easy easy(Lib().easy_init());
  HeaderList headers = MakeHeaderList(hop.first ? request.headers : std::string());
  if (!easy || !headers) return false;
  Exchange x;
  x.skipReply = request.skipReply;
  x.body = &body;
  body.clear();
  if (!Configure(easy.get(), hop, request, headers.get(), timeoutMs, x)) return false;
  out.code = Perform(easy.get());
  out.headersDone = x.headersDone;
  long status = 0;
  if (Lib().easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status) == CURLE_OK) {
    out.status = status;
  }
  out.location = x.location;
  out.head = std::move(x.head);
  return true;
}

}  // namespace

void PrepareTransportForExit() { Curl(); }

bool PostRequest(HttpResponseInfo& response, const HttpRequestInfo& request, ErrorInfo& error) {
  response.statusCode = 0;
  response.rawHeaders.clear();
  response.body.clear();
  error = ErrorInfo{};
  const auto sendFailed = [&error](std::int64_t code) {
    error.code = code;
    error.message = kSendFailedMessage;
    return false;
  };
  if (RequestsAbortedForExit()) return sendFailed(kOperationCancelled);

  // Without libcurl nothing can be sent, as with no network at all.
  if (Curl() == nullptr) return sendFailed(kCannotConnect);
  if (!IsPlainHostName(request.host)) return sendFailed(kNameNotResolved);

  Hop hop{std::string(request.secure ? "https://" : "http://") + request.host + "/", request.path,
          request.useGet ? "GET" : "POST", true};
  HopResult result;
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(request.deadlineMs);
  for (int redirects = 0;; ++redirects) {
    // Each hop gets what is left of the exchange's deadline.
    long timeoutMs = 0;
    if (request.deadlineMs != 0) {
      timeoutMs = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        deadline - std::chrono::steady_clock::now())
                                        .count());
      if (timeoutMs <= 0) {
        response.body.clear();
        return sendFailed(kTimeout);
      }
    }
    if (!RunHop(hop, request, timeoutMs, response.body, result)) {
      // Nothing was sent; as when WinInet cannot make its handles.
      response.body.clear();
      return false;
    }
    // Once a final response's headers are in, the send has succeeded; a later failure only cuts
    // the body short, as a failed read does under WinInet.
    if (result.code != CURLE_OK && !result.headersDone) {
      response.body.clear();
      return sendFailed(ErrorNumber(result.code));
    }
    if (!request.followRedirects) break;
    const RedirectStep step =
        NextHop(hop.Base(), hop.verb, result.status, result.location, redirects);
    if (step.kind == RedirectStep::kNone) break;
    if (step.kind == RedirectStep::kRefused) {
      response.body.clear();
      return sendFailed(step.error);
    }
    hop = Hop{step.url, std::string(), step.verb, false};
  }
  response.statusCode = static_cast<std::uint32_t>(result.status);
  if (request.skipReply) {
    response.body.clear();
  } else {
    response.rawHeaders = result.head;
    response.rawHeaders.push_back('\0');
  }
  return true;
}

}  // namespace orin::net
