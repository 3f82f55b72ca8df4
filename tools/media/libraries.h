#pragma once

#include <string>
#include <vector>

namespace zolt {

/// The libraries that read and write files, with the versions that run; those that the program was built
/// without are told as missing.
std::vector<std::string> MediaLibraries();

}  // namespace zolt
