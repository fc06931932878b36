#pragma once
#include <cstdint>
#include <vector>

#include <json/value.h>

namespace orin {

// The event cache file: scrambled, length-prefixed records (format in cache/record_format.h).
// One process-wide instance (GetAnalyticsFile); not internally locked, one thread at a time.
class IAnalyticsFile {
 public:
  virtual bool LoadFile(const char* path) = 0;
  // Each chunk's events become one new array in out; the caller owns and deletes them.
  virtual bool ReadChunks(const char* path, std::vector<Json::Value*>& out) = 0;
  virtual bool ReadAllEvents(const char* path, Json::Value& out) = 0;
  virtual bool AppendText(const char* path, const char* text) = 0;
  virtual bool AppendEvent(const char* path, const Json::Value& event) = 0;
  virtual bool ReadNextBatch(Json::Value& out, std::int32_t& count) = 0;
  virtual bool CommitConsumed(const char* path) = 0;
  virtual void PutBack(std::int32_t count) = 0;
  virtual bool ReadNextBatchWithUser(Json::Value& out, std::int32_t& count, const char* user) = 0;

 protected:
  ~IAnalyticsFile() = default;
};

}  // namespace orin
