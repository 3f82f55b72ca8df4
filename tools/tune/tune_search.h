#pragma once

#include <functional>
#include <vector>

#include "tune/tune_keys.h"

namespace zolt {

struct SearchPlan {
  std::vector<TuneKey> keys;
  std::vector<int> start;
  double first_step = 0.15;  // of each key's range
  int evaluations = 100;     // different points that are looked at, at most
};

struct SearchEnd {
  std::vector<int> best;
  double value = 0;
  bool stopped = false;  // before it was through
};

/// Looks for the point where `value_at` is highest, near the start, without derivatives: subspace simplex
/// searches, each from the best point so far and with half the step of the one before. Deterministic: the
/// same values lead along the same points. Asks `stopped` before each new point.
SearchEnd FindHighest(const SearchPlan& plan, const std::function<double(const std::vector<int>&)>& value_at,
                      const std::function<bool()>& stopped);

}  // namespace zolt
