#include "cache/batch_text.h"

#include "common/json_scan.h"
#include "common/json_text.h"

namespace orin {

void JoinRecordTexts(const std::vector<std::string>& texts, BatchText& out) {
  out.body.clear();
  out.events = 0;
  out.unparsed = 0;
  for (const std::string& text : texts) {
    const char* begin = text.data();
    const char* end = text.data() + text.size();
    const char* objectEnd = PlainJsonObjectEnd(begin, end);
    std::string written;
    Json::Value parsed;
    if (objectEnd == nullptr) {
      // The batch reading drops what does not parse and null, {} and [].
      // Bytes after the value are a length that grew over other records: damage, not an event.
      if (!ParseJsonText(begin, end, parsed) || !IsWholeJsonText(begin, end)) {
        ++out.unparsed;
        continue;
      }
      if (parsed.empty()) continue;
      written = ToFastText(parsed);
      begin = written.data();
      objectEnd = written.data() + written.size() - 1;  // without its line feed
    }
    out.body += out.events == 0 ? '[' : ',';
    out.body.append(begin, objectEnd);
    ++out.events;
  }
  if (out.events > 0) out.body += "]\n";
}

}  // namespace orin
