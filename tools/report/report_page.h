#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "compare/quality.h"

namespace zolt {

/// A picture as the page holds it: inside its own text.
struct PageImage {
  std::string uri;  // data:image/...;base64,...
  int width = 0;
  int height = 0;
  std::string caption;
};

struct PageCrop {
  std::string name;   // "Finest detail"
  std::string place;  // where in the frame
  std::vector<PageImage> images;
};

/// One row of the time table, in milliseconds.
struct PageTime {
  std::string name;
  double align, ghost, merge, finish, rest;
  double total() const { return align + ghost + merge + finish + rest; }
};

using PageRow = std::vector<std::string>;
using PageRows = std::vector<std::pair<std::string, std::string>>;

/// All that a report shows. Text is plain: the page escapes it.
struct ReportPage {
  std::string title, subtitle, scale_note, difference_note;
  PageImage before, after;
  std::optional<Quality> first_frame, result;  // both, or none if the truth isn't known
  std::vector<PageCrop> crops;
  std::vector<PageImage> differences, maps;
  std::vector<PageRow> frames;  // file, use, shift, sharpness, brightness, share that moved
  std::vector<PageTime> timing;
  PageRows facts, settings, tuning;
};

/// Text with what HTML would take for its own replaced, fit for elements and quoted attributes. Bytes that
/// are no UTF-8, as in a file name, become replacement characters.
std::string EscapedHtml(const std::string& text);

/// One HTML page that needs no other file.
std::string RenderPage(const ReportPage& page);

}  // namespace zolt
