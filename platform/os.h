#pragma once
// Compile-time facts about the target OS. The only place outside the backends that may look at
// the target macro, so that portable code branches on constants instead of the preprocessor.

namespace orin::platform {

#ifdef _WIN32
inline constexpr bool kIsWindows = true;
inline constexpr char kPathSep = '\\';
#else
inline constexpr bool kIsWindows = false;
inline constexpr char kPathSep = '/';
#endif


}  // namespace orin::platform
