#pragma once
#include <cstdint>
#include <vector>

#include <json/value.h>

namespace orin {

// The event cache file: scrambled, length-prefixed records (format in cache/record_format.h).
// One process-wide instance (GetAnalyticsFile); not internally locked, one thread at a time.
// No operation throws.
//
// Slots, and what a virtual destructor does to them. The interfaces here declare none (their
// destructors are protected and not virtual), so their operations take slots 0, 1, 2... in the
// order written under every compiler. A class's own operations follow them. Where a class
// declares a virtual destructor, MSVC gives it one slot (the deleting destructor) but GCC, Clang
// and MinGW-w64 give it two (complete-object, then deleting destructor), so every operation
// declared after it sits one slot further on in a GCC or MinGW build than in an MSVC build.
// Hence the destructor comes after the operations wherever the order is ours to choose
// (CAnalyticsFile, CMyEncrypt); in CQuillAnalyze it opens the engine's own operations.
// A host may rely on: every interface slot (IQuillAnalyze 0-33, IAnalyticsFile 0-8,
// IQuillCookiesMgr 0-2), CAnalyticsFile's own 9-16 and CMyEncrypt's 0-5 under any compiler;
// CQuillAnalyze's own operations only when host and module come from the same compiler family.
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
