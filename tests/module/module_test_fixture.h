#pragma once
// A sandbox host folder with the built module, orinhost and the stand-in helper; the shared data
// folder emptied before and after each test.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "cache/record_scanner.h"
#include "common/json_text.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "net/test_server.h"
#include "support/TempDir.h"

namespace orin {

namespace fs = std::filesystem;
using testing::ReadBytes;
inline const std::string kSep(1, platform::kPathSep);
inline constexpr const char* kStandardKey = "8a61f2c4-3e95-3d07-b418-c27e9a05d6b1";
inline constexpr const char* kCopierKey = "0d3c9a5e-7b21-3f48-a6c2-91e4b5d7f803";

inline std::string ProgramFolder() {
  char buffer[1024] = {};
  platform::HostExecutablePath(buffer, sizeof buffer);
  return std::string(buffer, std::strrchr(buffer, platform::kPathSep) + 1);
}

inline std::string DataFolder() {
  char appData[260] = {};
  platform::CommonAppDataFolder(appData, sizeof appData);
  return appData + kSep + "QuillBR";
}

inline void WriteIni(const std::string& path, const char* section, const char* key, const char* value) {
  ASSERT_TRUE(platform::WriteProfileString(section, key, value, path.c_str()));
}

inline std::string ReadIni(const std::string& path, const char* section, const char* key) {
  char buffer[260] = {};
  platform::ReadProfileString(section, key, "", buffer, sizeof buffer, path.c_str());
  return buffer;
}

class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::error_code ec;
    fs::remove_all(DataFolder(), ec);
    host_ = sandbox_.path() + kSep;
    const char* files[] = {platform::kIsWindows ? "orinpoint.dll" : "liborinpoint.so",
                           platform::kIsWindows ? "orinhost.exe" : "orinhost", "orinhlp.exe"};
    for (const char* name : files) fs::copy_file(ProgramFolder() + name, host_ + name);
  }
  void TearDown() override {
    std::error_code ec;
    fs::remove_all(DataFolder(), ec);
    testing::TestServer::Reset({});
  }

  // The server holds the start-up's device-id request (and its retry) for `ms`, then answers
  // without an id, so the module makes one of its own.
  static void HoldDeviceIdRequest(int ms) {
    testing::TestServer::Reset({{200, "", {}, ms, 0}, {503, "", {}, ms, 0}, {200, "", {}, 0, 0}});
  }

  // Runs orinhost's calls (words separated by ",") in the sandbox and waits for it to end.
  void Host(const std::string& calls) {
    const std::string program = host_ + (platform::kIsWindows ? "orinhost.exe" : "orinhost");
    platform::ProcessHandle p =
        platform::StartProcess("\"" + program + "\" --settle 1000 --timeout 240 script " + calls);
    ASSERT_NE(p, nullptr);
    const bool ended = platform::WaitProcess(p, 300000);
    std::uint32_t code = 0xFFFFFFFFu;
    const bool known = ended && platform::ProcessExitCode(p, code);
    platform::CloseProcess(p);
    ASSERT_TRUE(ended);
    ASSERT_TRUE(known);
    ASSERT_EQ(code, 0u) << "orinhost " << calls;  // 1: points missing; else a crash
  }

  std::vector<Json::Value> CachedEvents() {
    const std::string bytes = ReadBytes(DataFolder() + kSep + "KD_OF.dat");
    std::vector<Json::Value> events;
    for (const ScannedRecord& r : ScanCacheBytes(bytes.data(), std::int64_t(bytes.size()))) {
      EXPECT_EQ(r.status, RecordStatus::kOk);
      Json::Value v;
      EXPECT_TRUE(ParseJsonText(r.text.data(), r.text.data() + r.text.size(), v)) << r.text;
      events.push_back(v);
    }
    return events;
  }

  std::vector<std::string> HelperRuns() {
    std::vector<std::string> runs;
    std::string line;
    std::ifstream log(host_ + "orinhlp.log");
    while (std::getline(log, line)) runs.push_back(line.substr(line.find('\t') + 1));
    return runs;
  }

  testing::TempDir sandbox_;
  std::string host_;
};

}  // namespace orin
