#pragma once
#include <cstdint>
#include <string>

// Text-to-number rules shared by the host probes (kept apart so they can be checked alone).

namespace orin::facade_detail {

// Leading decimal digits after optional blanks and sign, like atoi but saturating instead of
// overflowing; 0 when there are none.
std::int64_t LeadingDecimal(const std::string& text);

// "major.minor.build" as major * 10000 + minor * 100 + build; a missing part counts 0.
std::int32_t ProductVersionFromText(const std::string& text);

}  // namespace orin::facade_detail
