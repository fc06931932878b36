// LoadFile + the batch readers + the rewrite, over arbitrary file contents.
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzFile input(data, size);
  const char* path = input.path();
  if (path == nullptr) return 0;
  orin::CAnalyticsFile file;
  if (!file.LoadFile(path)) return 0;
  Json::Value out;
  std::int32_t count = 3;
  file.ReadNextBatch(out, count);
  file.PutBack(1);
  count = 1 << 20;
  file.ReadNextBatchWithUser(out, count, "fuzz");
  file.PutBack(count / 2);
  file.CommitConsumed(path);
  return 0;
}
