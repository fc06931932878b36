// The engine's files and its helper: OrAnacfg.ini, BackupRecovery.ini and other.ini beside the
// program, usercfg.ini in the shared data folder, the helper as it really starts (the stand-in
// "orinhlp.exe" beside the program) and the cache file maintenance around it.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "analytics/endpoints.h"
#include "analytics/helper_command.h"
#include "cache/CacheFileLock.h"
#include "engine_test_util.h"

namespace orin {
namespace {

using namespace orin::testing;
using HelperTest = EngineTest;

std::string Recorded(const char* key) { return ReadIni(Beside("OrAnacfg.ini"), "Analyze", key); }

// The stand-in's log, once it holds `count` runs: a line per run, its arguments tab-separated.
std::string Runs(std::size_t count = 0) {
  std::string log;
  WaitUntil([&] {
    log = ReadBytes(Beside("orinhlp.log"));
    return static_cast<std::size_t>(std::count(log.begin(), log.end(), '\n')) >= count;
  });
  return log;
}
// How long the stand-in sleeps before it logs.
void DelayHelper(unsigned ms) { std::ofstream(Beside("orinhlp.ctl")) << ms; }

class ConfigTest : public EngineTest {
 protected:
  // The engine never creates "QuillBR" itself. On POSIX the shared data folder is the test's own
  // (ORIN_COMMON_APPDATA); under Windows it is the system's, which these tests own under Wine.
  void SetUp() override {
    EngineTest::SetUp();
    SetEnvironment("ORIN_COMMON_APPDATA", dir.File("common-appdata"));
    quillBR = SharedDataFolder();
    std::filesystem::create_directories(quillBR);
    userConfig = quillBR + kSep + "usercfg.ini";
    std::filesystem::remove(userConfig);
  }
  std::string quillBR, userConfig;
};

TEST_F(ConfigTest, SwitchValuePicksTheHostInverted) {
  const std::pair<const char*, bool> cases[] = {{"1", false},  {"0", true}, {"2", true},
                                                {"x", true},   {"", false}, {nullptr, false},
                                                {"00", false}, {"10", false}};
  CQuillAnalyze e;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first ? c.first : "(absent)");
    std::remove(Beside("BackupRecovery.ini").c_str());
    if (c.first) WriteIni(Beside("BackupRecovery.ini"), "EventTap", "switch", c.first);
    EXPECT_FALSE(e.LoadEndpoints());  // no cache path
    const std::string host = c.second ? kSecondaryCollectHost : kPrimaryCollectHost;
    EXPECT_EQ(e.collectAddress(), "https://" + host + "/api/v2/soft/collect");
    EXPECT_EQ(e.vidHost() + e.vidPath(), host + "/api/v2/soft/vid");
  }
}

TEST_F(ConfigTest, OnlyExperienceValueOneOrAbsentMeansOn) {
  const std::string other = Beside("other.ini");
  WriteIni(other, "UserExperience", "ExperienceValue", "0");
  EXPECT_FALSE(CQuillAnalyze().Initialize(dir.File("c.dat"), "https://c/x", false, false, nullptr));
  EXPECT_FALSE(Exists(Beside("OrAnacfg.ini")));
  auto on = MakeInitialized();  // the id-file form does not ask
  for (const char* value : {"2", "0", "<absent>", "1"}) {
    std::remove(other.c_str());
    if (value[0] != '<') WriteIni(other, "UserExperience", "ExperienceValue", value);
    EXPECT_EQ(CQuillAnalyze().IsUserExperienceOn(), value[0] == '<' || value[0] == '1') << value;
    on->ApplyUserExperience();  // turns an engine off, never on
  }
  EXPECT_FALSE(on->isInitialized());
}

TEST(ParseVidUrl, SplitsHostAndPathOrChangesNothing) {
  const std::pair<const char*, const char*> cases[] = {  // url, then "host path secure"
      {"https://v.example/a/b", "v.example /a/b 1"}, {"http://h:8080/x/y", "h:8080 /x/y 0"},
      {"https://v.example", "old /old 0"},         {"ftp://h/x", "old /old 0"},
      {"see https://h/p?q", "h /p?q 1"},             {"http://a/b https://c/d", "c /d 1"}};
  for (const auto& c : cases) {
    CQuillAnalyze e;
    e.ParseVidUrl("https://old/old");
    e.ParseVidUrl(c.first);
    EXPECT_EQ(e.vidHost() + " " + e.vidPath() + " " + std::to_string(e.isVidSecure()), c.second);
  }
}

