#pragma once
#include <cstdint>

namespace orin {

// The host's language id (1..20) as the collection service's language code; 1 for any other id.
std::int32_t LanguageCodeFromHostId(std::int32_t hostId);
// The language code of the running host: id 2 for product variants 12 and 14, otherwise the
// host's own answer.
std::int32_t GetLanguageCode();

}  // namespace orin
