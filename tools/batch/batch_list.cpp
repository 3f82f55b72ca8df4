#include "batch/batch_list.h"

#include <wordexp.h>

namespace zolt {
namespace {

const char* FaultText(int code) {
  switch (code) {
    case WRDE_BADCHAR:
      return "has one of | & ; < > ( ) { } outside of quotes";
    case WRDE_BADVAL:
      return "names a variable that is not set; put '$' in single quotes if it is none";
    case WRDE_CMDSUB:
      return "has a command in it, which is not run; put '$(' and '`' in single quotes";
    case WRDE_SYNTAX:
      return "has a quote without its end";
    default:
      return "is too long";
  }
}

void TakeApart(const std::string& text, BatchJob* job) {
  wordexp_t words = {};
  const int code = wordexp(text.c_str(), &words, WRDE_NOCMD | WRDE_UNDEF);
  if (code == 0) {
    job->arguments.assign(words.we_wordv, words.we_wordv + words.we_wordc);
  } else {
    job->arguments = {text};
    job->fault = std::string("the line ") + FaultText(code);
  }
  // Of the codes of failure only this one leaves something to free.
  if (code == 0 || code == WRDE_NOSPACE) wordfree(&words);
}

}  // namespace

std::vector<BatchJob> ReadBatchList(std::istream& list) {
  std::vector<BatchJob> jobs;
  std::string text;
  for (int line = 1; std::getline(list, text); ++line) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos || text[first] == '#') continue;
    jobs.push_back({line, {}, ""});
    TakeApart(text, &jobs.back());
  }
  return jobs;
}

}  // namespace zolt
