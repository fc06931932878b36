// The facade's start-up: what it learns of the host and hands to the engine, in a fixed order.
#include <cstdlib>
#include <string>

#include <json/value.h>

#include "analytics/endpoints.h"
#include "cache/CAnalyticsFile.h"
#include "facade/CEventTap.h"
#include "facade/host_companion.h"
#include "facade/host_environment.h"
#include "facade/language.h"
#include "facade/os_name.h"
#include "identity/CQuillCookiesMgr.h"
#include "net/http_client.h"
#include "platform/named_mutex.h"
#include "platform/text.h"

namespace orin {
namespace {

constexpr const char* kCopierKey = "0d3c9a5e-7b21-3f48-a6c2-91e4b5d7f803";
constexpr const char* kStandardKey = "8a61f2c4-3e95-3d07-b418-c27e9a05d6b1";
constexpr std::int32_t kCopierProduct = 10;
constexpr std::int32_t kStandardProduct = 90;

// Indexes into the engine's short-key table.
constexpr std::int32_t kKeyApp = 0;          // "m"
constexpr std::int32_t kKeyOs = 2;           // "o"
constexpr std::int32_t kKeyProduct = 3;      // "w"
constexpr std::int32_t kKeyVersion = 4;      // "re"
constexpr std::int32_t kKeyLanguage = 7;     // "la"
constexpr std::int32_t kKeySetupTime = 8;    // "i"
constexpr std::int32_t kKeySetupDays = 9;    // "id"

// The one facade whose thread must stop before the process's statics go away.
CEventTap* exitingFacade = nullptr;

// An exchange in flight, or a wait for the cache mutex another process holds, ends at once, so
// the wait for the request in hand is short.
void StopFacadeAtExit() {
  net::AbortRequestsForExit();
  platform::AbandonNamedMutexWaits();
  if (exitingFacade != nullptr) exitingFacade->StopHandlingAtExit();
}

}  // namespace

// Texts the host's files and the OS give are in the host's code page; events hold UTF-8.
using platform::HostTextToUtf8;

// The product id is read before the edition, as the host always has.
CEventTap::PointEnvironment CEventTap::ReadPointEnvironment() {
  PointEnvironment environment;
  environment.productId = HostTextToUtf8(GetMarketingProductId());
  environment.edition = GetEditionCode();
  return environment;
}

// The exit hook runs before everything that was built before it is torn down, and the first
// network exchange of the start-up comes after it: so the objects with destructors that a
// request uses (the engine, the cache file object, the device-id manager, JsonCpp's shared null
// value, the transport's libraries and their own exit handlers) are built first; the cached
// paths are never destroyed.
void CEventTap::RegisterExitHook() {
  if (exitingFacade != nullptr) return;
  GetAnalyzeEngine();
  GetAnalyticsFile();
  GetCookiesMgr();
  Json::Value::nullSingleton();
  net::PrepareTransportForExit();
  exitingFacade = this;
  std::atexit(&StopFacadeAtExit);
}

void CEventTap::InitializeEngine() {
  // The process-wide engine is always this module's own class.
  auto* engine = static_cast<CQuillAnalyze*>(GetAnalyzeEngine());
  engine_.store(engine);
  struct Hook {
    CEventTap* tap;
    ~Hook() { tap->RegisterExitHook(); }
  } hook{this};
  const bool hostFlag = QueryHostFlag();
  const char* collectHost = IsCollectSwitchSet() ? kSecondaryCollectHost : kPrimaryCollectHost;
  const std::string collectUrl = std::string("https://") + collectHost + kCollectPath;

  std::string productName;
  GetOsProductName(productName);
  const std::string osName = OsNameForEvents(HostTextToUtf8(productName), IsWindows11());

  std::int64_t firstSetupTime = 0;
  const std::int32_t days = GetFirstSetupInfo(firstSetupTime);
  const std::string userConfig = GetUserConfig();
  const std::int32_t language = GetLanguageCode();
  const std::int32_t version = GetProductVersionNumber();
  std::string sourceId;
  GetMarketingSourceId(sourceId);
  sourceId = HostTextToUtf8(sourceId);
  if (userConfig.empty()) return;

  const std::string cachePath = GetCacheDataPath();
  RegisterExitHook();  // before the device-id exchange
  if (!engine->Initialize(cachePath, collectUrl, true, hostFlag,
                          sourceId.empty() ? nullptr : sourceId.c_str())) {
    return;
  }

  // Deliberately independent of the endpoint chosen above.
  const bool copier = IsCopierEdition();
  engine->SetCommonStringAt(kKeyApp, copier ? kCopierKey : kStandardKey);
  engine->SetCommonStringAt(kKeyOs, osName);
  engine->SetCommonIntAt(kKeyProduct, copier ? kCopierProduct : kStandardProduct);
  engine->SetCommonIntAt(kKeyVersion, version);
  engine->SetCommonIntAt(kKeyLanguage, language);
  engine->SetCommonInt64At(kKeySetupTime, firstSetupTime);
  engine->SetCommonIntAt(kKeySetupDays, days);
}

}  // namespace orin
