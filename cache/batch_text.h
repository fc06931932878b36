#pragma once
#include <string>
#include <vector>

#include <json/value.h>

namespace orin {

// A batch of records as the text to post: the stored texts themselves, joined into one array,
// rather than parsed and written again. Holds exactly the events the cache store's batch reading
// keeps, in their order, but for a text with bytes after its value: that is damage, not an event.
struct BatchText {
  std::string body;          // "[...]\n"; empty when nothing is kept
  Json::ArrayIndex events = 0;
  Json::ArrayIndex unparsed = 0;  // records left out: their text does not parse, or holds more
};

// A text the scan cannot vouch for is parsed as the batch reading parses it, and goes in as
// JsonCpp writes it, or not at all. out.body keeps its capacity.
void JoinRecordTexts(const std::vector<std::string>& texts, BatchText& out);

}  // namespace orin
