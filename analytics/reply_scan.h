#pragma once
#include <cstdint>
#include <string>

// The textual readers of server replies. Pure functions of their input; thread-safe.

namespace orin {

// 36 characters of which four are hyphens (met scanning from the start); where the hyphens sit
// and what the other characters are is not examined.
bool IsUuidText(const char* text, std::int32_t length);

// Both replies' values end up as INI values: one holding a line break, a NUL or a "[" could
// forge lines or sections of usercfg.ini, so such a value is no usable answer.
bool IsSingleIniValue(const std::string& text);

// The id after "\"dev_id\":\"" up to the next quote (or the end), when it has the UUID shape
// and is a single INI value: id := "dev_id_" + that text. False leaves id untouched.
bool ScanDeviceIdReply(const std::string& body, std::string& id);

// The text after "\"vid\":" between the next two quotes; with one quote everything after it,
// with none everything after the colon. False (vid untouched) without the marker or when that
// text is no single INI value.
bool ScanVidReply(const std::string& reply, std::string& vid);

}  // namespace orin
