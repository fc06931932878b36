#include "analytics/language_index.h"

#include <cctype>

namespace orin {
namespace {

struct LanguageEntry {
  const char* code;
  std::int32_t number;
};

// In the order the codes are tried.
constexpr LanguageEntry kLanguages[] = {
    {"en", 1},     {"de", 2},  {"fr", 3},    {"it", 4},  {"es", 5},  {"jp", 6},
    {"ja", 6},     {"tw", 7},  {"zh-tw", 7}, {"cn", 8},  {"zh-cn", 8}, {"ar", 9},
    {"ca", 10},    {"da", 11}, {"hu", 12},   {"kr", 13}, {"nl", 14}, {"nl-be", 15},
    {"pl", 16},    {"pt", 17}, {"ru", 18},   {"tr", 19}, {"se", 21},
};

bool EqualsIgnoringCase(const char* a, const char* b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (std::tolower(static_cast<unsigned char>(*a)) != std::tolower(static_cast<unsigned char>(*b))) {
      return false;
    }
  }
  return *a == *b;
}

}  // namespace

std::int32_t LanguageIndexFromCode(const char* code) {
  if (code == nullptr) return 1;
  for (const LanguageEntry& entry : kLanguages) {
    if (EqualsIgnoringCase(code, entry.code)) return entry.number;
  }
  return 1;
}

}  // namespace orin
