#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "program.h"
#include "tools/support/tool_folder.h"

namespace zolt {

/// Runs the program's subcommands inside the test.
class ToolProgram : public ToolFolder {
 protected:
  int Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "zolt-burst");
    std::vector<const char*> argv;
    for (const std::string& a : arguments) argv.push_back(a.c_str());
    std::ostringstream out, err;
    const int code = RunZoltBurst(static_cast<int>(argv.size()), argv.data(), out, err);
    out_ = out.str();
    err_ = err.str();
    return code;
  }

  // A small burst in burst/, at a sensitivity where each frame is clearly noisy.
  void Simulate(std::vector<std::string> more = {}, const std::string& frames = "4") {
    std::vector<std::string> arguments = {"simulate", "-o",   Path("burst"), "--crop", "264x200",
                                          "--frames", frames, "--iso",       "3200"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    ASSERT_EQ(Run(arguments), kExitDone) << err_;
  }

  std::string out_, err_;
};

}  // namespace zolt
