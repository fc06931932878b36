// The host that loads the module at run time, as the product does: by name from its own folder.
#include "host_run.h"

extern "C" void HostEntry() {
  void* module = LoadLibraryW(L"orinpoint.dll");
  if (module == nullptr) msvc_host::Fail("orinpoint.dll did not load");
  auto get = reinterpret_cast<GetOrinPointObjFn>(GetProcAddress(module, "GetOrinPointObj"));
  if (get == nullptr) msvc_host::Fail("orinpoint.dll exports no GetOrinPointObj");
  msvc_host::Run(get);
}
