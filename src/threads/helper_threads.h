#pragma once

#include <cstdint>

#include "threads/fork_join.h"

namespace zolt {

/// Runs routine(argument, i), i = 0..count-1, on `count` new short-lived threads (at most 8) named "EIS
/// thread" and waits for them; what the routine returns is not looked at. 0, or -1 with "Thread Create
/// Failed!" in the log when a thread could not be started: those before it have then run to their end, those
/// behind it never start.
int32_t RunHelperThreads(ForkRoutine routine, void* argument, int32_t count);

}  // namespace zolt
