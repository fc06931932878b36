// The strict scan that lets a stored text go out as it is, over arbitrary texts: whatever it
// passes, JsonCpp must read as one object with at least one member, as the cache reader would.
#include <cstdint>

#include <json/value.h>

#include "common/json_scan.h"
#include "common/json_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* begin = reinterpret_cast<const char*>(data);
  const char* end = begin + size;
  const char* objectEnd = orin::PlainJsonObjectEnd(begin, end);
  if (objectEnd == nullptr) return 0;
  if (objectEnd <= begin || objectEnd > end || objectEnd[-1] != '}') __builtin_trap();
  Json::Value value;
  if (!orin::ParseJsonText(begin, end, value) || !value.isObject() || value.empty()) {
    __builtin_trap();
  }
  return 0;
}
