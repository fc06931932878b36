// The virtual-id URL splitter over arbitrary texts: a split always yields a host without "/"
// and a path that starts with one; otherwise the previous split stays.
#include <cstdint>
#include <string>

#include "analytics/CQuillAnalyze.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static orin::CQuillAnalyze engine;
  engine.ParseVidUrl("http://before/path");
  const std::string url(reinterpret_cast<const char*>(data), size);
  engine.ParseVidUrl(url);
  const std::string& host = engine.vidHost();
  const std::string& path = engine.vidPath();
  const bool hasScheme =
      url.find("https://") != std::string::npos || url.find("http://") != std::string::npos;
  if (!hasScheme && (host != "before" || path != "/path" || engine.isVidSecure())) __builtin_trap();
  if (engine.isVidSecure() && url.find("https://") == std::string::npos) __builtin_trap();
  if (host.find('/') != std::string::npos || path.empty() || path[0] != '/') __builtin_trap();
  return 0;
}
