#pragma once
#include <cstdint>

namespace orin {

// The number the event property "la" carries for a language code, compared without case;
// unknown codes, the empty text and null give 1 (English). 20 is unused on purpose. Thread-safe.
std::int32_t LanguageIndexFromCode(const char* code);

}  // namespace orin
