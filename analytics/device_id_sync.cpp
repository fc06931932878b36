#include "analytics/CQuillAnalyze.h"

namespace orin {

// The device-id exchange arrives with the HTTP client; until then the stored or local id is used.
void CQuillAnalyze::SyncDeviceId(const char* /*xid*/) {}

}  // namespace orin
