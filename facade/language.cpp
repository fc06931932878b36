#include "facade/language.h"

#include "facade/host_companion.h"
#include "facade/host_environment.h"

namespace orin {

std::int32_t LanguageCodeFromHostId(std::int32_t hostId) {
  // Indexed by host id; codes 13 and 20 are never produced.
  static constexpr std::int32_t kCodes[21] = {1,  1,  8,  7,  3,  2,  6,  4,  5,  14, 19,
                                              17, 15, 16, 9,  18, 12, 10, 21, 11, 22};
  if (hostId < 1 || hostId > 20) return 1;
  return kCodes[hostId];
}

std::int32_t GetLanguageCode() {
  const std::int32_t variant = GetProductVariant();
  const std::int32_t hostId = (variant == 12 || variant == 14) ? 2 : QueryHostLanguageId();
  return LanguageCodeFromHostId(hostId);
}

}  // namespace orin
