#pragma once

// Set once by AbortRequestsForExit, never cleared; both backends read it.

namespace orin::net {

bool RequestsAbortedForExit();

}  // namespace orin::net
