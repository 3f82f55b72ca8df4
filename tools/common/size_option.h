#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace zolt {

/// "1920x1080" as width and height, each 1 to 65535; ToolError (usage) that names `option` for anything else.
std::pair<int, int> ParseSize(const std::string& text, const std::string& option);

/// "800M" as bytes: a whole number, 1 or more, with K, M or G for 1024, its square or its cube; ToolError
/// (usage) that names `option` for anything else.
uint64_t ParseBytes(const std::string& text, const std::string& option);

}  // namespace zolt
