// The whole-file text reader (and the parse behind ReadAllEvents) over arbitrary file contents.
#include <string>
#include <vector>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzFile input(data, size);
  const char* path = input.path();
  if (path == nullptr) return 0;
  orin::CAnalyticsFile file;
  std::vector<std::string> texts;
  file.ReadRecordTexts(path, texts);
  Json::Value out;
  file.ParseRecordsWithUser(out, texts, "fuzz");
  return 0;
}
