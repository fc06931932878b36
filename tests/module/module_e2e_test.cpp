// From GetOrinPointObj to the decoded cache: orinhost drives the built module from a sandbox
// host folder, as the product would, and the tests read the cache and the stand-in helper's log.
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cache/CacheFileLock.h"
#include "net/test_server.h"
#include "support/HostFiles.h"
#include "support/Programs.h"

namespace orin {
namespace {

namespace fs = std::filesystem;
using namespace orin::testing;
constexpr const char* kStandardKey = "8a61f2c4-3e95-3d07-b418-c27e9a05d6b1";
constexpr const char* kCopierKey = "0d3c9a5e-7b21-3f48-a6c2-91e4b5d7f803";

// A sandbox host folder with the built module, orinhost and the stand-in helper; the shared data
// folder emptied before and after each test.
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

  // The cached points' numbers in cache order: "l n, l n, ...".
  std::string CachedPoints() {
    std::string points;
    for (const Json::Value& e : CachedEvents()) {
      points += (points.empty() ? "" : ", ") + std::to_string(e["l"].asInt()) + " " +
                std::to_string(e["n"].asInt());
    }
    return points;
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

// A parameter name that does not fit the request's 260-byte field is refused whole: the point
// goes without it rather than with a cut name. A prepared point is not cached by the uploads; it
// waits for the next report of its own process.
TEST_F(ModuleTest, PointsReachTheCacheInOrderWithTheirCommonPropertiesAndUploadsStartTheHelper) {
  const std::int64_t before = std::time(nullptr);
  // Posted while the module's thread is still starting up: they queue behind the start-up.
  // The parameter's name is cp1252 "größe"; on POSIX bytes that are not UTF-8 in a UTF-8 locale
  // are replaced one by one.
  const std::string name = "gr\xF6\xDF" "e";
  Host("point 1 100 , param 0 " + name + " 5 , record , point 2 200 , record , record , wait 3 , "
       "prepare 7 8 , param 0 ignored 1 , now , point 9 9 , param 0 a 1 , prepsubmit , "
       "sleep 1500 , submitnow");
  const std::vector<Json::Value> events = CachedEvents();
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(CachedPoints(), "1 100, 2 200, -1 -1, 7 8");
  EXPECT_EQ(HelperRuns(), (std::vector<std::string>{"-submit_cache", "-submit_cache"}));
  for (const Json::Value& e : events) {
    SCOPED_TRACE(ToFastText(e));
    EXPECT_EQ(e["m"].asString(), kStandardKey);
    EXPECT_EQ(e["w"].asInt(), 90);
    EXPECT_EQ(e["v"].asInt(), 1001);  // no Version.ini
    EXPECT_EQ(e["c"].asString(), "null");
    EXPECT_EQ(e["la"].asInt(), 1);    // no host language object
    EXPECT_EQ(e["id"].asInt(), 0);    // first setup is today
    EXPECT_GE(e["i"].asInt64(), before);
    EXPECT_GE(e["t"].asInt64(), before);
    EXPECT_EQ(e["u"].asString().rfind("dev_id_", 0), 0u);
    EXPECT_EQ(e["u"].asString().size(), 43u);
    EXPECT_TRUE(e.isMember("o") && e.isMember("re"));
  }
  // The parameter belongs to its own point only; ReportPointNow does not pass one on.
  EXPECT_EQ(events[0]["p"][platform::kIsWindows ? u8"größe" : u8"gr\uFFFD\uFFFDe"].asInt(), 5)
      << ToFastText(events[0]["p"]);
  for (int i = 1; i < 4; ++i) EXPECT_FALSE(events[i].isMember("p"));
  EXPECT_EQ(events[0]["u"], events[3]["u"]);

  // The module told the helper where the cache is.
  const std::string config = host_ + "OrAnacfg.ini";
  EXPECT_EQ(ReadIni(config, "Analyze", "Cache"), SharedDataFolder() + kSep + "KD_OF.dat");
  EXPECT_EQ(ReadIni(config, "Analyze", "Address"),
            std::string("https://") + ORIN_PRIMARY_HOST + "/api/v2/soft/collect");

  // The first setup is written once and the device id kept: the next start reports both again.
  const std::string shared = SharedDataFolder() + kSep + "BackupRecovery.ini";
  const std::string firstSetup = ReadIni(shared, "Date", "FirstSetup");
  EXPECT_EQ(events[0]["i"].asString(), firstSetup);
  const std::string fits(259, 'a'), tooLong(260, 'b');
  Host("point 1 2 , param 0 " + fits + " 5 , record , point 1 3 , param 0 " + tooLong +
       " 6 , record , point 1 4 , param 1 kind 7 , record , wait 3 , submit");
  EXPECT_EQ(ReadIni(shared, "Date", "FirstSetup"), firstSetup);
  const std::vector<Json::Value> again = CachedEvents();
  ASSERT_EQ(again.size(), 7u);
  EXPECT_EQ(again[4]["i"].asString(), firstSetup);
  EXPECT_EQ(again[4]["u"], events[0]["u"]);
  // The prepared point's parameter stayed in its own process.
  EXPECT_EQ(ToFastText(again[4]["p"]), "{\"" + fits + "\":5}\n");
  EXPECT_FALSE(again[5].isMember("p"));
  EXPECT_FALSE(again[6].isMember("p"));  // only kind 0 names a number
  EXPECT_EQ(HelperRuns().size(), 3u);
}

TEST_F(ModuleTest, HostFilesChooseEditionEndpointLanguageAndMarketingValues) {
  fs::create_directories(SharedDataFolder());
  const std::string shared = SharedDataFolder() + kSep + "BackupRecovery.ini";
  WriteIni(host_ + "BackupRecovery.ini", "EventTap", "switch", "0");
  WriteIni(host_ + "Version.ini", "cust", "cust_type", "QL_Copier");
  WriteIni(host_ + "Version.ini", "VersionInfo", "versionCode", "7");
  WriteIni(host_ + "Version.ini", "ProductVersion", "v", "12");
  // These and the OS name are in the host's code page: cp1252 under Wine; on POSIX a byte that
  // is no UTF-8, which must not take the next one with it.
  WriteIni(shared, "Marketing", "NewXid", "xid-\xE9" "42");
  WriteIni(shared, "KDPointInfo", "DqId", "dq-\xC4" "7");
  WriteIni(shared, "Date", "FirstSetup", "172799");  // the last second of day 1
  const std::string osRelease = sandbox_.File("os-release");
  testing::WriteBytes(osRelease, "PRETTY_NAME=\"Syst\xE8me 1\"\n");

  testing::SetEnvironment("ORIN_OS_RELEASE", osRelease);
  Host("point 3 4 , record , wait 1");
  testing::SetEnvironment("ORIN_OS_RELEASE", "");
  std::vector<Json::Value> events = CachedEvents();
  ASSERT_EQ(events.size(), 1u);
  Json::Value e = events[0];
  EXPECT_EQ(e["m"].asString(), kCopierKey);
  EXPECT_EQ(e["w"].asInt(), 10);
  EXPECT_EQ(e["v"].asInt(), 1001);  // versionCode 7 with a variant outside its table
  EXPECT_EQ(e["la"].asInt(), 8);    // variant 12 speaks the host's language 2
  EXPECT_EQ(e["c"].asString(), platform::kIsWindows ? u8"dq-Ä7" : u8"dq-\uFFFD7");
  EXPECT_EQ(e["p"]["xid"].asString(), platform::kIsWindows ? u8"xid-é42" : u8"xid-\uFFFD42");
  if (!platform::kIsWindows) {
    EXPECT_EQ(e["o"].asString(), u8"Syst\uFFFDme 1");
  }
  EXPECT_EQ(e["i"].asInt64(), 172799);
  EXPECT_EQ(e["id"].asInt64(), std::time(nullptr) / 86400 - 1);  // whole days between day numbers
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "Address"),
            std::string("https://") + ORIN_SECONDARY_HOST + "/api/v2/soft/collect");

