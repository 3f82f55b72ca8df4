#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "denoise/denoise_options.h"
#include "denoise/denoise_run.h"

namespace zolt {

/// "luma 5.2, chroma 3.1 grey levels, as at ISO 1600 (band 5)", or what took the measure's place.
std::string NoiseText(const PreparedBurst& burst, const zolt_burst_report& report);

/// What was done, in a few lines.
std::string SummaryText(const std::string& output, const PreparedBurst& burst, const DenoiseResult& result);

/// All that is known of the run: docs/zolt-burst.md lists the fields.
nlohmann::ordered_json SummaryJson(const std::string& output, const PreparedBurst& burst,
                                   const DenoiseResult& result);

}  // namespace zolt
