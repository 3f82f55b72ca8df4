#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zolt {

/// Lower-case extension without its dot: "PNG" and "png" are one. Empty if there is none.
std::string ExtensionOf(const std::string& path);

/// Writes a file whole or not at all: beside it under a temporary name first, then moved into place.
/// ToolError (file) if that fails; what was at `path` before is then still there.
void WriteWhole(const std::string& path, const std::vector<uint8_t>& bytes);
void WriteWhole(const std::string& path, const std::string& text);

/// ToolError (file) unless the folder that `path` lies in is there: said before work whose result goes there.
void CheckFolderOf(const std::string& path);

/// All bytes of a regular file; ToolError (file).
std::vector<uint8_t> ReadWhole(const std::string& path);

}  // namespace zolt