  // Per point, the edition and the product id are read afresh; the first setup stays.
  WriteIni(host_ + "Version.ini", "ProductVersion", "v", "17");
  WriteIni(shared, "Marketing", "NewPid", "pid-1");
  Host("point 3 5 , record , wait 1");
  events = CachedEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[1]["v"].asInt(), 1000);
  EXPECT_EQ(events[1]["c"].asString(), "pid-1");
  EXPECT_EQ(ReadIni(shared, "Date", "FirstSetup"), "172799");
}

// The facade's thread and the host's thread fill points at once (RecordPoint's queue against
// ReportPointNow on the host's thread): each point keeps its own numbers and only its own
// parameter, and none is lost or emptied.
TEST_F(ModuleTest, PointsFilledOnTwoThreadsAtOnceStayApart) {
  const int rounds = 2000;
  Host("repeat " + std::to_string(rounds) +
       " , point 1 $i , param 0 rec $i , record , prepare 2 $i , now , end , point 3 0 , record , "
       "wait " + std::to_string(2 * rounds + 1));
  const std::vector<Json::Value> events = CachedEvents();
  ASSERT_EQ(events.size(), std::size_t(2 * rounds + 1));
  std::vector<int> next(4, 1);  // per first number, the second number expected next
  for (const Json::Value& e : events) {
    SCOPED_TRACE(ToFastText(e));
    const int l = e["l"].asInt(), n = e["n"].asInt();
    ASSERT_TRUE(l >= 1 && l <= 3);
    if (l == 3) continue;
    EXPECT_EQ(n, next[l]++);
    if (l == 1) {
      ASSERT_EQ(e["p"].getMemberNames(), std::vector<std::string>{"rec"});
      EXPECT_EQ(e["p"]["rec"].asInt(), n);
    } else {
      EXPECT_FALSE(e.isMember("p"));
    }
    EXPECT_EQ(e["m"].asString(), kStandardKey);
  }
  EXPECT_EQ(next[1], rounds + 1);
  EXPECT_EQ(next[2], rounds + 1);
}

