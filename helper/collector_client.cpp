#include "helper/collector_client.h"

#include "common/json_text.h"
#include "net/http_client.h"

namespace orin::helper {

PostOutcome PostEvents(const Endpoint& endpoint, const Json::Value& events) {
  return PostBody(endpoint, ToFastText(events));
}

PostOutcome PostBody(const Endpoint& endpoint, const std::string& body) {
  net::HttpRequestInfo request;
  request.host = endpoint.host;
  request.path = endpoint.path;
  request.headers = "content-type:application/json";
  request.body = body;
  request.secure = endpoint.secure;
  // Only the status decides; whatever the collector says besides is not read.
  request.skipReply = true;
  net::HttpResponseInfo response;
  net::ErrorInfo error;
  PostOutcome outcome;
  if (!net::PostRequest(response, request, error)) {
    outcome.reason = "collector not reached (error " + std::to_string(error.code) + ")";
    return outcome;
  }
  outcome.status = response.statusCode;
  outcome.delivered = response.statusCode == 200 || response.statusCode == 204;
  if (!outcome.delivered) outcome.reason = "collector answered " + std::to_string(response.statusCode);
  return outcome;
}

}  // namespace orin::helper
