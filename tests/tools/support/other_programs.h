#pragma once

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

namespace zolt {

/// Whether the shell finds the program.
inline bool HasProgram(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

/// What a shell command prints; what it complains about goes with it.
inline std::string Shell(const std::string& command) {
  std::string out;
  FILE* pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
  char block[4096];
  while (const size_t n = pipe ? std::fread(block, 1, sizeof block, pipe) : 0) out.append(block, n);
  if (pipe) pclose(pipe);
  return out;
}

/// A file's tags as exiftool tells them, in numbers where there are some.
inline nlohmann::json TagsOf(const std::string& path) {
  return nlohmann::json::parse(Shell("exiftool -n -json -struct '" + path + "'"), nullptr, false)[0];
}

}  // namespace zolt

/// Files of other programs are what these tests are about. scripts/test installs them.
#define NEEDS_PROGRAM(name) \
  if (!zolt::HasProgram(name)) GTEST_SKIP() << "needs " << name
