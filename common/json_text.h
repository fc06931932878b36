#pragma once
#include <string>

#include <json/value.h>

// The two JsonCpp text forms the cache and the helper agree on, in one place so the library's
// deprecation of these classes is silenced once. Thread-safe.

namespace orin {

// Json::FastWriter output: compact, one line, ending in a line feed.
std::string ToFastText(const Json::Value& value);

// The same text appended to `out`, written without the writer's copies of every member name,
// which are most of its cost; a value with a text that needs escaping goes through the writer.
void AppendFastText(const Json::Value& value, std::string& out);

// Json::Reader with comments collected; false when the text does not parse.
bool ParseJsonText(const char* begin, const char* end, Json::Value& out);

// True when [begin, end) parses as above and holds nothing after its value but whitespace. The reader above
// stops after the first value, so it also takes a record whose length field grew over the
// records after it; this is how such a record is told from a whole one.
bool IsWholeJsonText(const char* begin, const char* end);

}  // namespace orin
