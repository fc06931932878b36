#include "helper/raw_submit.h"

namespace orin::helper {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

bool TakeSubmitText(const std::string& line, std::string& json, std::string& rest) {
  std::size_t i = 0;
  const std::size_t n = line.size();
  // The program name: quoted up to the next quote, or up to the first blank.
  if (i < n && line[i] == '"') {
    i = line.find('"', 1);
    if (i == std::string::npos) return false;
    ++i;
  } else {
    while (i < n && !IsBlank(line[i])) ++i;
  }
  while (i < n && IsBlank(line[i])) ++i;
  static const std::string kSwitch = "-submit";
  if (line.compare(i, kSwitch.size(), kSwitch) != 0) return false;
  i += kSwitch.size();
  if (i >= n || !IsBlank(line[i])) return false;
  while (i < n && IsBlank(line[i])) ++i;
  if (i >= n || line[i] != '"') return false;
  ++i;
  json.clear();
  // Every quote of the text came with a backslash put before it; an unescaped one closes it.
  for (; i < n; ++i) {
    if (line[i] == '\\' && i + 1 < n && line[i + 1] == '"') {
      json += '"';
      ++i;
    } else if (line[i] == '"') {
      rest = line.substr(i + 1);
      return true;
    } else {
      json += line[i];
    }
  }
  return false;
}

}  // namespace orin::helper
