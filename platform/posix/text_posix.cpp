#include "platform/text.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include "common/utf8.h"
#include "platform/posix/text_convert.h"

namespace orin::platform {
namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Well-formed UTF-8 only: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(const std::string& text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const std::size_t n = Utf8SequenceLength(p, end);
    if (n == 0) return false;
    p += n;
  }
  return true;
}

// iconv's UTF-8 decoder takes some ill-formed sequences (five-byte forms, values past U+10FFFF)
// as characters; a UTF-8 locale's texts are mended here instead, a byte at a time.
bool NamesUtf8(const char* codeSet) {
  std::string name;
  for (const char* p = codeSet; *p != '\0'; ++p) {
    if (*p != '-' && *p != '_') name += static_cast<char>(*p >= 'a' && *p <= 'z' ? *p - 32 : *p);
  }
  return name == "UTF8";
}

std::string MendUtf8(const std::string& text) {
  std::string out;
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const std::size_t n = Utf8SequenceLength(p, end);
    if (n == 0) {
      out += kReplacement;
      ++p;
    } else {
      out.append(reinterpret_cast<const char*>(p), n);
      p += n;
    }
  }
  return out;
}

// The code set of the thread's locale; a host that never chose one (the "C" locale) still has
// its texts in the environment's.
std::string LocaleCodeSet() {
  const std::string current = nl_langinfo(CODESET);
  if (current != "ANSI_X3.4-1968") return current;
  const locale_t environment = newlocale(LC_CTYPE_MASK, "", locale_t(0));
  if (environment == locale_t(0)) return current;
  const std::string chosen = nl_langinfo_l(CODESET, environment);
  freelocale(environment);
  return chosen;
}

}  // namespace

std::string posix::TextToUtf8From(const std::string& text, const char* codeSet) {
  if (NamesUtf8(codeSet)) return MendUtf8(text);
  std::string out;
  const iconv_t cd = iconv_open("UTF-8", codeSet);
  if (cd == iconv_t(-1)) {
    for (const char c : text) {
      if (static_cast<unsigned char>(c) < 0x80) out += c; else out += kReplacement;
    }
    return out;
  }
  std::string input = text;
  char* in = &input[0];
  std::size_t inLeft = input.size();
  char block[256];
  while (inLeft > 0) {
    char* next = block;
    std::size_t room = sizeof block;
    const std::size_t done = iconv(cd, &in, &inLeft, &next, &room);
    out.append(block, std::size_t(next - block));
    if (done != std::size_t(-1) || errno == E2BIG) continue;
    // EILSEQ or a sequence cut short by the end: that byte alone is lost, and the state is reset
    // so that the next byte starts afresh.
    out += kReplacement;
    ++in;
    --inLeft;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
  }
  char* next = block;
  std::size_t room = sizeof block;
  iconv(cd, nullptr, nullptr, &next, &room);
  out.append(block, std::size_t(next - block));
  iconv_close(cd);
  return out;
}

std::string HostTextToUtf8(const std::string& text) {
  if (IsUtf8(text)) return text;
  return posix::TextToUtf8From(text, LocaleCodeSet().c_str());
}

}  // namespace orin::platform
