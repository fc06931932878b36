#include "common/json_scan.h"

#include <cstddef>
#include <cstring>

#include "common/utf8.h"

namespace orin {
namespace {

constexpr int kMaxDepth = 32;
// Long enough for any 64-bit integer; short enough that no decimal fraction overflows or
// underflows a double, which a reader may refuse.
constexpr std::ptrdiff_t kMaxNumberLength = 24;
// Names are compared pairwise; an object with more members than this is parsed instead.
constexpr int kMaxMembers = 64;

struct Scanner {
  const char* p;
  const char* end;
  PlainMemberVisitor visit = nullptr;
  void* context = nullptr;

  void SkipSpace() {
    while (p < end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r')) ++p;
  }

  bool Word(const char* word, std::size_t n) {
    if (static_cast<std::size_t>(end - p) < n || std::memcmp(p, word, n) != 0) return false;
    p += n;
    return true;
  }

  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  bool Number() {
    const char* start = p;
    if (p < end && *p == '-') ++p;
    if (p == end) return false;
    if (*p == '0') {
      ++p;
    } else if (*p >= '1' && *p <= '9') {
      while (p < end && IsDigit(*p)) ++p;
    } else {
      return false;
    }
    if (p < end && *p == '.') {
      const char* digits = ++p;
      while (p < end && IsDigit(*p)) ++p;
      if (p == digits) return false;
    }
    if (p < end && (*p == 'e' || *p == 'E')) return false;
    return p - start <= kMaxNumberLength;
  }

  // Four hex digits at p, or -1.
  long Hex4() const {
    if (end - p < 4) return -1;
    long v = 0;
    for (int i = 0; i < 4; ++i) {
      const char c = p[i];
      int d;
      if (c >= '0' && c <= '9') d = c - '0';
      else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
      else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
      else return -1;
      v = v * 16 + d;
    }
    return v;
  }

  // p is just past the backslash.
  bool Escape() {
    if (p == end) return false;
    switch (*p++) {
      case '"': case '\\': case '/': case 'b': case 'f': case 'n': case 'r': case 't':
        return true;
      case 'u': break;
      default: return false;
    }
    const long unit = Hex4();
    if (unit < 0) return false;
    p += 4;
    if (unit >= 0xDC00 && unit <= 0xDFFF) return false;  // a second half alone
    if (unit < 0xD800 || unit > 0xDBFF) return true;
    if (end - p < 2 || p[0] != '\\' || p[1] != 'u') return false;
    p += 2;
    const long second = Hex4();
    if (second < 0xDC00 || second > 0xDFFF) return false;
    p += 4;
    return true;
  }

  // One UTF-8 sequence of two or more bytes at p: no overlong form, no surrogate, nothing past
  // U+10FFFF.
  bool Utf8() {
    const auto* at = reinterpret_cast<const unsigned char*>(p);
    const std::size_t n = Utf8SequenceLength(at, reinterpret_cast<const unsigned char*>(end));
    if (n < 2) return false;
    p += n;
    return true;
  }

  // p at the opening quote; `escaped` tells whether the string holds an escape.
  bool String(bool& escaped) {
    escaped = false;
    ++p;
    while (p < end) {
      const auto c = static_cast<unsigned char>(*p);
      if (c == '"') {
        ++p;
        return true;
      }
      if (c < 0x20) return false;
      if (c == '\\') {
        ++p;
        escaped = true;
        if (!Escape()) return false;
      } else if (c >= 0x80) {
        if (!Utf8()) return false;
      } else {
        ++p;
      }
    }
    return false;
  }

  bool Value(int depth) {
    if (p == end) return false;
    bool escaped = false;
    switch (*p) {
      case '{': return Object(depth + 1);
      case '[': return Array(depth + 1);
      case '"': return String(escaped);
      case 't': return Word("true", 4);
      case 'f': return Word("false", 5);
      case 'n': return Word("null", 4);
      default: return Number();
    }
  }

  bool Array(int depth) {
    if (depth > kMaxDepth) return false;
    ++p;
    SkipSpace();
    if (p < end && *p == ']') {
      ++p;
      return true;
    }
    for (;;) {
      if (!Value(depth)) return false;
      SkipSpace();
      if (p == end) return false;
      if (*p == ']') {
        ++p;
        return true;
      }
      if (*p++ != ',') return false;
      SkipSpace();
    }
  }

  bool Object(int depth) {
    if (depth > kMaxDepth) return false;
    struct Name {
      const char* text;
      std::size_t size;
    } names[kMaxMembers];
    int count = 0;
    ++p;
    SkipSpace();
    if (p < end && *p == '}') {
      ++p;
      return true;
    }
    for (;;) {
      if (p == end || *p != '"' || count == kMaxMembers) return false;
      const char* name = p + 1;
      bool escaped = false;
      if (!String(escaped) || escaped) return false;
      const auto size = static_cast<std::size_t>(p - 1 - name);
      // Readers disagree on which of two equal names wins.
      for (int i = 0; i < count; ++i) {
        if (names[i].size == size && (size == 0 || names[i].text[0] == name[0]) &&
            std::memcmp(names[i].text, name, size) == 0) {
          return false;
        }
      }
      names[count++] = {name, size};
      SkipSpace();
      if (p == end || *p++ != ':') return false;
      SkipSpace();
      const char* value = p;
      if (!Value(depth)) return false;
      if (depth == 0 && visit != nullptr) visit(context, {name, size, value, p});
      SkipSpace();
      if (p == end) return false;
      if (*p == '}') {
        ++p;
        return true;
      }
      if (*p++ != ',') return false;
      SkipSpace();
    }
  }
};

}  // namespace

const char* PlainJsonObjectEnd(const char* begin, const char* end) {
  if (begin == nullptr || begin == end || *begin != '{') return nullptr;
  Scanner s{begin + 1, end};
  s.SkipSpace();
  if (s.p == end || *s.p == '}') return nullptr;  // {} is no event
  s.p = begin;
  if (!s.Object(0)) return nullptr;
  const char* objectEnd = s.p;
  s.SkipSpace();
  return s.p == end ? objectEnd : nullptr;
}

const char* PlainJsonValueEnd(const char* begin, const char* end, PlainMemberVisitor visit,
                              void* context) {
  if (begin == nullptr || begin == end) return nullptr;
  Scanner s{begin, end, visit, context};
  if (!(*begin == '{' ? s.Object(0) : s.Value(0))) return nullptr;
  return s.p;
}

}  // namespace orin
