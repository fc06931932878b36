// PostRequest over libcurl, behaving as the WinInet client does with the module's flags: fixed
// ports, the header block and body sent as given, HTTP/1.1, the raw header text ending in a NUL,
// and the same certificate tolerance (see AcceptLikeWinInet).
#include <curl/curl.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <strings.h>

#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "net/http_client.h"

namespace orin::net {
namespace {

// WinInet's defaults, which the module never changes: 60 s to connect, 30 s for each wait on the
// server. curl has no per-read limit; "under 1 byte/s for 30 s" ends the same kind of stall.
constexpr long kConnectTimeoutMs = 60000;
constexpr long kStallSeconds = 30;

// The WinInet error numbers a failed send reports, for the causes curl distinguishes.
constexpr std::int64_t kNameNotResolved = 12007;
constexpr std::int64_t kCannotConnect = 12029;
constexpr std::int64_t kTimeout = 12002;
constexpr std::int64_t kCertNameInvalid = 12038;
constexpr std::int64_t kSecureChannelError = 12157;
constexpr std::int64_t kConnectionAborted = 12030;

void GlobalInitOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The request's own flags tolerate an unknown authority (self-signed included), an invalid date
// and unchecked revocation; anything else, and curl's host-name check, still fail.
int AcceptLikeWinInet(int preverified, X509_STORE_CTX* store) {
  if (preverified) return 1;
  switch (X509_STORE_CTX_get_error(store)) {
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
      X509_STORE_CTX_set_error(store, X509_V_OK);
      return 1;
    default:
      return 0;
  }
}

CURLcode InstallVerifier(CURL*, void* sslContext, void*) {
  SSL_CTX_set_verify(static_cast<SSL_CTX*>(sslContext), SSL_VERIFY_PEER, AcceptLikeWinInet);
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

struct Exchange {
  const HttpRequestInfo* request;
  HttpResponseInfo* response;
  std::string headers;     // of the response being received
  bool headersDone = false;  // a final (non-1xx) response's header block has ended
};

size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto* x = static_cast<Exchange*>(user);
  const std::string line(data, size * count);
  // Interim and redirect responses start over; only the last one's headers are kept.
  if (line.compare(0, 5, "HTTP/") == 0) {
    x->headers.clear();
    x->headersDone = false;
  }
  x->headers += line;
  if (line == "\r\n" || line == "\n") {
    long status = 0;
    // A 1xx block is followed by another.
    const std::size_t sp = x->headers.find(' ');
    if (sp != std::string::npos) status = std::strtol(x->headers.c_str() + sp + 1, nullptr, 10);
    if (status >= 200) x->headersDone = true;
  }
  return size * count;
}

// With skipReply nothing after the status is read: the first body bytes end the transfer.
size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* x = static_cast<Exchange*>(user);
  if (x->request->skipReply) return 0;
  x->response->body.append(data, size * count);
  return size * count;
}

std::int64_t ErrorNumber(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST: return kNameNotResolved;
    case CURLE_COULDNT_CONNECT: return kCannotConnect;
    case CURLE_OPERATION_TIMEDOUT: return kTimeout;
    case CURLE_PEER_FAILED_VERIFICATION: return kCertNameInvalid;
    case CURLE_SSL_CONNECT_ERROR: return kSecureChannelError;
    default: return kConnectionAborted;
  }
}

struct EasyHandle {
  CURL* curl = curl_easy_init();
  curl_slist* headers = nullptr;
  ~EasyHandle() {
    curl_slist_free_all(headers);
    if (curl != nullptr) curl_easy_cleanup(curl);
  }
};

// The caller's block, one header per line; curl's own Accept, Expect and (when the caller names
// none) Content-Type are dropped, since WinInet sends none of them.
curl_slist* HeaderList(const std::string& block) {
  curl_slist* list = nullptr;
  bool hasContentType = false;
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
      list = curl_slist_append(list, line.c_str());
    }
    start = end + 1;
  }
  list = curl_slist_append(list, "Accept:");
  list = curl_slist_append(list, "Expect:");
  if (!hasContentType) list = curl_slist_append(list, "Content-Type:");
  return list;
}

}  // namespace

bool PostRequest(HttpResponseInfo& response, const HttpRequestInfo& request, ErrorInfo& error) {
  response.statusCode = 0;
  response.rawHeaders.clear();
  response.body.clear();
  error = ErrorInfo{};

  GlobalInitOnce();
  if (!IsPlainHostName(request.host)) {
    error.code = kNameNotResolved;
    error.message = kSendFailedMessage;
    return false;
  }
  EasyHandle easy;
  if (easy.curl == nullptr) return false;
  CURL* c = easy.curl;
  Exchange x{&request, &response, {}, false};

  const std::string url = std::string(request.secure ? "https://" : "http://") + request.host + "/";
  curl_easy_setopt(c, CURLOPT_URL, url.c_str());
  curl_easy_setopt(c, CURLOPT_PORT, request.secure ? 443L : 80L);
  if (!request.path.empty()) curl_easy_setopt(c, CURLOPT_REQUEST_TARGET, request.path.c_str());
  curl_easy_setopt(c, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(c, CURLOPT_USERAGENT, kUserAgent.c_str());
  curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
  curl_easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(c, CURLOPT_LOW_SPEED_TIME, kStallSeconds);
  curl_easy_setopt(c, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(c, CURLOPT_FRESH_CONNECT, 1L);
  // WinInet follows redirects unless told otherwise.
  curl_easy_setopt(c, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(c, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");

  curl_easy_setopt(c, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(c, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(c, CURLOPT_SSL_CTX_FUNCTION, InstallVerifier);

  easy.headers = HeaderList(request.headers);
  curl_easy_setopt(c, CURLOPT_HTTPHEADER, easy.headers);

  if (request.useGet && request.body.empty()) {
    curl_easy_setopt(c, CURLOPT_HTTPGET, 1L);
  } else {
    curl_easy_setopt(c, CURLOPT_POST, 1L);
    curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(c, CURLOPT_POSTFIELDS, request.body.data());
    // A GET may carry a body too, as WinInet allows.
    if (request.useGet) curl_easy_setopt(c, CURLOPT_CUSTOMREQUEST, "GET");
  }

  curl_easy_setopt(c, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(c, CURLOPT_HEADERDATA, &x);
  curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(c, CURLOPT_WRITEDATA, &x);

  const CURLcode result = curl_easy_perform(c);
  // Once a final response's headers are in, the send has succeeded; a later failure only cuts
  // the body short, as a failed read does under WinInet.
  if (result != CURLE_OK && !x.headersDone) {
    error.code = ErrorNumber(result);
    error.message = kSendFailedMessage;
    return false;
  }
  long status = 0;
  if (curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK) {
    response.statusCode = static_cast<std::uint32_t>(status);
  }
  if (request.skipReply) {
    response.body.clear();
  } else {
    response.rawHeaders = x.headers;
    response.rawHeaders.push_back('\0');
  }
  return true;
}

}  // namespace orin::net
