// The engine's own network exchanges as a host drives them, against the real server: the
// device id at Initialize, the virtual id and its binding, and a whole first start.
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "analytics/endpoints.h"
#include "analytics/engine_test_util.h"
#include "cache/CAnalyticsFile.h"
#include "platform/profile.h"
#include "platform/thread.h"
#include "test_server.h"

namespace orin {
namespace {

using namespace orin::testing;

const std::string kUuid = "3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1b";
const std::string kServerId = "dev_id_" + kUuid;
const std::string kOldId = "dev_id_00000000-1111-2222-3333-444444444444";
const std::string kCollect = "https://127.0.0.1/api/v2/soft/collect";

std::string DevIdReply(const std::string& id) { return "{\"code\":0,\"dev_id\":\"" + id + "\"}"; }

using Engine = testing::Engine<>;

// The engine's INI files beside the program, its cache and usercfg.ini in the test's folder.
class OnlineEngineTest : public EngineTest {
 protected:
  void SetUp() override {
    if (TestServer::Folder().empty()) GTEST_SKIP() << "run through ctest (tests/net/with-servers)";
    EngineTest::SetUp();
    TestServer::Reset({});
    userConfig = dir.File("usercfg.ini");
    cache = cachePath();
    WriteIni(Beside("OrAnacfg.ini"), "Analyze", "usercfg", userConfig);
    WriteIni(Beside("OrAnacfg.ini"), "Analyze", "Cache", cache);
    WriteIni(Beside("OrAnacfg.ini"), "Analyze", "Address", kCollect);
  }
  Engine Start(const char* xid = "ab12", bool hostFlag = false) {
    Engine engine(new CQuillAnalyze);
    EXPECT_TRUE(engine->Initialize(cache, kCollect, false, hostFlag, xid));
    return engine;
  }
  // As a host would run it: on a thread of its own, waited for.
  static void BindOnThread(CQuillAnalyze& engine) {
    platform::ThreadHandle t = platform::StartThread(&CQuillAnalyze::VirtualIdThread, &engine);
    ASSERT_NE(t, nullptr);
    EXPECT_TRUE(platform::WaitThread(t, 0xFFFFFFFF));
    platform::CloseThread(t);
  }
  std::string userConfig, cache;
};

TEST_F(OnlineEngineTest, DeviceIdIsAskedForUntilTheServerWasReachedAndOnlyAUuidIsTaken) {
  const std::string kLocal = "<made here>";
  struct Case {
    std::string name, storedId;
    bool sucStored;
    std::vector<TestServer::Reply> replies;
    const char* cert;
    std::size_t requests;
    std::string id;
    bool sucAfter;
    bool hostFlag = false;
  };
  std::vector<Case> cases = {
      {"settled: nothing sent", kOldId, true, {{200, DevIdReply(kUuid)}}, "good", 0, kOldId, true},
      {"stored without suc", kOldId, false, {{200, DevIdReply(kUuid)}}, "good", 1, kServerId, true},
      {"an id in a 500 is taken", kOldId, false, {{500, DevIdReply(kUuid)}}, "good", 1, kServerId,
       true},
      {"two empty 503s", "", false, {{503, ""}, {503, ""}, {200, DevIdReply(kUuid)}}, "good", 2,
       kLocal, true},
      {"empty 503 then an id", "", false, {{503, ""}, {200, DevIdReply(kUuid)}}, "good", 2,
       kServerId, true},
      {"an empty 204 is not tried again", "", false, {{204, ""}, {200, DevIdReply(kUuid)}}, "good",
       1, kLocal, true},
      {"empty 503 then a body without an id", "", false,
       {{503, ""}, {503, "x"}, {200, DevIdReply(kUuid)}}, "good", 2, kLocal, true},
      {"never sent", "", false, {{200, DevIdReply(kUuid)}}, "otherhost", 0, kLocal, false},
      {"never sent, stored id stays", kOldId, false, {{200, DevIdReply(kUuid)}}, "otherhost", 0,
       kOldId, false},
      {"suc without an id", "", true, {{200, DevIdReply(kUuid)}}, "good", 1, kServerId, true},
      {"host flag: nothing sent", kOldId, false, {{200, DevIdReply(kUuid)}}, "good", 0, kOldId,
       false, true},
  };
  // Replies that reach the server: only an id of the uuid shape replaces the stored one.
  const std::pair<std::string, std::string> replies[] = {
      {"{\"dev_id\":\"" + kUuid.substr(1) + "\"}", kOldId},        // 35
      {"{\"dev_id\":\"" + kUuid + "0\"}", kOldId},                 // 37
      {"{\"dev_id\":\"" + std::string(33, 'a') + "---\"}", kOldId},  // three hyphens
      {"{\"dev_id\":\"\"}", kOldId},
      {"{\"devid\":\"" + kUuid + "\"}", kOldId},
      {"{\"dev_id\": \"" + kUuid + "\"}", kOldId},  // the marker has no blank
      {"{\"dev_id\":\"" + kUuid, kServerId},         // no closing quote: the rest is the id
      {"{\"dev_id\":\"----" + std::string(32, 'q') + "\"}", "dev_id_----" + std::string(32, 'q')},
      // Nothing that could start another INI line or section, nor a NUL that cuts the id.
      {"{\"dev_id\":\"" + kUuid.substr(0, 34) + "\r\n\"}", kOldId},
      {"{\"dev_id\":\"" + kUuid.substr(0, 30) + "\n[Net]\"}", kOldId},
      {"{\"dev_id\":\"" + kUuid.substr(0, 35) + std::string(1, '\0') + "\"}", kOldId},
  };
  for (const auto& [body, id] : replies) {
    cases.push_back({body, kOldId, false, {{200, body}}, "good", 1, id, true});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::remove(userConfig.c_str());
    std::remove((cache + "-bak").c_str());
    WriteBytes(cache, "cached events");
    if (!c.storedId.empty()) WriteIni(userConfig, "User", "DevID", c.storedId);
    if (c.sucStored) WriteIni(userConfig, "Net", "suc", "1");
    TestServer::Reset(c.replies, c.cert);

    Engine engine = Start("ab12", c.hostFlag);
    const auto received = TestServer::Received();
    ASSERT_EQ(received.size(), c.requests);
    const std::string id = ReadIni(userConfig, "User", "DevID");
    // With the host flag the id goes only into the events.
    EXPECT_EQ(engine->deviceId(), c.hostFlag ? "" : id);
    if (c.id == kLocal) {
      EXPECT_EQ(id.size(), 43u);
      EXPECT_EQ(id.rfind("dev_id_", 0), 0u);
      EXPECT_NE(id, kServerId);
    } else {
      EXPECT_EQ(id, c.id);
    }
    EXPECT_EQ(ReadIni(userConfig, "Net", "suc"), c.sucAfter ? "1" : "<absent>");
    // Only a new id from the server sets the cache aside.
    const bool fromServer = c.id != kLocal && c.id != c.storedId;
    EXPECT_EQ(Exists(cache + "-bak"), fromServer);
    EXPECT_EQ(ReadBytes(fromServer ? cache + "-bak" : cache), "cached events");
    for (const auto& r : received) {
      EXPECT_EQ(r.line(), "https POST " + std::string(kTrackingHost) +
                              "/api/tracking/devid application/json {\"xid\":\"ab12\"}\n");
    }
    // The retry comes after a pause of 100 ms (a lower bound only: the pause is there).
    if (received.size() == 2) {
      EXPECT_GE(received[1].ms - received[0].ms, 95);
    }
  }
}

TEST_F(OnlineEngineTest, ANewIdOnAnInitializedEngineStartsTheCacheUpdate) {
  Engine engine(new CQuillAnalyze);
  ASSERT_TRUE(engine->InitializeWithIdFile(cache, userConfig, kCollect, nullptr));
  WriteBytes(cache, "cached events");
  TestServer::Reset({{200, DevIdReply(kUuid)}});
  engine->SyncDeviceId(nullptr);

  const auto received = TestServer::Received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].body, "{\"xid\":\"\"}\n");
  EXPECT_EQ(ReadIni(userConfig, "User", "DevID"), kServerId);
  EXPECT_EQ(ReadBytes(cache + "-bak"), "cached events");
  EXPECT_FALSE(Exists(cache));
  ASSERT_TRUE(testing::WaitUntil([] { return !ReadBytes(Beside("orinhlp.log")).empty(); }));
  EXPECT_NE(ReadBytes(Beside("orinhlp.log")).find("\t-update_cache\n"), std::string::npos);
}