TEST_F(ConfigTest, LoadEndpointsReadsEveryKeyAndNeedsACachePathAndAnAddress) {
  const std::string collect = std::string("https://") + kPrimaryCollectHost + "/api/v2/soft/collect";
  const std::string vid = std::string(kPrimaryCollectHost) + " /api/v2/soft/vid";
  const struct {
    const char *cache, *address, *res, *vid;  // nullptr: key absent
    bool result;
    std::string res_, vid_;  // res address; vid host and path
  } cases[] = {
      {"c.dat", "https://a/x", "https://r/y", "http://v:81/p/q", true, "https://r/y", "v:81 /p/q"},
      {"c.dat", nullptr, nullptr, nullptr, true, collect, vid},
      {nullptr, "https://a/x", "https://r/y", nullptr, false, "https://r/y", vid},
      {"c.dat", "", nullptr, nullptr, false, collect, vid},
  };
  const std::string ini = Beside("OrAnacfg.ini");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.cache ? c.cache : "(no cache)");
    std::remove(ini.c_str());
    if (c.cache) WriteIni(ini, "Analyze", "Cache", c.cache);
    if (c.address) WriteIni(ini, "Analyze", "Address", c.address);
    if (c.res) WriteIni(ini, "Analyze", "ResAddress", c.res);
    if (c.vid) WriteIni(ini, "Vid", "Address", c.vid);
    CQuillAnalyze e;
    EXPECT_EQ(e.LoadEndpoints(), c.result);
    EXPECT_EQ(e.cachePath(), c.cache ? c.cache : "");
    EXPECT_EQ(e.collectAddress(), c.address ? c.address : collect);
    EXPECT_EQ(e.resAddress(), c.res_);
    EXPECT_EQ(e.vidHost() + " " + e.vidPath(), c.vid_);
  }
}

// Under a host usercfg.ini is not recorded and its id only goes into events. The error code
// consulted is the engine's own, always 0, so a missing folder is never created.
TEST_F(ConfigTest, UserConfigUnderAHostIsNotRecordedAndAMissingSharedFolderIsNotCreated) {
  CQuillAnalyze e;
  e.SetRootPrefix("R:");
  // Nothing stored at the prefixed place, and under a host no id is made.
  EXPECT_FALSE(e.Initialize(dir.File("c.dat"), "https://c/x", false, true, nullptr));
  EXPECT_EQ(std::string(e.GetUserConfigPath()), "R:" + userConfig.substr(2));

  WriteIni(userConfig, "User", "DevID", "dev_id_host");
  CQuillAnalyze hosted;
  hosted.SetRootPrefix(userConfig.substr(0, 2));  // so the place is the shared folder itself
  ASSERT_TRUE(hosted.Initialize(dir.File("c.dat"), "https://c/x", false, true, nullptr));
  EXPECT_EQ(hosted.deviceId(), "");
  EXPECT_EQ(hosted.commonProperties().at("u").text, "dev_id_host");
  EXPECT_EQ(Recorded("usercfg"), "<absent>");

  std::filesystem::remove_all(quillBR);
  CQuillAnalyze plain;
  EXPECT_TRUE(plain.PrepareUserConfig(false));
  EXPECT_EQ(plain.GetLastErrorCode(), 0);
  EXPECT_FALSE(Exists(quillBR));
  EXPECT_EQ(std::string(plain.GetUserConfigPath()), userConfig);
  EXPECT_EQ(Recorded("usercfg"), userConfig);
}

// The setters write only what is given. Once OrAnacfg.ini has been read the engine always has an
// address (the file's or the built-in one), and that is what a start without a cache path
// records, not the argument.
TEST_F(ConfigTest, StartsRecordOnlyWhatIsGivenAndInitializeKeepsTheAddressItHas) {
  CQuillAnalyze given;
  EXPECT_TRUE(given.SetCacheAndAddress("", "https://c/x"));
  EXPECT_EQ(Recorded("Cache") + " " + Recorded("Address"), "<absent> https://c/x");
  ASSERT_TRUE(given.InitializeWithIdFile(dir.File("c.dat"), dir.File("id.ini"), "", "xid1"));
  EXPECT_EQ(Recorded("Cache") + " " + Recorded("Address"), dir.File("c.dat") + " https://c/x");
  EXPECT_EQ(given.commonProperties().at("u").text, ReadIni(dir.File("id.ini"), "User", "DevID"));
  EXPECT_EQ(given.commonDetails().at("xid").text, "xid1");
  EXPECT_EQ(std::string(given.GetUserConfigPath()), "");  // usercfg.ini is not consulted

  const std::string builtIn = std::string("https://") + kPrimaryCollectHost + "/api/v2/soft/collect";
  for (const char* inFile : {static_cast<const char*>(nullptr), "https://file/x"}) {
    std::remove(Beside("OrAnacfg.ini").c_str());
    if (inFile) WriteIni(Beside("OrAnacfg.ini"), "Analyze", "Address", inFile);
    CQuillAnalyze e;
    ASSERT_TRUE(e.Initialize(dir.File("c.dat"), "https://argument/y", false, false, nullptr));
    const std::string expected = inFile ? inFile : builtIn;
    EXPECT_EQ(e.collectAddress(), expected);
    EXPECT_EQ(Recorded("Address"), expected);
    EXPECT_EQ(Recorded("Cache"), dir.File("c.dat"));
  }
}

class HelperPathEngine : public CQuillAnalyze {
 public:
  const char* GetHelperPath() override { return path; }
  const char* path = nullptr;
};

