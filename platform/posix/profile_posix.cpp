#include "platform/profile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Raw ANSI bytes, as the Windows A functions read them: no UTF-8 conversion or validation.
#define SI_NO_CONVERSION
#include <SimpleIni.h>

#include "platform/posix/ini_text.h"

// SimpleIni parses the key lines. Two Windows rules it cannot give are handled around it:
// only the first of several same-named sections counts (SimpleIni merges them), so it is handed
// that one section's text; and a write edits the file's text in place, because SimpleIni's Save
// re-renders the whole document (spacing, blank lines, duplicate sections would change).

namespace orin::platform {
namespace {

// The value rules of the Windows profile reader: one pair of matching quotes comes off.
std::string StripQuotes(const char* value) {
  const std::size_t len = std::strlen(value);
  if (len >= 2 && (value[0] == '"' || value[0] == '\'') && value[len - 1] == value[0]) {
    return std::string(value + 1, len - 2);
  }
  return std::string(value);
}

// Trailing blanks of the default are dropped, as the Windows reader does.
std::string TrimDefault(const char* def) {
  std::string d = def != nullptr ? def : "";
  while (!d.empty() && d.back() == ' ') d.pop_back();
  return d;
}

std::uint32_t CopyOut(const std::string& text, char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return 0;
  const std::size_t n = text.size() < size - 1 ? text.size() : size - 1;
  std::memcpy(buffer, text.data(), n);
  buffer[n] = '\0';
  // A NUL inside the value ends it, as it would in the C string the caller gets.
  return static_cast<std::uint32_t>(std::strlen(buffer));
}

// Looks the key up; false when the file, the section or the key is missing.
bool LookUp(const char* section, const char* key, const char* path, std::string* value) {
  if (section == nullptr || key == nullptr || path == nullptr) return false;
  std::string text;
  if (!ini::ReadFileText(path, &text)) return false;
  ini::SectionRange range;
  if (!ini::FindSection(text, ini::Trim(section), &range)) return false;
  const std::string body = text.substr(range.bodyBegin, range.bodyEnd - range.bodyBegin);

  CSimpleIniA parser(false, true /* keep duplicate keys: the first one wins */, false);
  if (parser.LoadData(body.data(), body.size()) < 0) return false;
  const char* found = parser.GetValue("", ini::Trim(key).c_str(), nullptr);
  if (found == nullptr) return false;
  *value = StripQuotes(found);
  return true;
}

}  // namespace

std::uint32_t ReadProfileString(const char* section, const char* key, const char* defaultValue,
                                char* buffer, std::uint32_t size, const char* path) {
  std::string value;
  if (!LookUp(section, key, path, &value)) value = TrimDefault(defaultValue);
  return CopyOut(value, buffer, size);
}

std::uint32_t ReadProfileInt(const char* section, const char* key, std::int32_t defaultValue,
                             const char* path) {
  // The Windows reader goes through a 30-character buffer before it parses.
  char buffer[30];
  if (ReadProfileString(section, key, "", buffer, sizeof buffer, path) == 0) {
    return static_cast<std::uint32_t>(defaultValue);
  }
  const char* p = buffer;
  while (*p != '\0' && static_cast<unsigned char>(*p) <= ' ') ++p;
  bool negative = false;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  std::uint32_t total = 0;
  while (*p >= '0' && *p <= '9') total = total * 10u + static_cast<std::uint32_t>(*p++ - '0');
  return negative ? 0u - total : total;
}

bool WriteProfileString(const char* section, const char* key, const char* value, const char* path) {
  if (section == nullptr || key == nullptr || value == nullptr || path == nullptr) return false;
  std::string text;
  if (!ini::ReadFileText(path, &text) && errno != ENOENT) return false;
  ini::SetKey(&text, ini::Trim(section), ini::Trim(key), value);
  return ini::ReplaceFileText(path, text);
}

}  // namespace orin::platform
