#include "analytics/CQuillAnalyze.h"

namespace orin {

// The virtual-id exchange arrives with the HTTP client; until then none of it runs.
bool CQuillAnalyze::EnsureVirtualId() { return false; }
bool CQuillAnalyze::RequestVirtualId(std::string& /*vid*/) { return false; }
bool CQuillAnalyze::PostJson(const char* /*body*/) { return false; }
bool CQuillAnalyze::BuildBindBody(std::string /*vid*/, std::string& /*out*/) { return false; }
bool CQuillAnalyze::RebindVirtualId() { return false; }

}  // namespace orin
