#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "analytics/endpoints.h"
#include "engine_test_util.h"
#include "platform/files.h"
#include "platform/profile.h"

namespace orin {
namespace {

using testing::EnginePtr;
using testing::EngineTest;
using testing::ProgramFolder;
using testing::ReadBytes;

std::string ConfigIni() { return ProgramFolder() + "OrAnacfg.ini"; }
std::string OtherIni() { return ProgramFolder() + "other.ini"; }
std::string BackupRecoveryIni() { return ProgramFolder() + "BackupRecovery.ini"; }

std::string ReadIni(const std::string& path, const char* section, const char* key) {
  char buffer[260] = {};
  platform::ReadProfileString(section, key, "<absent>", buffer, sizeof buffer, path.c_str());
  return buffer;
}

bool FileExists(const std::string& path) {
  return platform::QueryPath(path.c_str()) == platform::PathStatus::kExists;
}

class ConfigTest : public EngineTest {
 protected:
  // The shared data folder's "QuillBR", made by the test: the engine never creates it.
  std::string SharedFolder() {
    char appData[260] = {};
    platform::CommonAppDataFolder(appData, sizeof appData);
    return std::string(appData) + platform::kPathSep + "QuillBR";
  }
  bool PrepareSharedFolder() {
    // On POSIX the folder comes from ORIN_COMMON_APPDATA, which ctest points into the build tree.
    if (!platform::kIsWindows && std::getenv("ORIN_COMMON_APPDATA") == nullptr) return false;
    std::error_code ec;
    std::filesystem::create_directories(SharedFolder(), ec);
    std::filesystem::remove(SharedFolder() + platform::kPathSep + "usercfg.ini", ec);
    return !ec;
  }
  void TearDown() override {
    std::error_code ec;
    std::filesystem::remove(SharedFolder() + platform::kPathSep + "usercfg.ini", ec);
    EngineTest::TearDown();
  }
};

TEST_F(ConfigTest, IniPathsSitBesideTheHostExecutable) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  EXPECT_EQ(std::string(engine->GetConfigIniPath()), ConfigIni());
  EXPECT_EQ(std::string(CQuillAnalyze::GetBackupRecoveryIniPath()), BackupRecoveryIni());
}

TEST_F(ConfigTest, SwitchSelectsTheSecondaryHostOnlyForOneCharacterOtherThanOne) {
  struct Case {
    const char* value;  // nullptr: key absent
    bool secondary;
  };
  const Case cases[] = {{"1", false}, {"0", true},  {"2", true},   {"x", true},  {"", false},
                        {nullptr, false}, {"00", false}, {"10", false}, {"on", false}};
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value ? c.value : "(absent)");
    std::remove(BackupRecoveryIni().c_str());
    if (c.value != nullptr) {
      platform::WriteProfileString("EventTap", "switch", c.value, BackupRecoveryIni().c_str());
    }
    EXPECT_EQ(engine->IsSecondaryEndpoint(), c.secondary);
    engine->LoadEndpoints();
    const std::string host = c.secondary ? kSecondaryCollectHost : kPrimaryCollectHost;
    EXPECT_EQ(engine->collectAddress(), "https://" + host + "/api/v2/soft/collect");
    EXPECT_EQ(engine->resAddress(), "https://" + host + "/api/v2/soft/collect");
    EXPECT_EQ(engine->vidHost(), host);
    EXPECT_EQ(engine->vidPath(), "/api/v2/soft/vid");
    EXPECT_TRUE(engine->isVidSecure());
  }
}

TEST_F(ConfigTest, ExperienceValueOneMeansOn) {
  struct Case {
    const char* value;
    bool on;
  };
  const Case cases[] = {{nullptr, true}, {"1", true}, {"0", false}, {"2", false}, {"-1", false}};
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value ? c.value : "(absent)");
    std::remove(OtherIni().c_str());
    if (c.value) platform::WriteProfileString("UserExperience", "ExperienceValue", c.value, OtherIni().c_str());
    EXPECT_EQ(engine->IsUserExperienceOn(), c.on);
  }
}

TEST_F(ConfigTest, LoadEndpointsReadsEveryKeyAndNeedsCacheAndAddress) {
  const std::string ini = ConfigIni();
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  EXPECT_FALSE(engine->LoadEndpoints());  // no cache path yet
  platform::WriteProfileString("Analyze", "Cache", "c.dat", ini.c_str());
  platform::WriteProfileString("Analyze", "ResAddress", "https://res/x", ini.c_str());
  platform::WriteProfileString("Analyze", "usercfg", "u.ini", ini.c_str());
  platform::WriteProfileString("Vid", "Address", "http://vid.example:8080/x/y", ini.c_str());
  EXPECT_TRUE(engine->LoadEndpoints());
  EXPECT_EQ(engine->cachePath(), "c.dat");
  EXPECT_EQ(std::string(engine->GetUserConfigPath()), "u.ini");
  EXPECT_EQ(engine->resAddress(), "https://res/x");
  EXPECT_EQ(engine->vidHost(), "vid.example:8080");
  EXPECT_EQ(engine->vidPath(), "/x/y");
  EXPECT_FALSE(engine->isVidSecure());
  // Each read replaces the member, also by an empty value.
  platform::WriteProfileString("Analyze", "Cache", "", ini.c_str());
  EXPECT_FALSE(engine->LoadEndpoints());
  EXPECT_EQ(engine->cachePath(), "");
}

