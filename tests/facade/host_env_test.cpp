// Host probes. What depends on the host's folder (or on cached paths) runs in a child copied into
// a folder of its own; the shared data folder is probed in this process.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "facade/host_environment.h"
#include "platform/files.h"
#include "platform/os.h"
#include "platform/os_version.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "support/Programs.h"
#include "support/TempDir.h"

namespace orin {
namespace {

using namespace orin::testing;
namespace fs = std::filesystem;
using platform::kPathSep;

std::string BesideTest(const std::string& name) { return ProgramFolder() + name; }

std::string Exe(const char* stem) { return std::string(stem) + (platform::kIsWindows ? ".exe" : ""); }

// A host folder holding a copy of the probe child, which runs with that folder as its own. The
// folder may be a named one (UTF-8) inside the temporary folder; the child starts from inside it
// by relative names, which the narrow process call takes whatever the folder is called.
class HostFolder {
 public:
  explicit HostFolder(const std::string& name = "")
      : path_(fs::u8path(dir_.path()) / fs::u8path(name)) {
    fs::create_directories(path_);
  }
  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path_ / name, std::ios::binary) << bytes;
  }
  void CopyIn(const std::string& from, const std::string& name) const {
    fs::copy_file(from, path_ / name, fs::copy_options::overwrite_existing);
  }

  std::string Run(const std::vector<std::string>& args) {
    const std::string exe = Exe("host_probe");
    if (!fs::exists(path_ / exe)) CopyIn(BesideTest(exe), exe);
    std::string line = "\"." + std::string(1, kPathSep) + exe + "\" probe.txt";
    for (const std::string& a : args) line += " \"" + a + "\"";
    const fs::path before = fs::current_path();
    fs::current_path(path_);
    platform::ProcessHandle child = platform::StartProcess(line);
    fs::current_path(before);
    if (child == nullptr) return "(not started)";
    platform::WaitProcess(child, 0xFFFFFFFFu);
    platform::CloseProcess(child);
    std::ifstream in(path_ / "probe.txt", std::ios::binary);
    std::string text;
    for (char c; in.get(c);) {
      if (c != '\r') text += c;
    }
    return text;
  }

 private:
  TempDir dir_;
  fs::path path_;
};

struct HostCase {
  const char* versionIni;  // nullptr: no Version.ini
  const char* hostSwitch;  // [EventTap] "switch" of the host's BackupRecovery.ini; nullptr: no file
  const char* safekeep;    // test image copied as Safekeep.exe; nullptr: none
  int edition, variant, copier, secondary, version;
  const char* folder = "";  // the host folder's own name, if any
};

const HostCase kHostCases[] = {
    {nullptr, nullptr, nullptr, 1001, 3, 0, 0, 0},
    {"[VersionInfo]\nversionCode=2\n[ProductVersion]\nv=11\n", "1", "pe_versioned.exe", 1, 3, 0, 0, 70301},
    {"[VersionInfo]\nversionCode=6\n[ProductVersion]\nv=12\n", "0", "pe_plain.exe", 5, 12, 0, 1, 0},
    {"[VersionInfo]\nversionCode=7\n", "x", nullptr, 1001, 3, 0, 1, 0},
    {"[VersionInfo]\nversionCode=7\n[ProductVersion]\nv=17\n", "10", nullptr, 1000, 17, 0, 0, 0},
    {"[cust]\ncust_type=QL_Copier\n[VersionInfo]\nversionCode=7\n[ProductVersion]\nv=3\n", "", nullptr,
     53, 3, 1, 0, 0},
    {"[cust]\ncust_type=ql_copier\n[VersionInfo]\nversionCode=7\n[ProductVersion]\nv=10\n", nullptr,
     nullptr, 100, 10, 0, 0, 0},
    {"[VersionInfo]\nversionCode=7\n[ProductVersion]\nv=9\n", nullptr, nullptr, 52, 9, 0, 0, 0},
    {"[VersionInfo]\nversionCode=8\n[ProductVersion]\nv=2\n", nullptr, nullptr, 50, 2, 0, 0, 0},
    {"[VersionInfo]\nversionCode=9\n", nullptr, nullptr, 8, 3, 0, 0, 0},
    {"[VersionInfo]\nversionCode=17\n[ProductVersion]\nv=17\n", nullptr, nullptr, 1001, 17, 0, 0, 0},
    {"[VersionInfo]\nversionCode=3\n[ProductVersion]\nv=-1\n", nullptr, nullptr, 2, -1, 0, 0, 0},
    // A name the ANSI code page (cp1252 under Wine) cannot spell: both files are reached wide.
    {"[cust]\ncust_type=QL_Copier\n[VersionInfo]\nversionCode=7\n[ProductVersion]\nv=3\n", nullptr,
     "pe_versioned.exe", 53, 3, 1, 0, 70301, u8"Резерв"},
};

