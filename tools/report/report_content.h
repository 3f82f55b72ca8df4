#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "denoise/denoise_options.h"
#include "report/report_page.h"

namespace zolt {

struct ReportSettings {
  DenoiseOptions denoise;
  std::string truth;                       // picture without noise; empty: the burst folder's own
  std::vector<std::pair<int, int>> crops;  // upper left pixels; empty: where there is most to see
  int width = 1600;                        // whole pictures are scaled down to this
};

/// Takes the burst through the library and gathers what the page shows. ToolError as PrepareBurst and
/// DenoiseBurst, and for a truth or crops that don't fit the frames.
ReportPage MakeReport(const ReportSettings& settings);

}  // namespace zolt
