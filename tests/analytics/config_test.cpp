// The engine's configuration files: OrAnacfg.ini, BackupRecovery.ini and other.ini beside the
// program, usercfg.ini in the shared data folder, and the set-up operations that use them.
#include <cstdlib>
#include <filesystem>

#include "analytics/endpoints.h"
#include "engine_test_util.h"
#include "platform/files.h"
#include "platform/profile.h"

namespace orin {
namespace {

using testing::EnginePtr;

const std::string kSep(1, platform::kPathSep);
std::string Beside(const char* name) { return testing::ProgramFolder() + name; }

std::string ReadIni(const std::string& path, const char* section, const char* key) {
  char buffer[260] = {};
  platform::ReadProfileString(section, key, "<absent>", buffer, sizeof buffer, path.c_str());
  return buffer;
}
void WriteIni(const std::string& path, const char* section, const char* key, const char* value) {
  platform::WriteProfileString(section, key, value, path.c_str());
}

class ConfigTest : public testing::EngineTest {
 protected:
  // The engine never creates "QuillBR" itself, so the test does. On POSIX the shared data folder
  // comes from ORIN_COMMON_APPDATA, which ctest points into the build tree.
  std::string SharedFolder() {
    char appData[260] = {};
    platform::CommonAppDataFolder(appData, sizeof appData);
    return appData + kSep + "QuillBR";
  }
  void SetUp() override {
    EngineTest::SetUp();
    if (!platform::kIsWindows && std::getenv("ORIN_COMMON_APPDATA") == nullptr) {
      GTEST_SKIP() << "run through ctest, which sets ORIN_COMMON_APPDATA";
    }
    std::filesystem::create_directories(SharedFolder());
    std::filesystem::remove(SharedFolder() + kSep + "usercfg.ini");
  }
  void TearDown() override {
    std::error_code ec;
    std::filesystem::remove(SharedFolder() + kSep + "usercfg.ini", ec);
    EngineTest::TearDown();
  }
};

TEST_F(ConfigTest, SwitchValuePicksTheHostInverted) {
  const std::pair<const char*, bool> cases[] = {{"1", false}, {"0", true},   {"2", true},
                                                {"x", true},  {"", false},   {nullptr, false},
                                                {"00", false}, {"10", false}, {"on", false}};
  CQuillAnalyze e;
  EXPECT_EQ(std::string(e.GetConfigIniPath()), Beside("OrAnacfg.ini"));
  EXPECT_EQ(std::string(CQuillAnalyze::GetBackupRecoveryIniPath()), Beside("BackupRecovery.ini"));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first ? c.first : "(absent)");
    std::remove(Beside("BackupRecovery.ini").c_str());
    if (c.first) WriteIni(Beside("BackupRecovery.ini"), "EventTap", "switch", c.first);
    EXPECT_EQ(e.IsSecondaryEndpoint(), c.second);
    EXPECT_FALSE(e.LoadEndpoints());  // no cache path
    const std::string host = c.second ? kSecondaryCollectHost : kPrimaryCollectHost;
    EXPECT_EQ(e.collectAddress(), "https://" + host + "/api/v2/soft/collect");
    EXPECT_EQ(e.resAddress(), e.collectAddress());
    EXPECT_EQ(e.vidHost() + e.vidPath(), host + "/api/v2/soft/vid");
    EXPECT_TRUE(e.isVidSecure());
  }
}

TEST_F(ConfigTest, OnlyExperienceValueOneOrAbsentMeansOn) {
  auto on = MakeInitialized();
  for (const char* value : {"2", "0", "<absent>", "1"}) {
    std::remove(Beside("other.ini").c_str());
    if (value[0] != '<') WriteIni(Beside("other.ini"), "UserExperience", "ExperienceValue", value);
    EXPECT_EQ(CQuillAnalyze().IsUserExperienceOn(), value[0] != '0' && value[0] != '2') << value;
    // Turns an engine off, never on.
    on->ApplyUserExperience();
  }
  EXPECT_FALSE(on->isInitialized());
  EXPECT_FALSE(on->PostEvent(0));
  // Off: Initialize refuses and touches no other file.
  std::remove(Beside("OrAnacfg.ini").c_str());
  WriteIni(Beside("other.ini"), "UserExperience", "ExperienceValue", "0");
  EnginePtr<> e(new CQuillAnalyze);
  EXPECT_FALSE(e->Initialize(dir.File("c.dat"), "https://c/x", false, false, nullptr));
  EXPECT_EQ(platform::QueryPath(Beside("OrAnacfg.ini").c_str()), platform::PathStatus::kNotFound);
}

TEST(ParseVidUrl, SplitsHostAndPathOrChangesNothing) {
  const struct {
    const char *url, *hostAndPath;
    bool secure;
  } cases[] = {
      {"https://vid.example/a/b", "vid.example /a/b", true}, {"http://h:8080/x/y", "h:8080 /x/y", false},
      {"https://vid.example", "old /old", false},           {"http://h", "old /old", false},
      {"ftp://h/x", "old /old", false},                     {"see https://h/p?q", "h /p?q", true},
      {"http://a/b https://c/d", "c /d", true},
  };
  for (const auto& c : cases) {
    CQuillAnalyze e;
    e.ParseVidUrl("https://old/old");
    e.ParseVidUrl(c.url);
    EXPECT_EQ(e.vidHost() + " " + e.vidPath(), c.hostAndPath) << c.url;
    EXPECT_EQ(e.isVidSecure(), c.secure) << c.url;
  }
}

