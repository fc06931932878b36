#include "html.h"

namespace orincollect {

std::string EscapeHtml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string EncodeQueryValue(std::string_view text) {
  static const char hex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if ((u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || c == '-' ||
        c == '_' || c == '.' || c == '~') {
      out += c;
    } else {
      out += '%';
      out += hex[u >> 4];
      out += hex[u & 15];
    }
  }
  return out;
}

std::string Shorten(std::string_view text, std::size_t chars) {
  std::size_t at = 0;
  for (std::size_t count = 0; at < text.size(); ++count) {
    if (count == chars) return std::string(text.substr(0, at)) + "\xE2\x80\xA6";
    ++at;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
  }
  return std::string(text);
}

}  // namespace orincollect