TEST_F(OnlineEngineTest, VirtualIdIsRequestedStoredBoundAndLaterOnlyReposted) {
  for (bool secure : {true, false}) {
    SCOPED_TRACE(secure ? "https" : "http");
    std::remove(userConfig.c_str());
    WriteIni(Beside("OrAnacfg.ini"), "Vid", "Address",
             std::string(secure ? "https" : "http") + "://127.0.0.1/api/v2/soft/vid");
    WriteIni(userConfig, "User", "DevID", kOldId);
    WriteIni(userConfig, "Net", "suc", "1");
    const std::string bindBody = "{\"dev_ids\":[\"" + kOldId + "\"],\"vid\":\"v-123\"}\n";
    const auto to = [secure](const char* verb) {
      return std::string(secure ? "https " : "http ") + verb + " 127.0.0.1/api/v2/soft/vid ";
    };

    // First start: the bind post fails, but the vid is already stored.
    Engine first = Start();
    TestServer::Reset({{200, "{\"code\":0,\"vid\":\"v-123\"}"}, {500, ""}});
    BindOnThread(*first);
    auto received = TestServer::Received();
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].line(), to("GET") + "multipart/form-data ");
    EXPECT_EQ(received[1].line(), to("POST") + "application/json " + bindBody);
    EXPECT_EQ(ReadIni(userConfig, "Vid", "vid"), "v-123");
    EXPECT_EQ(ReadIni(userConfig, "Flag", "execed"), "<absent>");

    // Next start: no new request for the vid; the bind is posted, then once more.
    Engine second = Start();
    TestServer::Reset({{204, "ignored"}});
    BindOnThread(*second);
    received = TestServer::Received();
    ASSERT_EQ(received.size(), 2u);
    for (const auto& r : received) EXPECT_EQ(r.line(), to("POST") + "application/json " + bindBody);
    EXPECT_EQ(ReadIni(userConfig, "Flag", "execed"), "1");

    // Any later start posts the vid alone, once.
    Engine later = Start();
    TestServer::Reset({{200, ""}});
    BindOnThread(*later);
    received = TestServer::Received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].body, "{\"vid\":\"v-123\"}\n");
  }
}

