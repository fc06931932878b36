#include "platform/posix/curl_library.h"

#include <cstdlib>

#include "platform/dynamic_library.h"

namespace orin::net {
namespace {

const char* LibraryName() {
  const char* name = std::getenv("ORIN_CURL_LIBRARY");
  return name != nullptr && *name != '\0' ? name : "libcurl.so.4";
}

template <typename Function>
bool Find(platform::LibraryHandle library, const char* name, Function& out) {
  out = reinterpret_cast<Function>(platform::LibrarySymbol(library, name));
  return out != nullptr;
}

const CurlLibrary* Load() {
  platform::LibraryHandle library = platform::OpenLibrary(LibraryName());
  if (library == nullptr) return nullptr;
  static CurlLibrary functions;
  bool found = true;
  // The OpenSSL functions are looked up through libcurl's handle, so they come from the very
  // OpenSSL that libcurl hands its contexts from.
#define ORIN_CURL_FIND(member, function) \
  found = Find(library, #function, functions.member) && found;
  ORIN_CURL_FUNCTIONS(ORIN_CURL_FIND)
#undef ORIN_CURL_FIND
  if (!found) {
    platform::CloseLibrary(library);  // nothing of it has run yet
    return nullptr;
  }
  // Kept for the process's life, like the exit handlers its set-up registers: requests may
  // still be under way while the process exits.
  return functions.global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK ? &functions : nullptr;
}

}  // namespace

const CurlLibrary* Curl() {
  static const CurlLibrary* const loaded = Load();
  return loaded;
}

}  // namespace orin::net
