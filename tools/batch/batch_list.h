#pragma once

#include <istream>
#include <string>
#include <vector>

namespace zolt {

/// One line of a batch list.
struct BatchJob {
  int line = 0;                        // counted from 1
  std::vector<std::string> arguments;  // of 'denoise'
  std::string fault;                   // why the line can't be taken apart; empty if it can
};

/// The lines of a list, without blank ones and those that begin with '#'. A line is taken apart as the shell
/// does it: quotes, backslashes, ~, $NAME and wildcards; but no command is run, and an unknown $NAME is a
/// fault.
std::vector<BatchJob> ReadBatchList(std::istream& list);

}  // namespace zolt