TEST(HostFolderProbes, EditionVariantCopierSwitchAndVersionFollowTheHostFiles) {
  const bool haveImages = Exists(BesideTest("pe_versioned.exe"));
  for (const HostCase& c : kHostCases) {
    if (c.safekeep != nullptr && !haveImages) continue;
    HostFolder host(c.folder);
    if (c.versionIni != nullptr) host.Write("Version.ini", c.versionIni);
    if (c.hostSwitch != nullptr) {
      host.Write("BackupRecovery.ini", std::string("[EventTap]\nswitch=") + c.hostSwitch + "\n");
    }
    if (c.safekeep != nullptr) host.CopyIn(BesideTest(c.safekeep), "Safekeep.exe");
    const std::string expect = "edition=" + std::to_string(c.edition) +
                               "\nvariant=" + std::to_string(c.variant) +
                               "\ncopier=" + std::to_string(c.copier) +
                               "\nswitch=" + std::to_string(c.secondary) +
                               "\nversion=" + std::to_string(c.version) + "\n";
    EXPECT_EQ(host.Run({"edition", "variant", "copier", "switch", "version"}), expect)
        << c.folder << " " << (c.versionIni ? c.versionIni : "(no Version.ini)") << " switch="
        << (c.hostSwitch ? c.hostSwitch : "(no file)") << " " << (c.safekeep ? c.safekeep : "");
  }
}

// POSIX: the shared folder comes from ORIN_COMMON_APPDATA, which the child is given.
TEST(DataFolder, CreatedWhenOnlyItsLastLevelIsMissingAndReportedWhenThatFails) {
  if (platform::kIsWindows) GTEST_SKIP() << "the common folder is the system's";
  TempDir appData;
  const std::string quill = appData.path() + "/QuillBR";
  const std::string deeper = appData.path() + "/missing/QuillBR";
  const auto inside = [](const std::string& q) {
    return "folder=" + q + "\nusercfg=" + q + "/usercfg.ini\nmarketing-ini=" + q +
           "/BackupRecovery.ini\nproduct-id=null\n";
  };
  const struct {
    std::string appData, expect;
  } cases[] = {
      {appData.path(), inside(quill)},
      // A missing folder above is "path not found": nothing is created and nothing is said.
      {appData.path() + "/missing", inside(deeper)},
      // The kernel refuses new folders in /proc: the failure is printed, usercfg is empty.
      {"/proc", "Failed to CreateDirectory by GetLmAnalyticsPath(), 2folder=/proc/QuillBR\n"
                "Failed to CreateDirectory by GetUserConfig(), 2usercfg=\n"
                "Failed to CreateDirectory by GetUserConfig(), 2marketing-ini=\n"
                "Failed to CreateDirectory by GetUserConfig(), 2product-id=null\n"},
  };
  for (const auto& c : cases) {
    HostFolder host;
    EXPECT_EQ(host.Run({"ORIN_COMMON_APPDATA=" + c.appData, "folder", "usercfg", "marketing-ini",
                        "product-id"}),
              c.expect);
  }
  EXPECT_TRUE(Exists(quill));
  EXPECT_FALSE(Exists(appData.path() + "/missing"));
}

