#include "platform/guid.h"

#include <cstring>

#include <windows.h>
#include <objbase.h>

namespace orin::platform {

bool CreateGuid(Guid* out) {
  if (out == nullptr) return false;
  GUID g;
  if (FAILED(CoCreateGuid(&g))) return false;
  out->data1 = g.Data1;
  out->data2 = g.Data2;
  out->data3 = g.Data3;
  std::memcpy(out->data4, g.Data4, sizeof out->data4);
  return true;
}

}  // namespace orin::platform
