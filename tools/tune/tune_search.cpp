#include "tune/tune_search.h"

#include <exception>
#include <map>
#include <nlopt.hpp>

namespace zolt {
namespace {

constexpr double kSmallestStep = 0.02;
// The search moves in fractions, and many of its points round to one that is known.
constexpr int kCallsPerPoint = 25;

class Search {
 public:
  Search(const SearchPlan& plan, const std::function<double(const std::vector<int>&)>& value_at,
         const std::function<bool()>& stopped)
      : plan_(plan), value_at_(value_at), stopped_(stopped) {}

  SearchEnd Run() {
    end_.best = plan_.start;
    if (Look(plan_.start)) {
      for (double step = plan_.first_step; step >= kSmallestStep && !over_; step /= 2) Descend(step);
    }
    if (failure_) std::rethrow_exception(failure_);
    return end_;
  }

 private:
  // False when the search has to end; the value is then in nobody's hands.
  bool Look(const std::vector<int>& point, double* value = nullptr) {
    auto known = known_.find(point);
    if (known == known_.end()) {
      end_.stopped = stopped_();
      over_ = end_.stopped || static_cast<int>(known_.size()) >= plan_.evaluations;
      if (over_) return false;
      try {
        known = known_.emplace(point, value_at_(point)).first;
      } catch (...) {
        // Kept here: NLopt passes on no foreign exception.
        failure_ = std::current_exception();
        over_ = true;
        return false;
      }
      if (known_.size() == 1 || known->second > end_.value) {
        end_.best = point;
        end_.value = known->second;
      }
    }
    if (value) *value = known->second;
    return true;
  }

  static double AskedByNlopt(const std::vector<double>& places, std::vector<double>&, void* self) {
    auto* search = static_cast<Search*>(self);
    std::vector<int> point;
    for (size_t i = 0; i < places.size(); ++i) point.push_back(search->plan_.keys[i].Value(places[i]));
    double value = 0;
    if (!search->Look(point, &value)) throw nlopt::forced_stop();
    return value;
  }

  void Descend(double step) {
    nlopt::opt opt(nlopt::LN_SBPLX, static_cast<unsigned>(plan_.keys.size()));
    opt.set_lower_bounds(0.0);
    opt.set_upper_bounds(1.0);
    opt.set_initial_step(step);
    opt.set_xtol_abs(step / 30);
    opt.set_maxeval(kCallsPerPoint * plan_.evaluations);
    opt.set_max_objective(&AskedByNlopt, this);
    std::vector<double> places;
    for (size_t i = 0; i < plan_.keys.size(); ++i) places.push_back(plan_.keys[i].Place(end_.best[i]));
    double ignored = 0;
    try {
      opt.optimize(places, ignored);
    } catch (const nlopt::forced_stop&) {
    } catch (const nlopt::roundoff_limited&) {
    }
  }

  const SearchPlan& plan_;
  const std::function<double(const std::vector<int>&)>& value_at_;
  const std::function<bool()>& stopped_;
  std::map<std::vector<int>, double> known_;
  SearchEnd end_;
  bool over_ = false;
  std::exception_ptr failure_;
};

}  // namespace

SearchEnd FindHighest(const SearchPlan& plan, const std::function<double(const std::vector<int>&)>& value_at,
                      const std::function<bool()>& stopped) {
  return Search(plan, value_at, stopped).Run();
}

}  // namespace zolt
