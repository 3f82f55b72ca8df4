#pragma once

#include <string>
#include <utility>

namespace zolt {

/// "1920x1080" as width and height, each 1 to 65535; ToolError (usage) that names `option` for anything else.
std::pair<int, int> ParseSize(const std::string& text, const std::string& option);

}  // namespace zolt
