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

bool IsSingleIniValue(const std::string& text) {
  return text.find_first_of(std::string("\r\n[\0", 4)) == std::string::npos;
}

bool ScanDeviceIdReply(const std::string& body, std::string& id) {
  static const std::string kMarker = "\"dev_id\":\"";
  const std::size_t at = body.find(kMarker);
  if (at == std::string::npos) return false;
  const std::string rest = body.substr(at + kMarker.size());
  const std::size_t quote = rest.find('"');
  if (quote == 0) return false;
  const std::string text = quote == std::string::npos ? rest : rest.substr(0, quote);
  if (text.size() != 36 || !IsUuidText(text.c_str(), 36) || !IsSingleIniValue(text)) return false;
  id = "dev_id_" + text;
  return true;
}

bool ScanVidReply(const std::string& reply, std::string& vid) {
  static const std::string kMarker = "\"vid\":";
  const std::size_t at = reply.find(kMarker);
  if (at == std::string::npos) return false;
  const std::string rest = reply.substr(at + kMarker.size());
  const std::size_t open = rest.find('"');
  std::string text;
  if (open == std::string::npos) {
    text = rest;
  } else {
    const std::size_t close = rest.find('"', open + 1);
    text = close == std::string::npos ? rest.substr(open + 1) : rest.substr(open + 1, close - open - 1);
  }
  if (!IsSingleIniValue(text)) return false;
  vid = text;
  return true;
}

}  // namespace orin