TEST_F(ConfigTest, ParseVidUrl) {
  struct Case {
    const char* url;
    const char* host;
    const char* path;
    bool secure;
  };
  // Each case starts from host "old", path "/old", secure true.
  const Case cases[] = {
      {"https://vid.example/api/v2/soft/vid", "vid.example", "/api/v2/soft/vid", true},
      {"http://vid.example:8080/x/y", "vid.example:8080", "/x/y", false},
      {"https://vid.example", "old", "/old", false},
      {"http://vid.example", "old", "/old", false},
      {"ftp://vid.example/x", "old", "/old", false},
      {"", "old", "/old", false},
      {"see https://h/p?q=1", "h", "/p?q=1", true},
      {"https:///p", "", "/p", true},
      {"http://a/b https://c/d", "c", "/d", true},  // https is looked for first
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.url);
    EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
    engine->ParseVidUrl("https://old/old");
    ASSERT_TRUE(engine->isVidSecure());
    engine->ParseVidUrl(c.url);
    EXPECT_EQ(engine->vidHost(), c.host);
    EXPECT_EQ(engine->vidPath(), c.path);
    EXPECT_EQ(engine->isVidSecure(), c.secure);
  }
}

TEST_F(ConfigTest, SetCacheAndAddressPersistsOnlyWhatIsGiven) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  EXPECT_TRUE(engine->SetCacheAndAddress("", ""));
  EXPECT_FALSE(FileExists(ConfigIni()));
  EXPECT_TRUE(engine->SetCacheAndAddress("c.dat", ""));
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "Cache"), "c.dat");
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "Address"), "<absent>");
  EXPECT_TRUE(engine->SetCacheAndAddress("", "https://collect/x"));
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "Cache"), "c.dat");
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "Address"), "https://collect/x");
  EXPECT_EQ(engine->cachePath(), "c.dat");
  EXPECT_EQ(engine->collectAddress(), "https://collect/x");
}

TEST_F(ConfigTest, InitializeIsRefusedWhenUserExperienceIsOff) {
  platform::WriteProfileString("UserExperience", "ExperienceValue", "0", OtherIni().c_str());
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  EXPECT_FALSE(engine->Initialize(dir.File("c.dat"), "https://c/x", false, false, "xid"));
  EXPECT_FALSE(engine->isInitialized());
  EXPECT_FALSE(FileExists(ConfigIni()));
  EXPECT_TRUE(engine->commonProperties().empty());
}

TEST_F(ConfigTest, InitializeWithoutPathsAnywhereFails) {
  ASSERT_TRUE(PrepareSharedFolder()) << "run through ctest, which sets ORIN_COMMON_APPDATA";
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  EXPECT_FALSE(engine->Initialize("", "", false, false, nullptr));
  EXPECT_FALSE(engine->isInitialized());
}

TEST_F(ConfigTest, FirstStartPlacesUserConfigInTheSharedFolder) {
  ASSERT_TRUE(PrepareSharedFolder()) << "run through ctest, which sets ORIN_COMMON_APPDATA";
  const std::string userConfig = SharedFolder() + platform::kPathSep + "usercfg.ini";
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  ASSERT_TRUE(engine->Initialize(dir.File("c.dat"), "https://c/x", true, false, "src"));
  EXPECT_TRUE(engine->isInitialized());
  EXPECT_TRUE(engine->isFirstRun());
  EXPECT_EQ(std::string(engine->GetUserConfigPath()), userConfig);
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "usercfg"), userConfig);
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "Cache"), dir.File("c.dat"));
  // The address read with its default already fills the member, so the argument is not used.
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "Address"),
            std::string("https://") + kPrimaryCollectHost + "/api/v2/soft/collect");
  // The device id was made in usercfg.ini and is what every event carries as "u".
  const std::string id = ReadIni(userConfig, "User", "DevID");
  EXPECT_EQ(id.rfind("dev_id_", 0), 0u);
  EXPECT_EQ(engine->deviceId(), id);
  EXPECT_EQ(engine->commonProperties().at("u").text, id);
  EXPECT_EQ(engine->commonDetails().at("xid").text, "src");

  // A second engine finds the recorded placement and keeps the same id.
  EnginePtr<CQuillAnalyze> again(new CQuillAnalyze);
  ASSERT_TRUE(again->Initialize("", "", false, false, ""));
  EXPECT_EQ(again->deviceId(), id);
  EXPECT_EQ(again->commonDetails().count("xid"), 0u);
}

