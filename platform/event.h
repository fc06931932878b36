#pragma once
#include <cstdint>

namespace orin::platform {

// An unnamed auto-reset event (CreateEventW(NULL, FALSE, FALSE, NULL)): a Signal wakes one
// waiter, or the next Wait if nobody waits yet; several Signals before a Wait count as one.
// Any thread may signal or wait. The creator owns the handle; nothing here destroys it, since
// the module keeps its events until the process ends.
using EventHandle = void*;

// nullptr when the event could not be made.
EventHandle CreateAutoResetEvent();
void SignalEvent(EventHandle event);
// Waits without time-out; false only for a null handle or a failed wait.
bool WaitEvent(EventHandle event);

}  // namespace orin::platform
