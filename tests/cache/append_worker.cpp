// Child of the multi-process append test: appends COUNT events tagged TAG to FILE, as the module
// does, and exits.
#include <cstdlib>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int count = std::atoi(argv[2]);
  const int tag = std::atoi(argv[3]);
  int failures = 0;
  for (int i = 0; i < count; ++i) {
    Json::Value event;
    event["l"] = tag;
    event["n"] = i;
    event["m"] = "append-worker";
    event["p"]["pad"] = std::string(static_cast<std::size_t>(i % 97), 'x');
    if (!orin::GetAnalyticsFile()->AppendEvent(argv[1], event)) ++failures;
  }
  return failures == 0 ? 0 : 1;
}
