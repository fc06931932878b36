#include "common/json_text.h"

#include <cstdint>
#include <exception>
#include <mutex>

#include <memory>

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

namespace {

// Written by the writer as it stands: no escape, nothing outside ASCII.
bool Plain(const char* begin, const char* end) {
  for (const char* p = begin; p != end; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c == '\\' || c == '"' || c < 0x20 || c > 0x7F) return false;
  }
  return true;
}

void AppendDecimal(std::uint64_t magnitude, bool negative, std::string& out) {
  char digits[24];
  char* p = digits + sizeof digits;
  do {
    *--p = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative) *--p = '-';
  out.append(p, static_cast<std::size_t>(digits + sizeof digits - p));
}

// Json::FastWriter's writeValue, member for member; false at a text that needs escaping.
bool Write(const Json::Value& value, std::string& out) {
  switch (value.type()) {
    case Json::nullValue:
      out += "null";
      return true;
    case Json::intValue: {
      const Json::LargestInt v = value.asLargestInt();
      const auto magnitude = static_cast<std::uint64_t>(v);
      AppendDecimal(v < 0 ? 0 - magnitude : magnitude, v < 0, out);
      return true;
    }
    case Json::uintValue:
      AppendDecimal(value.asLargestUInt(), false, out);
      return true;
    case Json::realValue:
      out += Json::valueToString(value.asDouble());
      return true;
    case Json::stringValue: {
      const char* begin = nullptr;
      const char* end = nullptr;
      if (!value.getString(&begin, &end)) return true;  // the writer writes nothing either
      if (!Plain(begin, end)) return false;
      out += '"';
      out.append(begin, static_cast<std::size_t>(end - begin));
      out += '"';
      return true;
    }
    case Json::booleanValue:
      out += value.asBool() ? "true" : "false";
      return true;
    case Json::arrayValue: {
      out += '[';
      const Json::ArrayIndex size = value.size();
      for (Json::ArrayIndex i = 0; i < size; ++i) {
        if (i > 0) out += ',';
        if (!Write(value[i], out)) return false;
      }
      out += ']';
      return true;
    }
    case Json::objectValue: {
      out += '{';
      // The members in the order the writer sorts their names in: the object's own.
      bool first = true;
      for (auto it = value.begin(); it != value.end(); ++it) {
        const char* end = nullptr;
        const char* name = it.memberName(&end);
        if (name == nullptr || !Plain(name, end)) return false;
        if (!first) out += ',';
        first = false;
        out += '"';
        out.append(name, static_cast<std::size_t>(end - name));
        out += "\":";
        if (!Write(*it, out)) return false;
      }
      out += '}';
      return true;
    }
  }
  return false;
}

}  // namespace

void AppendFastText(const Json::Value& value, std::string& out) {
  const std::size_t start = out.size();
  if (Write(value, out)) {
    out += '\n';
    return;
  }
  out.resize(start);
  out += ToFastText(value);
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

bool IsWholeJsonText(const char* begin, const char* end) {
  Json::Value value;
  if (!ParseJsonText(begin, end, value)) return false;
  try {
    // The reader above in all but where it stops.
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["allowTrailingCommas"] = false;
    builder["skipBom"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    return reader->parse(begin, end, &value, nullptr);
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace orin
