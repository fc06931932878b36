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
// Debian's header keeps the template bodies behind SI_IMPLEMENTATION (its prebuilt library pulls
// in ICU); this is the one translation unit that instantiates them.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

#include "platform/posix/ini_text.h"

// SimpleIni parses the key lines. Two Windows rules it cannot give are handled around it:
// only the first of several same-named sections counts (SimpleIni merges them), so it is handed
// that one section's text; and a write edits the file's text in place, because SimpleIni's Save
// re-renders the whole document (spacing, blank lines, duplicate sections would change).

namespace orin::platform {
namespace {

// A value or default is handed out the way the Windows reader copies it: one pair of matching
// quotes comes off, but the closing one only when the whole value fitted the buffer, and a value
// that fitted exactly loses its last character with it. Odd, but both builds must agree.
std::uint32_t CopyOut(const std::string& text, char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return 0;
  const char* value = text.c_str();  // a NUL inside the value ends it
  std::size_t len = std::strlen(value);
  bool quoted = false;
  if (len >= 2 && (value[0] == '"' || value[0] == '\'') && value[len - 1] == value[0]) {
    quoted = true;
    ++value;
    --len;
  }
  const std::size_t n = len < size - 1 ? len : size - 1;
  std::memcpy(buffer, value, n);
  buffer[n] = '\0';
  std::size_t out = n;
  if (quoted && size >= len && out > 0) buffer[--out] = '\0';
  return static_cast<std::uint32_t>(out);
}

// Trailing blanks of the default are dropped, as the Windows reader does.
std::string TrimDefault(const char* def) {
  std::string d = def != nullptr ? def : "";
  while (!d.empty() && d.back() == ' ') d.pop_back();
  return d;
}

// Windows has no comment syntax: a ";" or "#" line is a key like any other. SimpleIni skips
// such lines, so they (and a key looked up by such a name) get a neutral first byte.
constexpr char kNotAComment = '\x01';

std::string ShieldCommentLines(const std::string& body) {
  std::string out;
  out.reserve(body.size() + 16);
  bool lineStart = true;
  for (char c : body) {
    if (lineStart && (c == ';' || c == '#')) out += kNotAComment;
    if (c == '\n' || c == '\r') {
      lineStart = true;
    } else if (c != ' ' && c != '\t') {
      lineStart = false;
    }
    out += c;
  }
  return out;
}

// Looks the key up; false when the file, the section or the key is missing.
bool LookUp(const char* section, const char* key, const char* path, std::string* value) {
  if (section == nullptr || key == nullptr || path == nullptr) return false;
  std::string text;
  if (!ini::ReadFileText(path, &text)) return false;
  ini::SectionRange range;
  if (!ini::FindSection(text, ini::Trim(section), &range)) return false;
  const std::string body =
      ShieldCommentLines(text.substr(range.bodyBegin, range.bodyEnd - range.bodyBegin));

  CSimpleIniA parser(false, true /* keep duplicate keys: the first one wins */, false);
  if (parser.LoadData(body.data(), body.size()) < 0) return false;
  std::string name = ini::Trim(key);
  if (!name.empty() && (name[0] == ';' || name[0] == '#')) name.insert(name.begin(), kNotAComment);
  const char* found = parser.GetValue("", name.c_str(), nullptr);
  if (found == nullptr) return false;
  *value = found;
  return true;
}

int DigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'z') return c - 'a' + 10;
  if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
  return 99;
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
  // The Windows parser: blanks, a sign, then "0x", "0o" or "0b" (lower case) choose the base;
  // it stops at the first character that is no digit of it and wraps at 32 bits.
  const char* p = buffer;
  while (*p != '\0' && static_cast<unsigned char>(*p) <= ' ') ++p;
  bool negative = false;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  int base = 10;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'o' || p[1] == 'b')) {
    base = p[1] == 'x' ? 16 : p[1] == 'o' ? 8 : 2;
    p += 2;
  }
  std::uint32_t total = 0;
  for (; DigitValue(*p) < base; ++p) {
    total = total * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(DigitValue(*p));
  }
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
