#pragma once

#include <ostream>

namespace zolt {

/// The whole program: parses, runs, prints errors to `err`, returns the exit code (common/errors.h).
int RunZoltBurst(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace zolt
