#pragma once
// A host folder with the real orinhlp.exe and its INI files, a cache to fill, and the collector
// that with-servers started in this test's network namespace (ports 80 and 443 of 127.0.0.1).
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "cache/CAnalyticsFile.h"
#include "cache/record_format.h"
#include "net/http_client.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "support/HostFiles.h"

namespace orin::testing {

inline const char* const kCollectUrl = "https://127.0.0.1/api/v2/soft/collect";

// One exchange with the collector on 127.0.0.1 (plain HTTP unless `secure`); the caller judges
// the status.
inline net::HttpResponseInfo Send(const std::string& path, const std::string& body = "",
                                  bool get = false, bool secure = false,
                                  const std::string& headers = "content-type:application/json") {
  net::HttpResponseInfo response;
  net::ErrorInfo error;
  EXPECT_TRUE(net::PostRequest(response, {"127.0.0.1", path, headers, body, get, secure}, error))
      << path;
  return response;
}

// The body of a 200 answer.
inline std::string Fetch(const std::string& path, const std::string& body = "", bool get = true) {
  const net::HttpResponseInfo response = Send(path, body, get);
  EXPECT_EQ(response.statusCode, 200u) << path;
  return response.body;
}

// The collector's control and inspection routes (plain HTTP).
struct Collector {
  static Json::Value Call(const char* path, bool get, const std::string& body = "") {
    const std::string text = Fetch(path, body, get);
    Json::Value out;
    ParseJsonText(text.data(), text.data() + text.size(), out);
    return out;
  }
  // Forgets everything received; stages {"fail":{"N":status},"delay":{"N":ms}}.
  static void Stage(const std::string& stage = "{}") { Call("/collector/stage", false, stage); }
  static void Release() { Call("/collector/release", false); }
  // Paged: a client keeps only so much of one reply.
  static Json::Value Events() {
    constexpr int kPage = 100;
    Json::Value all(Json::arrayValue);
    for (int offset = 0;; offset += kPage) {
      const std::string path = "/collector/events?offset=" + std::to_string(offset) +
                               "&limit=" + std::to_string(kPage);
      const Json::Value page = Call(path.c_str(), true);
      for (const Json::Value& e : page) all.append(e);
      if (page.size() < Json::ArrayIndex(kPage)) return all;
    }
  }
  static Json::Value Requests() { return Call("/collector/requests", true); }
  static Json::Value Exchanges() { return Call("/collector/exchanges", true); }
};

// Which (l, n) pairs arrived: `distinct` of them, and each once.
inline std::map<std::pair<int, int>, int> CountEachOnce(const Json::Value& events,
                                                        std::size_t distinct) {
  std::map<std::pair<int, int>, int> counts;
  for (const Json::Value& e : events) ++counts[{e["l"].asInt(), e["n"].asInt()}];
  EXPECT_EQ(counts.size(), distinct);
  for (const auto& [point, times] : counts) {
    if (times == 1) continue;
    ADD_FAILURE() << point.first << "/" << point.second << " arrived " << times << " times";
    break;
  }
  return counts;
}

class HelperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::getenv("ORIN_TEST_SERVER_DIR") == nullptr) {
      GTEST_SKIP() << "run through ctest (tests/net/with-servers and the collector)";
    }
    Collector::Stage();
    // The shared data folder, where the POSIX lock files live.
    if (const char* appData = std::getenv("ORIN_COMMON_APPDATA")) {
      platform::CreateDir(appData);
      platform::CreateDir((appData + kSep + "QuillBR").c_str());
    }
    host_ = dir_.File("host");
    platform::CreateDir(host_.c_str());
    const std::string built = ProgramFolder() + ".." + kSep + ".." + kSep + "helper" + kSep + "orinhlp.exe";
    ASSERT_TRUE(platform::CopyFileOverwriting(built.c_str(), helper().c_str())) << built;
    cache_ = dir_.File("KD_OF.dat");
    WriteIni("Analyze", "Cache", cache_);
    WriteIni("Analyze", "Address", kCollectUrl);
    WriteIni("Analyze", "usercfg", dir_.File("usercfg.ini"));
  }

  std::string helper() const { return host_ + kSep + "orinhlp.exe"; }
  std::string claimed() const { return cache_ + ".sending"; }
  std::string progress() const { return cache_ + ".sent"; }

  void WriteIni(const char* section, const char* key, const std::string& value,
                const char* file = "OrAnacfg.ini") {
    testing::WriteIni(host_ + kSep + file, section, key, value);
  }

  static Json::Value Event(int l, int n,
                           const char* device = "dev_id_00000000-0000-4000-8000-000000000001") {
    Json::Value e;
    e["l"] = l;
    e["n"] = n;
    e["u"] = device;
    e["t"] = 1763900000 + n;
    e["v"] = 53;
    e["re"] = "7.3.1.9";
    e["p"]["pad"] = std::string(static_cast<std::size_t>(n % 61), 'p');
    return e;
  }

  // Events l/0 .. l/count-1 appended as the module appends them.
  void Fill(const std::string& path, int count, int l = 1001) {
    CAnalyticsFile file;
    for (int n = 0; n < count; ++n) ASSERT_TRUE(file.AppendEvent(path.c_str(), Event(l, n)));
  }

  // A start that fails outright (seen once under a heavily loaded Wine) is the harness's
  // trouble, not the helper's: it is said in the log and tried again.
  platform::ProcessHandle Start(const std::string& args) {
    const std::string line = "\"" + helper() + "\" " + args;
    for (int attempt = 0; attempt < 3; ++attempt) {
      if (platform::ProcessHandle p = platform::StartProcess(line)) return p;
      std::fprintf(stderr, "starting orinhlp failed (error %d)\n",
                   static_cast<int>(platform::LastErrorCode()));
      platform::SleepMs(200);
    }
    return nullptr;
  }

  int Run(const std::string& args) { return ExitCodeOf(Start(args)); }

  // Byte offset of record `index` in a cache file's bytes.
  static std::size_t OffsetOfRecord(const std::string& bytes, int index) {
    std::size_t at = 0;
    for (int i = 0; i < index; ++i) at += static_cast<std::size_t>(record::ReadLength(bytes.data() + at));
    return at;
  }

  TempDir dir_;
  std::string host_, cache_;
};

}  // namespace orin::testing
