#include "platform/profile.h"

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

// Raw ANSI bytes, as the Windows A functions read them: no UTF-8 conversion or validation.
// Debian's header keeps the template bodies behind SI_IMPLEMENTATION (its prebuilt library pulls
// in ICU); this is the one translation unit that instantiates them.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

#include "platform/posix/ini_text.h"

// SimpleIni parses the key lines. The Windows rules it cannot give are handled around it:
// only the first of several same-named sections counts (SimpleIni merges them), so it is handed
// that one section's text; lines it would skip are shielded (ShieldBody); and a write edits the
// file's text in place, because SimpleIni's Save re-renders the whole document (spacing, blank
// lines and duplicate sections would change).

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

// SimpleIni skips lines that Windows reads as keys: ";" and "#" lines, lines starting with "["
// or "=", and lines without "=". Such lines (and a lookup of such a name) get a neutral first
// byte; a line without "=" gets a value that stands for "none", since Windows gives the default
// for it yet lets it hide a later key of the same name. A NUL byte, which SimpleIni would take
// as the end of the text, ends only its value.
constexpr char kShield = '\x01';
constexpr char kNoValue = '\x02';
constexpr char kNul = '\x03';

bool NeedsShield(const std::string& name) {
  return name.empty() || name[0] == ';' || name[0] == '#' || name[0] == '[' || name[0] == '=';
}

std::string ShieldBody(const std::string& body) {
  std::string out;
  out.reserve(body.size() + 16);
  std::size_t pos = 0;
  while (pos < body.size()) {
    std::size_t nl = body.find('\n', pos);
    if (nl == std::string::npos) nl = body.size();
    std::string line = body.substr(pos, nl - pos);
    for (char& c : line) {
      if (c == '\0') c = kNul;
    }
    std::size_t end = line.size();
    if (end > 0 && line[end - 1] == '\r') --end;
    const std::size_t first = line.find_first_not_of(" \t\v\f");
    if (first != std::string::npos && first < end) {
      if (line.find('=') == std::string::npos) line.insert(end, std::string("=") + kNoValue);
      if (NeedsShield(line.substr(first))) line.insert(first, 1, kShield);
    }
    out += line;
    if (nl < body.size()) out += '\n';
    pos = nl + 1;
  }
  return out;
}

// Looks the key up; false when the file, the section or the key (with a value) is missing.
bool LookUp(const char* section, const char* key, const char* path, std::string* value) {
  if (section == nullptr || key == nullptr || path == nullptr) return false;
  std::string text;
  if (!ini::ReadFileText(path, &text)) return false;
  ini::SectionRange range;
  if (!ini::FindSection(text, ini::Trim(section), &range)) return false;
  const std::string body =
      ShieldBody(text.substr(range.bodyBegin, range.bodyEnd - range.bodyBegin));

  CSimpleIniA parser(false, true /* keep duplicate keys: the first one wins */, false);
  if (parser.LoadData(body.data(), body.size()) < 0) return false;
  std::string name = ini::Trim(key);
  if (NeedsShield(name)) name.insert(name.begin(), kShield);
  const char* found = parser.GetValue("", name.c_str(), nullptr);
  if (found == nullptr || (found[0] == kNoValue && found[1] == '\0')) return false;
  *value = found;
  const std::size_t nul = value->find(kNul);
  if (nul != std::string::npos) value->resize(nul);
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
  if (section == nullptr || key == nullptr || path == nullptr) {
    return CopyOut(std::string(), buffer, size);
  }
  std::string value;
  if (!LookUp(section, key, path, &value)) value = TrimDefault(defaultValue);
  return CopyOut(value, buffer, size);
}

std::uint32_t ReadProfileInt(const char* section, const char* key, std::int32_t defaultValue,
                             const char* path) {
  if (section == nullptr || key == nullptr || path == nullptr) {
    return static_cast<std::uint32_t>(defaultValue);
  }
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

std::string ReadProfileStringUtf8(const char* section, const char* key, const char* defaultValue,
                                  std::uint32_t size, const char* path) {
  if (size == 0) return std::string();
  std::string buffer(size, '\0');
  buffer.resize(ReadProfileString(section, key, defaultValue, &buffer[0], size, path));
  return buffer;
}

std::uint32_t ReadProfileIntUtf8(const char* section, const char* key, std::int32_t defaultValue,
                                 const char* path) {
  return ReadProfileInt(section, key, defaultValue, path);
}

bool WriteProfileString(const char* section, const char* key, const char* value, const char* path) {
  if (section == nullptr || key == nullptr || value == nullptr || path == nullptr) return false;
  // Read, edit and replace must not interleave between threads, or one write would undo another
  // (kernel32 serialises its profile calls the same way). Other processes are not held off.
  static std::mutex writeLock;
  std::lock_guard<std::mutex> hold(writeLock);
  std::string text;
  if (!ini::ReadFileText(path, &text) && errno != ENOENT) return false;
  // Windows stores the value without its leading blanks; it shows once the key holds a "=".
  std::string stored = value;
  stored.erase(0, stored.find_first_not_of(" \t\r\n\v\f"));
  ini::SetKey(&text, ini::Trim(section), ini::Trim(key), stored);
  return ini::ReplaceFileText(path, text);
}

}  // namespace orin::platform
