#pragma once
#include <cstdint>

// The two answers the module needs from the host's companion library "Comn.dll", loaded at run
// time from the host executable's folder. Where it cannot be loaded (always on POSIX, where the
// host has no such library) the answers are the defaults below.

namespace orin {

// The host flag: the eighth operation of the GetObjectSys object; false without the object.
bool QueryHostFlag();
// The host's language id: the third operation of the GetObjectLang object; 1 without it.
std::int32_t QueryHostLanguageId();

}  // namespace orin
