#pragma once

#include <string>
#include <vector>

namespace zolt {

/// The numbers, from 1, of a TIFF's full-size pages in order, at most 1000; empty if the file is no TIFF or
/// has but one. Reduced copies of a page are none. Tables that lead back to themselves end the list.
/// ToolError (file) for tiles and JPEG, which FFmpeg takes for a black picture without a word.
std::vector<int> TiffPages(const std::string& path);

}  // namespace zolt
