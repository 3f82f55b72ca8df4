#pragma once

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <system_error>
#include <type_traits>

#include "burst/burst_run.h"
#include "burst/tuning.h"
#include "zolt_burst.h"

namespace zolt {

/// What every call of the C interface goes through.

/// The engine's hooks and threads are the process's, and its XML reader's encoding, so one call works at a
/// time.
std::mutex& Order();

/// Whatever a caller's record does not have, because it is older, keeps its default; what this library
/// doesn't know, because it is older, isn't looked at.
template <typename Record>
void ReadRecord(const Record* from, Record* to) {
  std::memcpy(to, from, std::min<size_t>(from->size, sizeof(Record)));
}

template <typename Record>
void WriteRecord(Record value, Record* to) {
  value.size = to->size;
  std::memcpy(to, &value, std::min<size_t>(to->size, sizeof(Record)));
}

template <typename Record>
Record* RecordAt(Record* first, int32_t index) {
  using Byte = std::conditional_t<std::is_const_v<Record>, const char, char>;
  return reinterpret_cast<Record*>(reinterpret_cast<Byte*>(first) + static_cast<size_t>(index) * first->size);
}

/// Options as a burst keeps them: checked, whole, with the tuning read.
struct Settings {
  zolt_burst_options options;
  Tunings tunings;

  int32_t Set(const zolt_burst_options* given);
};

/// ZOLT_BURST_OK, or why the picture can't be one of this size.
int32_t CheckLike(const zolt_burst_picture* picture, int32_t width, int32_t height);
int32_t CheckReports(const zolt_burst_report* report, const zolt_burst_frame_report* frame_reports);

/// Writes the reports that are not null.
void TellBurst(const BurstRun& run, zolt_burst_report* report, zolt_burst_frame_report* frame_reports,
               int32_t capacity);

/// No exception leaves the library.
template <typename Work>
int32_t Guarded(const Work& work) {
  try {
    return work();
  } catch (const BurstStopped& stopped) {
    return stopped.result;
  } catch (const std::system_error&) {
    return ZOLT_BURST_NO_THREADS;
  } catch (const std::exception&) {
    return ZOLT_BURST_NO_MEMORY;
  }
}

}  // namespace zolt
