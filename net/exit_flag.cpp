#include <atomic>

#include "net/exit_flag.h"
#include "net/http_client.h"

namespace orin::net {
namespace {

std::atomic<bool> aborted{false};

}  // namespace

bool RequestsAbortedForExit() { return aborted.load(std::memory_order_acquire); }

void AbortRequestsForExit() { aborted.store(true, std::memory_order_release); }

}  // namespace orin::net
