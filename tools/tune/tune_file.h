#pragma once

#include <array>
#include <string>

#include "burst/tuning.h"
#include "config/configuration.h"

namespace zolt {

/// What the comments of a tuning file tell beside the meaning of each key.
struct TuneFileNotes {
  std::string head;                            // how the file came about
  std::array<std::string, kIsoBands> bands{};  // where a band's values come from and what they reach
};

/// The values of a tuning file as the library reads it. ToolError (file) if it doesn't load.
MfConfig ReadTuneFile(const std::string& path);

/// Of multiframe.xml in `folder`, or the built-in ones of `kind` if that is empty.
MfConfig ReadTuning(const std::string& folder, TuningKind kind);

/// A whole multiframe.xml: the declaration first, every key with its meaning.
std::string TuneFileText(const MfConfig& config, const TuneFileNotes& notes);

}  // namespace zolt
