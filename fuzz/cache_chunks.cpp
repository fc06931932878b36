// The chunked reader over arbitrary file contents.
#include <vector>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzFile input(data, size);
  const char* path = input.path();
  if (path == nullptr) return 0;
  orin::CAnalyticsFile file;
  std::vector<Json::Value*> chunks;
  file.ReadChunks(path, chunks);
  for (Json::Value* c : chunks) delete c;
  return 0;
}
