#include "net/http_client.h"

namespace orin::net {

const std::string kUserAgent = "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1;Trident/4.0)";

namespace {
std::string Narrow(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
  return out;
}
}  // namespace

HttpError::HttpError(const ErrorInfo& error)
    : std::runtime_error(Narrow(error.message) + " (" + std::to_string(error.code) + ")"),
      info_(error) {}

void PostRequestOrThrow(HttpResponseInfo& response, const HttpRequestInfo& request) {
  ErrorInfo error;
  PostRequest(response, request, error);
  if (error.code != 0) throw HttpError(error);
}

void BuildFormQuery(std::string& out,
                    const std::vector<std::pair<std::string, std::string>>& pairs) {
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const auto& [name, value] = pairs[i];
    if (name.empty() || value.empty()) continue;
    out += name;
    out += '=';
    out += value;
    if (i + 1 < pairs.size()) out += '&';
  }
}

}  // namespace orin::net
