#pragma once

// Where the engine and its helper talk to. The host names come from the build (vendor builds set
// the real ones; the default build points at a reserved domain).

namespace orin {

inline constexpr const char* kPrimaryCollectHost = ORIN_PRIMARY_HOST;
inline constexpr const char* kSecondaryCollectHost = ORIN_SECONDARY_HOST;
inline constexpr const char* kTrackingHost = ORIN_TRACKING_HOST;

inline constexpr const char* kCollectPath = "/api/v2/soft/collect";
inline constexpr const char* kVidPath = "/api/v2/soft/vid";
inline constexpr const char* kDeviceIdPath = "/api/tracking/devid";

}  // namespace orin
