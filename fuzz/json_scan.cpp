// The strict scan that lets a stored text go out as it is, over arbitrary texts: whatever it
// passes, JsonCpp must read as one object with at least one member, as the cache reader would.
// Its value form, which the collector reads bodies with, must pass only what JsonCpp's default
// reader reads, and hand out members that lie inside what it passed.
#include <cstdint>
#include <memory>
#include <string>

#include <json/reader.h>
#include <json/value.h>

#include "common/json_scan.h"
#include "common/json_text.h"

namespace {

struct Seen {
  const char* begin;
  const char* end;
  bool inside = true;
};

void Visit(void* context, const orin::PlainMember& m) {
  auto& seen = *static_cast<Seen*>(context);
  if (m.name <= seen.begin || m.value < m.name + m.nameSize || m.valueEnd <= m.value ||
      m.valueEnd > seen.end) {
    seen.inside = false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* begin = reinterpret_cast<const char*>(data);
  const char* end = begin + size;
  Seen seen{begin, end};
  const char* valueEnd = orin::PlainJsonValueEnd(begin, end, Visit, &seen);
  if (valueEnd != nullptr) {
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (valueEnd <= begin || valueEnd > end || !seen.inside ||
        !reader->parse(begin, valueEnd, &value, &errors)) {
      __builtin_trap();
    }
  }
  const char* objectEnd = orin::PlainJsonObjectEnd(begin, end);
  if (objectEnd == nullptr) return 0;
  if (objectEnd <= begin || objectEnd > end || objectEnd[-1] != '}') __builtin_trap();
  Json::Value value;
  if (!orin::ParseJsonText(begin, end, value) || !value.isObject() || value.empty()) {
    __builtin_trap();
  }
  return 0;
}
