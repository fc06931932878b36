#include "common/json_text.h"

#include <exception>
#include <mutex>

#include <json/reader.h>
#include <json/writer.h>

// FastWriter and Reader are deprecated in JsonCpp 1.9 but are what existing caches were written
// and read with; their exact output is the file format.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#elif defined(_MSC_VER)
#pragma warning(disable : 4996)
#endif

namespace orin {

std::string ToFastText(const Json::Value& value) {
  // One writer kept warm: its buffer keeps its capacity, a tenth of the cost of every event.
  // Never destroyed: a thread of the module may still write an event while the exit runs.
  static std::mutex& lock = *new std::mutex;
  static Json::FastWriter& writer = *new Json::FastWriter;
  std::lock_guard<std::mutex> guard(lock);
  return writer.write(value);
}

bool ParseJsonText(const char* begin, const char* end, Json::Value& out) {
  // The reader throws on very deep nesting; a damaged record must not take the host down.
  try {
    Json::Reader reader;
    return reader.parse(begin, end, out, /*collectComments=*/true);
  } catch (const std::exception&) {
    out = Json::Value();
    return false;
  }
}

}  // namespace orin