TEST_F(ConfigTest, UnderAHostTheUserConfigIsNeitherRecordedNorItsIdKept) {
  ASSERT_TRUE(PrepareSharedFolder()) << "run through ctest, which sets ORIN_COMMON_APPDATA";
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  engine->SetRootPrefix("R:");
  // No id stored at the prefixed place: the host path does not make one.
  EXPECT_FALSE(engine->Initialize(dir.File("c.dat"), "https://c/x", false, true, nullptr));
  const std::string folder = SharedFolder();
  EXPECT_EQ(std::string(engine->GetUserConfigPath()),
            "R:" + folder.substr(2) + platform::kPathSep + "usercfg.ini");
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "usercfg"), "<absent>");

  // With an id in place (and no prefix, so the place is the shared folder) the host path works,
  // but the id only goes into "u".
  const std::string userConfig = folder + platform::kPathSep + "usercfg.ini";
  platform::WriteProfileString("User", "DevID", "dev_id_host", userConfig.c_str());
  EnginePtr<CQuillAnalyze> hosted(new CQuillAnalyze);
  hosted->SetRootPrefix(folder.substr(0, 2));
  ASSERT_TRUE(hosted->Initialize(dir.File("c.dat"), "https://c/x", false, true, nullptr));
  EXPECT_EQ(hosted->deviceId(), "");
  EXPECT_EQ(hosted->commonProperties().at("u").text, "dev_id_host");
  EXPECT_EQ(ReadIni(ConfigIni(), "Analyze", "usercfg"), "<absent>");
}

TEST_F(ConfigTest, PathsInTheConfigFileWinOverTheArguments) {
  const std::string ini = ConfigIni();
  const std::string userConfig = dir.File("usercfg.ini");
  platform::WriteProfileString("Analyze", "Cache", "from-file.dat", ini.c_str());
  platform::WriteProfileString("Analyze", "Address", "https://file/x", ini.c_str());
  platform::WriteProfileString("Analyze", "usercfg", userConfig.c_str(), ini.c_str());
  const std::string before = ReadBytes(ini);

  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  ASSERT_TRUE(engine->Initialize(dir.File("arg.dat"), "https://arg/x", false, false, nullptr));
  EXPECT_EQ(engine->cachePath(), "from-file.dat");
  EXPECT_EQ(engine->collectAddress(), "https://file/x");
  EXPECT_EQ(std::string(engine->GetUserConfigPath()), userConfig);
  EXPECT_EQ(ReadBytes(ini), before);
  EXPECT_EQ(engine->deviceId(), ReadIni(userConfig, "User", "DevID"));
}

TEST_F(ConfigTest, MissingAddressComesFromTheArgumentAndTheFileKeepsItsOwn) {
  const std::string ini = ConfigIni();
  platform::WriteProfileString("Analyze", "usercfg", dir.File("usercfg.ini").c_str(), ini.c_str());
  platform::WriteProfileString("Analyze", "Address", "https://file/x", ini.c_str());
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  ASSERT_TRUE(engine->Initialize(dir.File("arg.dat"), "https://arg/x", false, false, nullptr));
  EXPECT_EQ(engine->cachePath(), dir.File("arg.dat"));
  EXPECT_EQ(engine->collectAddress(), "https://file/x");
  EXPECT_EQ(ReadIni(ini, "Analyze", "Cache"), dir.File("arg.dat"));
  EXPECT_EQ(ReadIni(ini, "Analyze", "Address"), "https://file/x");
}

TEST_F(ConfigTest, ApplyUserExperienceCanOnlyTurnTheEngineOff) {
  EnginePtr<CQuillAnalyze> fresh(new CQuillAnalyze);
  fresh->ApplyUserExperience();
  EXPECT_FALSE(fresh->isInitialized());

  auto engine = MakeInitialized();
  engine->ApplyUserExperience();
  EXPECT_TRUE(engine->isInitialized());
  platform::WriteProfileString("UserExperience", "ExperienceValue", "0", OtherIni().c_str());
  engine->ApplyUserExperience();
  EXPECT_FALSE(engine->isInitialized());
  engine->SetEventIds(1, 1);
  EXPECT_FALSE(engine->ReportNow(true));
  EXPECT_FALSE(engine->PostEvent(0));
}

TEST_F(ConfigTest, InitializeWithIdFileUsesOnlyTheGivenFiles) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  ASSERT_TRUE(engine->InitializeWithIdFile(dir.File("c.dat"), dir.File("id.ini"), "https://c/x", "xid1"));
  const std::string id = ReadIni(dir.File("id.ini"), "User", "DevID");
  EXPECT_EQ(id.size(), 43u);
  EXPECT_EQ(engine->commonProperties().at("u").text, id);
  EXPECT_EQ(engine->commonDetails().at("xid").text, "xid1");
  EXPECT_EQ(engine->cachePath(), dir.File("c.dat"));
  EXPECT_EQ(engine->collectAddress(), "https://c/x");
  EXPECT_EQ(std::string(engine->GetUserConfigPath()), "");

  // The same id file gives the same id; an empty xid adds no detail.
  EnginePtr<CQuillAnalyze> second(new CQuillAnalyze);
  ASSERT_TRUE(second->InitializeWithIdFile(dir.File("c.dat"), dir.File("id.ini"), "", ""));
  EXPECT_EQ(second->commonProperties().at("u").text, id);
  EXPECT_TRUE(second->commonDetails().empty());
  EXPECT_EQ(second->collectAddress(), "");
}

}  // namespace
}  // namespace orin