// The host's thread never waits on the start-up's network exchange: the immediate calls return
// while the device-id request is still held, and their work follows the start-up. An immediate
// call made once the start-up is done, while earlier ones still wait on the module's thread (held
// up here by the cache mutex), goes behind them.
TEST_F(ModuleTest, ImmediateCallsDuringTheStartUpReturnAtOnceAndAreDoneAfterIt) {
  HoldDeviceIdRequest(2000);  // the request and its retry: about 4 s
  Host("prepare 7 8 , now , lockcache , prepare 2 2 , now , submitnow , cached 0 , sleep 6000 , "
       "prepare 3 3 , now , unlockcache , wait 3");
  EXPECT_EQ(CachedPoints(), "7 8, 2 2, 3 3");
  EXPECT_EQ(HelperRuns(), std::vector<std::string>{"-submit_cache"});
}

// The host lets the module go while its thread still has points to cache, ends with points still
// queued, or ends while the start-up's exchange is held: the module stays loaded until it is
// done, the exit neither crashes nor waits for the server, and whatever reached the cache by then
// is whole. Nor does a module that finds no libcurl crash or wait.
TEST_F(ModuleTest, AHostMayUnloadTheModuleOrEndWhileItsThreadWorks) {
  Host("repeat 200 , point 5 $i , record , end , unload , wait 200");
  std::vector<Json::Value> events = CachedEvents();
  ASSERT_EQ(events.size(), 200u);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(events[i]["n"].asInt(), i + 1);

  std::error_code ec;
  fs::remove_all(SharedDataFolder(), ec);
  std::string calls = "prepare 3 3 , now , wait 1 , point 4 4";
  for (int i = 0; i < 50; ++i) calls += " , record";
  Host(calls);
  events = CachedEvents();
  ASSERT_GE(events.size(), 1u);
  ASSERT_LE(events.size(), 51u);
  // The numbers went with the first post only.
  for (std::size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i]["l"].asInt(), i == 0 ? 3 : i == 1 ? 4 : -1);
  }

  HoldDeviceIdRequest(600000);
  fs::remove_all(SharedDataFolder(), ec);  // no stored device id: the start-up asks the server
  Host("point 6 6 , record , sleep 300");

  // Without libcurl the start-up's exchange fails at once, as with no network: nothing is sent
  // and the points are cached all the same.
  if (!platform::kIsWindows) {
    testing::TestServer::Reset({});
    fs::remove_all(SharedDataFolder(), ec);
    testing::SetEnvironment("ORIN_CURL_LIBRARY", "libcurl-absent.so.4");
    Host("point 7 7 , record , wait 1");
    EXPECT_TRUE(testing::TestServer::Received().empty());
    ASSERT_EQ(CachedEvents().size(), 1u);

    // Another process takes the cache mutex while the module's thread is between points: the
    // host ends all the same, and the point in hand is written as any append that cannot take
    // the mutex is.
    fs::remove(SharedDataFolder() + kSep + "KD_OF.dat", ec);
    platform::ProcessHandle host = platform::StartProcess(
        "\"" + host_ + "orinhost\" --settle 500 script point 7 7 , record , wait 1 , sleep 2000 , "
        "point 8 8 , record , sleep 300");
    ASSERT_TRUE(WaitUntil([this] { return CachedPoints() == "7 7"; }));
    CacheFileLock held;
    ASSERT_TRUE(held.Lock());
    const int code = ExitCodeOf(host, 60000);
    held.Unlock();
    testing::SetEnvironment("ORIN_CURL_LIBRARY", "");
    EXPECT_NE(code, -1) << "the host's exit waited for the cache mutex";
    EXPECT_EQ(CachedPoints(), "7 7, 8 8");
  }
}

