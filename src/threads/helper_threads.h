#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "threads/fork_join.h"

namespace zolt {

/// Runs routine(argument, i), i = 0..count-1, on `count` new short-lived threads named "EIS thread" and waits
/// for them; what the routine returns is not looked at. 0, or -1: with "Thread Create Failed!" in the log
/// when a thread could not be started (those before it have then run to their end, those behind it never
/// start), with "Buffer malloc Failed!" when the system has no memory for the threads' records (none starts).
int32_t RunHelperThreads(ForkRoutine routine, void* argument, int32_t count);

/// Where the records come from: malloc, unless a test refuses them.
extern std::atomic<void* (*)(size_t)> helper_records_malloc;

}  // namespace zolt
