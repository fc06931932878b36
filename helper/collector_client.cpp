#include "helper/collector_client.h"

#include "common/json_text.h"
#include "net/http_client.h"

namespace orin::helper {
namespace {

bool Acknowledged(const std::string& reply) {
  Json::Value json;
  if (!ParseJsonText(reply.data(), reply.data() + reply.size(), json) || !json.isObject()) {
    return false;
  }
  const Json::Value& code = json["code"];
  return code.isIntegral() && code.asInt64() == 0;
}

bool WillNeverChange(std::uint32_t status) {
  return status >= 400 && status < 500 && status != 408 && status != 429;
}

}  // namespace

PostOutcome PostEvents(const Endpoint& endpoint, const Json::Value& events, const std::string& key,
                       std::uint32_t deadlineMs) {
  return PostBody(endpoint, ToFastText(events), key, deadlineMs);
}

PostOutcome PostBody(const Endpoint& endpoint, const std::string& body, const std::string& key,
                     std::uint32_t deadlineMs) {
  net::HttpRequestInfo request;
  request.host = endpoint.host;
  request.path = endpoint.path;
  // CRLF between lines: WinInet takes the block as it is, curl splits it.
  request.headers = "content-type:application/json";
  if (!key.empty()) request.headers += "\r\nIdempotency-Key: " + key;
  request.body = body;
  request.secure = endpoint.secure;
  request.followRedirects = false;
  request.deadlineMs = deadlineMs;
  net::HttpResponseInfo response;
  net::ErrorInfo error;
  PostOutcome outcome;
  if (!net::PostRequest(response, request, error)) {
    outcome.reason = "collector not reached (error " + std::to_string(error.code) + ")";
    return outcome;
  }
  outcome.status = response.statusCode;
  outcome.delivered = response.statusCode == 200 && Acknowledged(response.body);
  outcome.refusedForGood = WillNeverChange(response.statusCode);
  if (!outcome.delivered) {
    outcome.reason = "collector answered " + std::to_string(response.statusCode);
    if (response.statusCode == 200) outcome.reason += " without its acknowledgement";
  }
  return outcome;
}

}  // namespace orin::helper
