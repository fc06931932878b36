// LoadFile + the batch readers + the rewrite, over arbitrary file contents. What a partial
// delivery keeps is always an exact tail of what was there.
#include <cstdlib>
#include <cstring>

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
  if (!file.CommitConsumed(path)) {
    const std::string left = input.Contents();
    if (left.size() > size || std::memcmp(left.data(), data + (size - left.size()), left.size()) != 0) {
      std::abort();
    }
  }
  return 0;
}