// While the module's thread waits for the cache mutex another process holds, the host's posts
// beyond the queue's bound are refused instead of growing the host's heap; what was queued is
// cached once the mutex is free.
TEST_F(ModuleTest, PostsBeyondTheQueuesBoundAreRefusedWhileTheThreadIsStuck) {
  const int bound = 16384, posted = 20000;
  Host("prepare 0 0 , now , wait 1 , lockcache , point 1 0 , record , sleep 1000 , repeat " +
       std::to_string(posted) + " , point 2 $i , record , end , unlockcache , wait " +
       std::to_string(bound + 1));
  const std::vector<Json::Value> events = CachedEvents();
  // (0,0), then (1,0) unless the thread had not yet taken it off the queue, then the 2s.
  ASSERT_GE(events.size(), std::size_t(bound + 1));
  ASSERT_LE(events.size(), std::size_t(bound + 2));
  for (std::size_t i = events.size() - bound + 1; i < events.size(); ++i) {
    EXPECT_EQ(events[i]["l"].asInt(), 2);
    EXPECT_EQ(events[i]["n"].asInt(), events[i - 1]["n"].asInt() + 1);
  }
}

// The host's companion library, as the Windows product ships it beside its executable.
TEST_F(ModuleTest, CompanionLibraryGivesTheLanguageAndTheHostFlag) {
  if (!Exists(ProgramFolder() + "Comn.dll")) GTEST_SKIP() << "the companion library is a Windows image";
  fs::copy_file(ProgramFolder() + "Comn.dll", host_ + "Comn.dll");
  std::ofstream(host_ + "comn.txt") << "0 4";
  Host("point 1 1 , record , wait 1");
  std::vector<Json::Value> events = CachedEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]["la"].asInt(), 3);  // host language 4
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "usercfg"), SharedDataFolder() + kSep + "usercfg.ini");

  // Under a host the user configuration is not recorded, and without a stored device id the
  // module stays off: nothing is cached and no upload starts.
  fs::remove_all(SharedDataFolder());
  fs::remove(host_ + "OrAnacfg.ini");
  std::ofstream(host_ + "comn.txt") << "1 4";
  Host("point 1 2 , record , submitnow , sleep 1000");
  EXPECT_TRUE(CachedEvents().empty());
  EXPECT_TRUE(HelperRuns().empty());
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "usercfg"), "<absent>");
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "Cache"), SharedDataFolder() + kSep + "KD_OF.dat");
}

// Hosts built by clang for the MSVC ABI with no C runtime (tests/msvc_host): one linked to
// orinpoint.lib, one taking GetOrinPointObj with GetProcAddress. Each calls every operation
// once and checks on its own that ReportPointNow cached its point before returning.
TEST_F(ModuleTest, HostsBuiltForTheMsvcAbiCallEveryOperation) {
  if (!testing::Exists(ProgramFolder() + "msvc_host_linked.exe")) {
    GTEST_SKIP() << "MSVC-ABI hosts are Windows images";
  }
  for (const char* host : {"msvc_host_linked.exe", "msvc_host_loaded.exe"}) {
    SCOPED_TRACE(host);
    std::error_code ec;
    fs::remove_all(SharedDataFolder(), ec);
    fs::remove(host_ + "orinhlp.log", ec);
    fs::copy_file(ProgramFolder() + host, host_ + host, fs::copy_options::overwrite_existing);
    ASSERT_EQ(ExitCodeOf(platform::StartProcess("\"" + host_ + host + "\""), 300000), 0);

    const std::vector<Json::Value> events = CachedEvents();
    ASSERT_EQ(CachedPoints(), "1 100, 3 300");
    EXPECT_EQ(ToFastText(events[0]["p"]), "{\"abi\":7}\n");  // kind 1 is ignored
    EXPECT_FALSE(events[1].isMember("p"));
    EXPECT_EQ(events[0]["u"], events[1]["u"]);
    // PrepareAndSubmitCache, SubmitCache, SubmitCacheNow.
    EXPECT_EQ(HelperRuns(), std::vector<std::string>(3, "-submit_cache"));
  }
}

}  // namespace
}  // namespace orin