TEST_F(ConfigTest, FirstStartPlacesUserConfigInTheSharedFolderAndRecordsIt) {
  const std::string ini = Beside("OrAnacfg.ini"), userConfig = SharedFolder() + kSep + "usercfg.ini";
  EnginePtr<> none(new CQuillAnalyze);
  EXPECT_FALSE(none->Initialize("", "", false, false, nullptr));  // no cache path anywhere

  EnginePtr<> e(new CQuillAnalyze);
  ASSERT_TRUE(e->Initialize(dir.File("c.dat"), "https://c/x", true, false, "src"));
  EXPECT_TRUE(e->isFirstRun());
  EXPECT_EQ(std::string(e->GetUserConfigPath()), userConfig);
  EXPECT_EQ(ReadIni(ini, "Analyze", "usercfg"), userConfig);
  EXPECT_EQ(ReadIni(ini, "Analyze", "Cache"), dir.File("c.dat"));
  // The address read with its default already fills the member, so the argument is not used.
  EXPECT_EQ(ReadIni(ini, "Analyze", "Address"),
            std::string("https://") + kPrimaryCollectHost + "/api/v2/soft/collect");
  const std::string id = ReadIni(userConfig, "User", "DevID");
  EXPECT_EQ(id.size(), 43u);
  EXPECT_EQ(e->deviceId(), id);
  EXPECT_EQ(e->commonProperties().at("u").text, id);
  EXPECT_EQ(e->commonDetails().at("xid").text, "src");

  // The recorded paths win over the arguments, and the file is not rewritten.
  const std::string before = testing::ReadBytes(ini);
  EnginePtr<> again(new CQuillAnalyze);
  ASSERT_TRUE(again->Initialize(dir.File("other.dat"), "https://other/x", false, false, ""));
  EXPECT_EQ(again->cachePath(), dir.File("c.dat"));
  EXPECT_EQ(again->deviceId(), id);
  EXPECT_TRUE(again->commonDetails().empty());
  EXPECT_EQ(testing::ReadBytes(ini), before);
}

TEST_F(ConfigTest, UnderAHostUserConfigIsNotRecordedAndItsIdOnlyGoesIntoEvents) {
  const std::string folder = SharedFolder();
  EnginePtr<> e(new CQuillAnalyze);
  e->SetRootPrefix("R:");
  // Nothing stored at the prefixed place, and the host path makes no id.
  EXPECT_FALSE(e->Initialize(dir.File("c.dat"), "https://c/x", false, true, nullptr));
  EXPECT_EQ(std::string(e->GetUserConfigPath()), "R:" + folder.substr(2) + kSep + "usercfg.ini");
  EXPECT_EQ(ReadIni(Beside("OrAnacfg.ini"), "Analyze", "usercfg"), "<absent>");

  WriteIni(folder + kSep + "usercfg.ini", "User", "DevID", "dev_id_host");
  EnginePtr<> hosted(new CQuillAnalyze);
  hosted->SetRootPrefix(folder.substr(0, 2));  // so the place is the shared folder itself
  ASSERT_TRUE(hosted->Initialize(dir.File("c.dat"), "https://c/x", false, true, nullptr));
  EXPECT_EQ(hosted->deviceId(), "");
  EXPECT_EQ(hosted->commonProperties().at("u").text, "dev_id_host");
  EXPECT_EQ(ReadIni(Beside("OrAnacfg.ini"), "Analyze", "usercfg"), "<absent>");
}

TEST_F(ConfigTest, SetCacheAndAddressAndInitializeWithIdFileWriteOnlyWhatIsGiven) {
  const std::string ini = Beside("OrAnacfg.ini");
  EnginePtr<> e(new CQuillAnalyze);
  EXPECT_TRUE(e->SetCacheAndAddress("", "https://c/x"));
  EXPECT_EQ(ReadIni(ini, "Analyze", "Cache") + " " + ReadIni(ini, "Analyze", "Address"),
            "<absent> https://c/x");
  ASSERT_TRUE(e->InitializeWithIdFile(dir.File("c.dat"), dir.File("id.ini"), "", "xid1"));
  EXPECT_EQ(ReadIni(ini, "Analyze", "Cache") + " " + ReadIni(ini, "Analyze", "Address"),
            dir.File("c.dat") + " https://c/x");
  EXPECT_EQ(e->collectAddress(), "");  // stored even when empty
  EXPECT_EQ(e->commonProperties().at("u").text, ReadIni(dir.File("id.ini"), "User", "DevID"));
  EXPECT_EQ(e->commonDetails().at("xid").text, "xid1");
  EXPECT_EQ(std::string(e->GetUserConfigPath()), "");  // usercfg.ini is not consulted
}

}  // namespace
}  // namespace orin
