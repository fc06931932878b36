#include "tools/orinhost/host_session.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cache/record_scanner.h"
#include "facade/host_environment.h"
#include "platform/dynamic_library.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/profile.h"
#include "platform/thread.h"

namespace orin::orinhost {
namespace {

std::string HostFolder() {
  char path[1024] = {};
  if (platform::HostExecutablePath(path, sizeof path) == 0) return std::string(".") + platform::kPathSep;
  std::string folder(path);
  folder.erase(folder.rfind(platform::kPathSep) + 1);
  return folder;
}

bool ReadFile(const std::string& path, std::string& bytes) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  char block[65536];
  std::size_t got;
  while ((got = std::fread(block, 1, sizeof block, f)) > 0) bytes.append(block, got);
  std::fclose(f);
  return true;
}

bool ToInt(const std::string& text, std::int32_t& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  const long long v = std::strtoll(text.c_str(), &end, 10);
  if (*end != '\0' || v < INT32_MIN || v > INT32_MAX) return false;
  value = static_cast<std::int32_t>(v);
  return true;
}

}  // namespace

std::string ModuleCachePath() {
  char cache[260] = {};
  const std::string ini = HostFolder() + "OrAnacfg.ini";
  platform::ReadProfileString("Analyze", "Cache", "", cache, sizeof cache, ini.c_str());
  return cache[0] != '\0' ? std::string(cache) : GetCacheDataPath();
}

std::string DefaultModulePath() {
  return HostFolder() + (platform::kIsWindows ? "orinpoint.dll" : "liborinpoint.so");
}

bool HostSession::Load(const std::string& modulePath) {
  cachePath_ = ModuleCachePath();
  baseline_ = CountCachedEvents();
  platform::LibraryHandle module = platform::OpenLibrary(modulePath.c_str());
  if (module == nullptr) {
    err_ << "orinhost: cannot load " << modulePath << ": " << platform::LastLibraryError() << '\n';
    return false;
  }
  auto get = reinterpret_cast<GetOrinPointObjFn>(platform::LibrarySymbol(module, "GetOrinPointObj"));
  if (get == nullptr) {
    err_ << "orinhost: " << modulePath << " has no GetOrinPointObj\n";
    return false;
  }
  module_ = module;
  tap_ = get();
  out_ << "module " << modulePath << " loaded; cache " << cachePath_ << '\n';
  return true;
}

bool HostSession::Run(const std::vector<std::string>& op) {
  if (op.empty()) return false;
  const std::string& word = op[0];
  std::int32_t a = 0, b = 0;
  auto numbers = [&](std::size_t n) {
    return op.size() == n + 1 && (n < 1 || ToInt(op[1], a)) && (n < 2 || ToInt(op[2], b));
  };
  if (word == "wait" && numbers(1)) return WaitForEvents(a);
  if (word == "cached" && numbers(1)) {
    const std::int32_t added = CountCachedEvents() - baseline_;
    if (added != a) err_ << "orinhost: " << added << " new events cached, not " << a << '\n';
    return added == a;
  }
  if (word == "sleep" && numbers(1) && a >= 0) {
    platform::SleepMs(static_cast<std::uint32_t>(a));
    return true;
  }
  if (word == "lockcache" && numbers(0) && !cacheLock_) {
    cacheLock_ = std::make_unique<CacheFileLock>();
    return cacheLock_->Lock();
  }
  if (word == "unlockcache" && numbers(0) && cacheLock_) {
    cacheLock_.reset();
    return true;
  }
  if (tap_ == nullptr) return false;
  if (word == "unload" && numbers(0)) {
    platform::CloseLibrary(module_);
    module_ = nullptr;
    tap_ = nullptr;
  } else if (word == "point" && numbers(2)) {
    tap_->SetPoint(a, b);
  } else if (word == "prepare" && numbers(2)) {
    tap_->PreparePoint(a, b);
  } else if (word == "param" && op.size() == 4 && ToInt(op[1], a) && ToInt(op[3], b)) {
    tap_->SetPointParam(a, op[2].c_str(), b);
  } else if (word == "record" && numbers(0)) {
    tap_->RecordPoint();
    ++added_;
  } else if (word == "submit" && numbers(0)) {
    tap_->SubmitCache();
  } else if (word == "prepsubmit" && numbers(0)) {
    tap_->PrepareAndSubmitCache();
  } else if (word == "now" && numbers(0)) {
    tap_->ReportPointNow();
  } else if (word == "submitnow" && numbers(0)) {
    tap_->SubmitCacheNow();
  } else {
    return false;
  }
  return true;
}

bool HostSession::WaitForEvents(std::int32_t expected) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs_);
  for (;;) {
    const std::int32_t added = CountCachedEvents() - baseline_;
    if (added >= expected) return true;
    if (std::chrono::steady_clock::now() >= deadline) {
      err_ << "orinhost: " << added << " of " << expected
           << " events cached before the time-out (is the module initialised?)\n";
      return false;
    }
    platform::SleepMs(20);
  }
}

std::int32_t HostSession::CountCachedEvents() const {
  std::string bytes;
  if (!ReadFile(cachePath_, bytes)) return 0;
  std::int32_t count = 0;
  for (const ScannedRecord& r : ScanCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()))) {
    if (r.status == RecordStatus::kOk) ++count;
  }
  return count;
}

void HostSession::PrintCache() {
  std::string bytes;
  ReadFile(cachePath_, bytes);
  const auto records = ScanCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  out_ << "cache holds " << records.size() << " record(s):\n";
  for (const ScannedRecord& r : records) {
    if (r.status != RecordStatus::kOk) {
      out_ << "  (record at " << r.offset << ": " << RecordStatusName(r.status) << ")\n";
      continue;
    }
    std::string line = r.text;
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    out_ << "  " << line << '\n';
  }
}

}  // namespace orin::orinhost
