#pragma once
// What the end-to-end tests share: the host's INI files, the shared data folder, child programs
// run to their end, and a cache file read back record by record.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "cache/record_scanner.h"
#include "common/json_text.h"
#include "platform/host_paths.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "support/Programs.h"
#include "support/TempDir.h"

namespace orin::testing {

inline const std::string kSep(1, platform::kPathSep);

// A file beside this test program, where the engine looks for the host's INI files.
inline std::string Beside(const char* name) { return ProgramFolder() + name; }

inline std::string ReadIni(const std::string& path, const char* section, const char* key,
                           const char* fallback = "<absent>") {
  char buffer[260] = {};
  platform::ReadProfileString(section, key, fallback, buffer, sizeof buffer, path.c_str());
  return buffer;
}

inline void WriteIni(const std::string& path, const char* section, const char* key,
                     const std::string& value) {
  EXPECT_TRUE(platform::WriteProfileString(section, key, value.c_str(), path.c_str())) << path;
}

// "QuillBR" in the shared data folder: the test's own on POSIX (ORIN_COMMON_APPDATA), the
// prefix's ProgramData under Wine.
inline std::string SharedDataFolder() {
  char appData[260] = {};
  platform::CommonAppDataFolder(appData, sizeof appData);
  return appData + kSep + "QuillBR";
}

// The child's exit code once it ends; -1 when it never started or its code cannot be read.
inline int ExitCodeOf(platform::ProcessHandle process, std::uint32_t waitMs = 0xFFFFFFFFu) {
  if (process == nullptr) return -1;
  std::uint32_t code = 0xFFFFFFFFu;
  const bool ended = platform::WaitProcess(process, waitMs);
  const bool known = ended && platform::ProcessExitCode(process, code);
  platform::CloseProcess(process);
  return known ? static_cast<int>(code) : -1;
}

// Every record of a cache file, each of which must be whole and parse.
inline std::vector<Json::Value> CacheEvents(const std::string& path) {
  const std::string bytes = ReadBytes(path);
  std::vector<Json::Value> events;
  for (const ScannedRecord& r : ScanCacheBytes(bytes.data(), std::int64_t(bytes.size()))) {
    EXPECT_EQ(r.status, RecordStatus::kOk) << path << " at offset " << r.offset;
    Json::Value v;
    EXPECT_TRUE(ParseJsonText(r.text.data(), r.text.data() + r.text.size(), v)) << r.text;
    events.push_back(v);
  }
  return events;
}

}  // namespace orin::testing