TEST(Marketing, SourceIdAndProductIdFallBackInTurn) {
  const std::string ini = GetMarketingIniPath();
  ASSERT_FALSE(ini.empty());
  const struct {
    const char *sourceId, *newXid, *newPid, *dqId, *expectSource, *expectProduct;
  } cases[] = {
      {"", "", "", "", "kept", "null"},
      {"s1", "x1", "p1", "d1", "s1", "p1"},
      {"", "x1", "", "d1", "x1", "d1"},
  };
  for (const auto& c : cases) {
    platform::WriteProfileString("Marketing", "SourceID", c.sourceId, ini.c_str());
    platform::WriteProfileString("Marketing", "NewXid", c.newXid, ini.c_str());
    platform::WriteProfileString("Marketing", "NewPid", c.newPid, ini.c_str());
    platform::WriteProfileString("KDPointInfo", "DqId", c.dqId, ini.c_str());
    std::string source = "kept";
    GetMarketingSourceId(source);
    EXPECT_EQ(source, c.expectSource);
    EXPECT_EQ(GetMarketingProductId(), c.expectProduct);
  }
}

// The verdict line follows the printed numbers and the printed build is the registry's; on POSIX
// os-release stands in for the registry.
TEST(OsVersion, Windows11VerdictFollowsTheReportedNumbersOsReleaseStandingInOnPosix) {
  platform::VersionNumbers kernel;
  ASSERT_TRUE(platform::LegacyVersionNumbers(kernel));
  TempDir dir;
  const std::string release = dir.File("os-release"), l127(127, 'L'), l128(128, 'L');
  struct Case {
    std::string release;  // empty: no file
    std::string name;
    int build;
  };
  std::vector<Case> cases = {
      {"NAME=Debian\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n", "Debian GNU/Linux 12 (bookworm)", 0},
      {"PRETTY_NAME='Windows Server 2022 Datacenter'\n", "Windows Server 2022 Datacenter", 22000},
      {"NAME=Debian\n", "(unchanged)", 0},
      {"", "(unchanged)", 0},
      // 127 characters fit the narrow 128-byte read but not the wide one.
      {"PRETTY_NAME=\"" + l127 + "\"\n", l127, 0},
      {"PRETTY_NAME=" + l128 + "\n", "(unchanged)", 0},
  };
  if (platform::kIsWindows) cases = {{"", "", 0}};  // the registry is read instead
  for (const auto& c : cases) {
    SCOPED_TRACE(c.release);
    std::remove(release.c_str());
    if (!c.release.empty()) WriteBytes(release, c.release);
    HostFolder host;
    std::vector<std::string> probes = {"ORIN_OS_RELEASE=" + release, "os-build", "win11"};
    if (!platform::kIsWindows) probes.push_back("os-name");
    const std::string out = host.Run(probes);
    int build = -1, major = -1, minor = -1, shownBuild = -2, verdict = -1;
    char line[64] = {};
    ASSERT_EQ(std::sscanf(out.c_str(),
                          "os-build=%d\nCurrent os version: %d.%d BuildID: %d\n%63[^\n]\nwin11=%d",
                          &build, &major, &minor, &shownBuild, line, &verdict), 6)
        << out;
    EXPECT_EQ(shownBuild, build);
    const bool win11 = major >= 10 && build >= 22000;
    EXPECT_EQ(verdict, int(win11));
    EXPECT_EQ(std::string(line), win11 ? "Current OS is win11." : "Current OS is not win11.");
    if (platform::kIsWindows) {
      EXPECT_GE(major, 6);
      continue;
    }
    const std::string b = std::to_string(c.build);
    EXPECT_EQ(out, "os-build=" + b + "\nCurrent os version: " + std::to_string(kernel.major) + "." +
                       std::to_string(kernel.minor) + " BuildID: " + b +
                       "\nCurrent OS is not win11.\nwin11=0\nos-name=" + c.name + "\n");
  }
}

}  // namespace
}  // namespace orin