TEST_F(HelperTest, CommandLinesAsTheHelperGetsThemRefusedLaunchesAndWaitedSubmits) {
  auto e = MakeInitialized();
  Json::Value events(Json::arrayValue);
  e->SetSendEnabled(false);
  EXPECT_FALSE(e->LaunchCacheSubmit() || e->LaunchCacheUpdate());
  e->SetSendEnabled(true);
  EXPECT_FALSE(CQuillAnalyze().LaunchCacheSubmit());
  auto noPath = MakeInitialized<HelperPathEngine>();
  EXPECT_FALSE(noPath->LaunchCacheSubmit() || noPath->LaunchSubmit(events, true));
  noPath->path = "no such folder/orinhlp.exe";
  EXPECT_FALSE(noPath->LaunchCacheUpdate());

  // Only the runs below reach the log.
  EXPECT_TRUE(e->LaunchCacheSubmit());
  Runs(1);
  EXPECT_TRUE(e->LaunchCacheUpdate());
  Runs(2);
  events.append("a");
  e->SetSendEnabled(false);  // a submit does not look at it
  EXPECT_TRUE(e->LaunchSubmit(events, false));
  const std::string helper = e->GetHelperPath();
  // A text the command line cannot carry goes into the cache, and the cache's upload starts.
  Json::Value tooLong(Json::arrayValue);
  tooLong.append(Json::Value())["s"] = std::string(1100, 'x');
  EXPECT_TRUE(e->LaunchSubmit(tooLong, false));
  ASSERT_EQ(CacheEvents(cachePath()), std::vector<Json::Value>{tooLong[0]});
  const std::string log = Runs(4), run = helper + "\t-submit\t[]\n";
  EXPECT_EQ(log, helper + "\t-submit_cache\n" + helper + "\t-update_cache\n" + helper +
                     "\t-submit\t[\"a\"]\n" + helper + "\t-submit_cache\n");

  // A waited submit waits for a quick helper but gives up on a slow one and leaves it running.
  // The slow one must outlast the launcher's 20 s wait, which makes this the suite's long test.
  DelayHelper(1000);
  EXPECT_TRUE(e->LaunchSubmit(Json::Value(Json::arrayValue), true));
  EXPECT_EQ(Runs(), log + run);
  DelayHelper(32000);
  EXPECT_TRUE(e->LaunchSubmit(Json::Value(Json::arrayValue), true));
  EXPECT_EQ(Runs(), log + run);
  EXPECT_EQ(Runs(6), log + run + run);
}

// The submit text stops at the line feed, its quotes escaped, and is refused when it cannot fit.
TEST(HelperCommandLine, QuotesThePathPutsOneBlankBeforeEachSwitchAndEscapesTheSubmitText) {
  const char* helper = "C:\\Program Files\\Orin App\\orinhlp.exe";
  EXPECT_EQ(HelperCommandLine(helper, "-submit_cache"),
            "\"C:\\Program Files\\Orin App\\orinhlp.exe\" -submit_cache");
  EXPECT_EQ(SubmitCommandLine(helper, "[{\\\"a\\\":\\\"b c\\\"}]"),
            "\"C:\\Program Files\\Orin App\\orinhlp.exe\" -submit \"[{\\\"a\\\":\\\"b c\\\"}]\"");
  const std::pair<std::string, std::string> cases[] = {
      {"{\"a\":\"b\"}\nlater", "{\\\"a\\\":\\\"b\\\"}"},
      {"back\\slash\ttab\rcr", "back\\slash\ttab\rcr"},
      {std::string(1021, 'a') + "\"", std::string(1021, 'a') + "\\\""},  // exactly 1023
      {std::string(1022, 'a') + "\"", ""},
  };
  for (const auto& c : cases) {
    std::string text = c.first;
    CQuillAnalyze().EscapeQuotes(text);
    EXPECT_EQ(text, c.second) << "input of " << c.first.size() << " characters";
  }
}

TEST_F(HelperTest, CacheAppendWaitsForTheLockAndBackupReplacesTheOldOneAndStartsTheUpdate) {
  auto e = MakeInitialized();
  CacheFileLock lock;
  ASSERT_TRUE(lock.Lock());
  std::atomic<bool> done{false};
  std::thread writer([&] { done = e->AppendTextToCache("first"); });
  platform::SleepMs(500);
  EXPECT_FALSE(done);
  lock.Unlock();
  writer.join();
  EXPECT_TRUE(done && e->AppendTextToCache("\"second\"\n"));
  EXPECT_EQ(ReadBytes(cachePath()), "first\"second\"\n");  // written unchanged

  const std::string backup = cachePath() + "-bak";
  const std::string update = std::string(e->GetHelperPath()) + "\t-update_cache\n";
  WriteBytes(backup, "old");
  e->BackupCacheFile();
  EXPECT_EQ(ReadBytes(backup), "first\"second\"\n");
  EXPECT_FALSE(Exists(cachePath()));
  EXPECT_EQ(Runs(1), update);
  e->BackupCacheFile();  // no cache file: the backup stays, the helper still starts
  EXPECT_EQ(ReadBytes(backup), "first\"second\"\n");
  EXPECT_EQ(Runs(2), update + update);
}

}  // namespace
}  // namespace orin
