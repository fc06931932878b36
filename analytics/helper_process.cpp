#include <cstdio>
#include <cstring>
#include <mutex>

#include "analytics/CQuillAnalyze.h"
#include "analytics/helper_command.h"
#include "cache/CAnalyticsFile.h"
#include "cache/CacheFileLock.h"
#include "common/json_text.h"
#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/process.h"

namespace orin {
namespace {

using platform::kPathSep;

constexpr std::uint32_t kHelperPathBufferSize = 512;
constexpr std::size_t kEscapeBufferSize = 1024;
constexpr std::uint32_t kSubmitWaitMs = 20000;
constexpr std::uint32_t kAfterStartPauseMs = 500;

}  // namespace

// The worker and the host's thread may both launch the helper, so the first build is guarded.
const char* CQuillAnalyze::GetHelperPath() {
  static std::mutex buildLock;
  static std::string& cached = *new std::string;  // never destroyed, as the other cached paths
  std::lock_guard<std::mutex> guard(buildLock);
  if (!cached.empty()) return cached.c_str();
  char buffer[kHelperPathBufferSize] = {};
  platform::HostExecutablePath(buffer, kHelperPathBufferSize);
  char* lastSep = std::strrchr(buffer, kPathSep);
  // Left empty, so that the next call tries again.
  if (lastSep == nullptr) return nullptr;
  *lastSep = '\0';
  cached = std::string(buffer) + kPathSep + "orinhlp.exe";
  return cached.c_str();
}

bool CQuillAnalyze::StartHelper(const std::string& commandLine, bool wait) {
  platform::ProcessHandle process = platform::StartProcess(commandLine);
  if (process == nullptr) {
    GetLastErrorCode();
    return false;
  }
  // The helper is never killed: after the wait it runs on by itself.
  if (wait) platform::WaitProcess(process, kSubmitWaitMs);
  platform::CloseProcess(process);
  platform::SleepMs(kAfterStartPauseMs);
  return true;
}

bool CQuillAnalyze::LaunchCacheHelper(const char* option) {
  if (!initialized_ || !sendEnabled_) return false;
  const char* helper = GetHelperPath();
  if (helper == nullptr) return false;
  return StartHelper(HelperCommandLine(helper, option), false);
}

bool CQuillAnalyze::LaunchCacheSubmit() try {
  return LaunchCacheHelper("-submit_cache");
} catch (...) {
  return false;
}

bool CQuillAnalyze::LaunchCacheUpdate() { return LaunchCacheHelper("-update_cache"); }

bool CQuillAnalyze::LaunchSubmit(const Json::Value& events, bool wait) {
  std::string text = ToFastText(events);
  EscapeQuotes(text);
  // Empty means the text cannot fit the command line (the writer never produces an empty text):
  // long ids or a long OS name are enough. The events then go where the helper puts what it
  // cannot deliver, the cache, and its upload is started instead: nothing is lost.
  if (text.empty()) {
    const std::string cache = CachePath();
    bool cached = true;
    if (events.isArray()) {
      for (const Json::Value& event : events) {
        cached = GetAnalyticsFile()->AppendEvent(cache.c_str(), event) && cached;
      }
    } else {
      cached = GetAnalyticsFile()->AppendEvent(cache.c_str(), events);
    }
    const char* helper = GetHelperPath();
    return cached && helper != nullptr && StartHelper(HelperCommandLine(helper, "-submit_cache"), wait);
  }
  const char* helper = GetHelperPath();
  if (helper == nullptr) return false;
  return StartHelper(SubmitCommandLine(helper, text), wait);
}

void CQuillAnalyze::EscapeQuotes(std::string& text) {
  char buffer[kEscapeBufferSize] = {};
  std::size_t used = 0;
  for (char c : text) {
    // The line feed the JSON writer ends with, and anything after it, never reach the command line.
    if (c == '\n') break;
    const std::size_t needed = (c == '"') ? 2 : 1;
    if (used + needed > kEscapeBufferSize - 1) {
      text.clear();
      return;
    }
    if (c == '"') buffer[used++] = '\\';
    buffer[used++] = c;
  }
  text.assign(buffer);
}

bool CQuillAnalyze::AppendTextToCache(const char* text) {
  CacheFileLock lock;
  lock.Lock();
  bool written = false;
  if (text != nullptr) {
    std::FILE* file = std::fopen(CachePath().c_str(), "ab+");
    if (file != nullptr) {
      written = std::fprintf(file, "%s", text) >= 0;
      std::fclose(file);
    }
  }
  lock.Unlock();
  return written;
}

void CQuillAnalyze::BackupCacheFile() {
  CacheFileLock lock;
  GetAnalyticsFile();
  lock.Lock();
  const std::string cache = CachePath();
  const std::string backup = cache + "-bak";
  if (!platform::MoveFileReplacing(cache.c_str(), backup.c_str())) {
    platform::CopyFileOverwriting(cache.c_str(), backup.c_str());
    platform::RemoveFile(cache.c_str());
  }
  lock.Unlock();
  // Outside the lock, so the helper can take the cache at once.
  LaunchCacheUpdate();
}

}  // namespace orin
