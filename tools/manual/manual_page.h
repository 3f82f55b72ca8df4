#pragma once

#include <string>

#include "manual/outline.h"

namespace zolt {

/// The page for man(1), as roff.
std::string ManualPage(const ProgramOutline& outline);

}  // namespace zolt
