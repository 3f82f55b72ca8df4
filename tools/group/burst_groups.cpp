#include "group/burst_groups.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/file_io.h"
#include "media/input_list.h"

namespace zolt {
namespace {

constexpr size_t kMostInGroup = 10;
// Cameras round what they tell: a third of a stop is their finest step.
constexpr double kSameExposure = 0.2;

// Light that reaches the pixels, in stops; 0 where nothing is told.
double Stops(const ShotFacts& shot) {
  const double f = shot.f_number.value_or(1);
  return std::log2(shot.exposure.value_or(1) * shot.iso.value_or(1) / (f * f));
}

bool ExposedAlike(const GroupedFile& a, const GroupedFile& b) {
  return std::abs(Stops(a.shot) - Stops(b.shot)) < kSameExposure;
}

bool Follows(const GroupedFile& a, const GroupedFile& b, double gap) {
  const double between =
      static_cast<double>(*b.shot.time_us - *a.shot.time_us) / 1e6 - a.shot.exposure.value_or(0);
  return a.shot.camera == b.shot.camera && ExtensionOf(a.path) == ExtensionOf(b.path) && a.width == b.width &&
         a.height == b.height && between <= gap;
}

void AddParts(const std::vector<GroupedFile>& run, bool brighter_last, std::vector<BurstGroup>* groups) {
  const size_t parts = (run.size() + kMostInGroup - 1) / kMostInGroup;
  for (size_t i = 0; i < parts; ++i) {
    const auto begin = run.begin() + static_cast<ptrdiff_t>(run.size() * i / parts);
    const auto end = run.begin() + static_cast<ptrdiff_t>(run.size() * (i + 1) / parts);
    if (end - begin >= 2) groups->push_back({{begin, end}, brighter_last && i + 1 == parts});
  }
}

}  // namespace

std::vector<BurstGroup> BurstGroupsAmong(std::vector<GroupedFile> files, double gap) {
  std::sort(files.begin(), files.end(), [](const GroupedFile& a, const GroupedFile& b) {
    const auto kind = [](const GroupedFile& f) { return std::pair(f.shot.camera, ExtensionOf(f.path)); };
    if (kind(a) != kind(b)) return kind(a) < kind(b);
    if (a.shot.time_us != b.shot.time_us) return *a.shot.time_us < *b.shot.time_us;
    return NameBefore(a.path, b.path);
  });
  std::vector<BurstGroup> groups;
  for (size_t at = 0; at < files.size();) {
    size_t end = at + 1;
    while (end < files.size() && Follows(files[end - 1], files[end], gap) &&
           ExposedAlike(files[at], files[end]))
      ++end;
    // A brighter frame closes the burst, unless it begins one of its own.
    bool brighter_last = false;
    if (end < files.size() && Follows(files[end - 1], files[end], gap) &&
        Stops(files[end].shot) > Stops(files[at].shot)) {
      const bool begins = end + 1 < files.size() && Follows(files[end], files[end + 1], gap) &&
                          ExposedAlike(files[end], files[end + 1]);
      if (!begins) {
        brighter_last = true;
        ++end;
      }
    }
    AddParts({files.begin() + static_cast<ptrdiff_t>(at), files.begin() + static_cast<ptrdiff_t>(end)},
             brighter_last, &groups);
    at = end;
  }
  std::sort(groups.begin(), groups.end(), [](const BurstGroup& a, const BurstGroup& b) {
    return std::pair(*a.files[0].shot.time_us, a.files[0].path) <
           std::pair(*b.files[0].shot.time_us, b.files[0].path);
  });
  return groups;
}

}  // namespace zolt
