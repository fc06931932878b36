// A host built against the installed package alone: the one header, linked to the module.
#include <orinpoint/IEventTap.h>

int main() {
  IEventTap* tap = GetOrinPointObj();
  if (tap == nullptr || tap != GetOrinPointObj()) return 1;
  tap->SetPoint(1, 2);
  tap->RecordPoint();
  tap->SubmitCacheNow();  // returns once the module has started up
  return 0;
}