TEST_F(OnlineEngineTest, VidReplyIsScannedAsText) {
  const struct {
    TestServer::Reply reply;
    bool taken;
    const char* vid;
  } cases[] = {
      {{200, "{\"code\":0,\"vid\":\"abc\"}"}, true, "abc"},
      {{200, "{\"vid\": \"abc\"}"}, true, "abc"},
      {{200, "{\"vid\":123}"}, true, "123}"},
      {{200, "{\"vid\":\"abc"}, true, "abc"},
      {{204, ""}, false, "before"},
      {{200, "{\"id\":\"abc\"}"}, false, "before"},
      {{500, "{\"vid\":\"abc\"}"}, false, "before"},
      {{200, "{\"vid\":\"abc\r\n[Flag]\"}"}, false, "before"},
      {{200, "{\"vid\":\"ab\nc\"}"}, false, "before"},
      {{200, "{\"vid\":\"a[b\"}"}, false, "before"},
      {{200, "{\"vid\":\"a" + std::string(1, '\0') + "b\"}"}, false, "before"},
  };
  WriteIni(userConfig, "User", "DevID", kOldId);
  WriteIni(userConfig, "Net", "suc", "1");
  Engine engine = Start();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply.body);
    TestServer::Reset({c.reply});
    std::string vid = "before";
    EXPECT_EQ(engine->RequestVirtualId(vid), c.taken);
    EXPECT_EQ(vid, c.vid);
  }
}

