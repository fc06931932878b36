#include "analytics/reply_scan.h"

namespace orin {

bool IsUuidText(const char* text, std::int32_t length) {
  if (text == nullptr || length != 36) return false;
  int hyphens = 0;
  for (std::int32_t i = 0; i < length && hyphens < 4; ++i) {
    if (text[i] == '-') ++hyphens;
  }
  return hyphens == 4;
}

bool ScanDeviceIdReply(const std::string& body, std::string& id) {
  static const std::string kMarker = "\"dev_id\":\"";
  const std::size_t at = body.find(kMarker);
  if (at == std::string::npos) return false;
  const std::string rest = body.substr(at + kMarker.size());
  const std::size_t quote = rest.find('"');
  if (quote == 0) return false;
  const std::string text = quote == std::string::npos ? rest : rest.substr(0, quote);
  if (text.size() != 36 || !IsUuidText(text.c_str(), 36)) return false;
  id = "dev_id_" + text;
  return true;
}

bool ScanVidReply(const std::string& reply, std::string& vid) {
  static const std::string kMarker = "\"vid\":";
  const std::size_t at = reply.find(kMarker);
  if (at == std::string::npos) return false;
  const std::string rest = reply.substr(at + kMarker.size());
  const std::size_t open = rest.find('"');
  if (open == std::string::npos) {
    vid = rest;
    return true;
  }
  const std::size_t close = rest.find('"', open + 1);
  vid = close == std::string::npos ? rest.substr(open + 1) : rest.substr(open + 1, close - open - 1);
  return true;
}

}  // namespace orin
