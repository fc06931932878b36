#pragma once
// A sandbox host folder with the built module, orinhost and the stand-in helper; the shared data
// folder emptied before and after each test.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "net/test_server.h"
#include "support/HostFiles.h"

namespace orin {

namespace fs = std::filesystem;
using namespace orin::testing;
inline constexpr const char* kStandardKey = "8a61f2c4-3e95-3d07-b418-c27e9a05d6b1";
inline constexpr const char* kCopierKey = "0d3c9a5e-7b21-3f48-a6c2-91e4b5d7f803";

class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::error_code ec;
    fs::remove_all(SharedDataFolder(), ec);
    host_ = sandbox_.path() + kSep;
    const char* files[] = {platform::kIsWindows ? "orinpoint.dll" : "liborinpoint.so",
                           platform::kIsWindows ? "orinhost.exe" : "orinhost", "orinhlp.exe"};
    for (const char* name : files) fs::copy_file(ProgramFolder() + name, host_ + name);
  }
  void TearDown() override {
    std::error_code ec;
    fs::remove_all(SharedDataFolder(), ec);
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
    const int code = ExitCodeOf(platform::StartProcess(
        "\"" + program + "\" --settle 1000 --timeout 240 script " + calls), 300000);
    ASSERT_EQ(code, 0) << "orinhost " << calls;  // 1: points missing; -1: hung; else a crash
  }

  std::vector<Json::Value> CachedEvents() { return CacheEvents(SharedDataFolder() + kSep + "KD_OF.dat"); }

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