class FirstStartTest : public OnlineEngineTest {
 protected:
  void SetUp() override {
    OnlineEngineTest::SetUp();
    if (IsSkipped()) return;
    if (!platform::kIsWindows && std::getenv("ORIN_COMMON_APPDATA") == nullptr) {
      GTEST_SKIP() << "run through ctest, which sets ORIN_COMMON_APPDATA";
    }
    std::remove(Beside("OrAnacfg.ini").c_str());
    std::filesystem::create_directories(SharedDataFolder());
    sharedConfig = SharedDataFolder() + kSep + "usercfg.ini";
    std::remove(sharedConfig.c_str());
  }
  void TearDown() override {
    OnlineEngineTest::TearDown();
    if (!sharedConfig.empty()) std::remove(sharedConfig.c_str());
  }
  std::string sharedConfig;
};

TEST_F(FirstStartTest, WritesEveryFileAndTheServersIdReachesTheEvents) {
  TestServer::Reset({{200, DevIdReply(kUuid)}});
  // With the user's experience off nothing is asked for and nothing written.
  WriteIni(Beside("other.ini"), "UserExperience", "ExperienceValue", "0");
  CQuillAnalyze off;
  EXPECT_FALSE(off.Initialize(cache, kCollect, false, false, "src7"));
  EXPECT_FALSE(off.isInitialized());
  EXPECT_FALSE(Exists(Beside("OrAnacfg.ini")) || Exists(sharedConfig) || Exists(cache));
  EXPECT_TRUE(TestServer::Received().empty());
  std::remove(Beside("other.ini").c_str());
  EXPECT_FALSE(CQuillAnalyze().Initialize("", "", false, false, nullptr));  // no cache anywhere

  Engine engine(new CQuillAnalyze);
  ASSERT_TRUE(engine->Initialize(cache, kCollect, false, false, "src7"));

  EXPECT_EQ(ReadIni(Beside("OrAnacfg.ini"), "Analyze", "Cache"), cache);
  EXPECT_EQ(ReadIni(Beside("OrAnacfg.ini"), "Analyze", "Address"), kCollect);
  EXPECT_EQ(ReadIni(Beside("OrAnacfg.ini"), "Analyze", "usercfg"), sharedConfig);
  EXPECT_EQ(ReadIni(sharedConfig, "User", "DevID"), kServerId);
  EXPECT_EQ(ReadIni(sharedConfig, "Net", "suc"), "1");
  ASSERT_EQ(TestServer::Received().size(), 1u);
  EXPECT_EQ(TestServer::Received()[0].body, "{\"xid\":\"src7\"}\n");

  engine->SetEventIds(3, 4);
  ASSERT_TRUE(engine->ReportNow(true));
  Json::Value events;
  ASSERT_TRUE(GetAnalyticsFile()->ReadAllEvents(cache.c_str(), events));
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]["u"].asString(), kServerId);
  EXPECT_EQ(events[0]["p"]["xid"].asString(), "src7");
  EXPECT_EQ(events[0]["l"].asInt(), 3);

  // What is recorded wins over the arguments, and the file is not rewritten.
  const std::string before = ReadBytes(Beside("OrAnacfg.ini"));
  Engine again(new CQuillAnalyze);
  ASSERT_TRUE(again->Initialize(dir.File("other.dat"), "https://other/x", false, false, ""));
  EXPECT_EQ(again->cachePath() + " " + again->collectAddress(), cache + " " + kCollect);
  EXPECT_EQ(ReadBytes(Beside("OrAnacfg.ini")), before);
}

}  // namespace
}  // namespace orin
