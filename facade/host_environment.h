#pragma once
#include <cstdint>
#include <string>

// What the events say about the machine and the host product: the module's per-machine data
// folder, the host's INI files, the OS product name and build, the first-setup date, the host
// executable's version and the product edition. Stateless but for a few cached paths, which are
// filled on first use without a lock (the facade thread and one host thread call these). Nothing
// here throws; failures give the empty, zero or default results documented per function.

namespace orin {

// Common application-data folder + separator + "QuillBR", created when missing (cached).
std::string GetUserDataFolder();
// The usercfg.ini path in that folder; empty when the folder could not be created.
std::string GetUserConfig();
// The shared BackupRecovery.ini path, as used for [Date] (cached).
std::string GetFirstSetupIniPath();
// The shared BackupRecovery.ini path (not cached); empty when the folder could not be created.
std::string GetMarketingIniPath();
// The cache file path, "KD_OF.dat" in the data folder (cached).
std::string GetCacheDataPath();
// Version.ini beside the host executable, in UTF-8 (it is read the wide way); nullptr when the
// host path has no separator. Points at a module-level text.
const char* GetVersionIniPath();

// [EventTap] "switch" of the host's BackupRecovery.ini is one character other than "1".
bool IsCollectSwitchSet();
// [Marketing] "SourceID", else "NewXid"; out is left alone when both are empty.
void GetMarketingSourceId(std::string& out);
// [Marketing] "NewPid", else [KDPointInfo] "DqId", else "null".
std::string GetMarketingProductId();
// The OS product name; out is left alone when it cannot be read.
void GetOsProductName(std::string& out);
// The OS build number, 0 when unknown.
std::int32_t GetOsBuildNumber();
bool IsWindows11();
// Days since the first setup; the first-setup time (seconds since 1970) goes to firstSetupTime.
std::int32_t GetFirstSetupInfo(std::int64_t& firstSetupTime);
bool IsCopierEdition();
std::int32_t GetEditionCode();
std::int32_t GetProductVariant();
// major * 10000 + minor * 100 + build of "Safekeep.exe" beside the host; 0 when unknown.
std::int32_t GetProductVersionNumber();

}  // namespace orin
