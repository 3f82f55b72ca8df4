#include "report/report_page.h"

#include <cmath>
#include <iomanip>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "report_page_text.h"

namespace zolt {
namespace {

std::string Fixed(double v, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << v;
  return text.str();
}

std::string Figure(const PageImage& image) {
  return "<figure><img src=\"" + image.uri + "\" width=\"" + std::to_string(image.width) + "\" height=\"" +
         std::to_string(image.height) + "\" alt=\"" + EscapedHtml(image.caption) + "\"><figcaption>" +
         EscapedHtml(image.caption) + "</figcaption></figure>\n";
}

std::string Figures(const std::vector<PageImage>& images) {
  std::string html;
  for (const PageImage& image : images) html += Figure(image);
  return html;
}

std::string Crops(const std::vector<PageCrop>& crops) {
  std::string html;
  for (const PageCrop& crop : crops) {
    html += "<h3>" + EscapedHtml(crop.name) + " <span class=\"place\">" + EscapedHtml(crop.place) +
            "</span></h3>\n<div class=\"row\">" + Figures(crop.images) + "</div>\n";
  }
  return html;
}

std::string Facts(const PageRows& rows) {
  std::string html;
  for (const auto& [name, value] : rows) {
    html += "<li><b>" + EscapedHtml(value) + "</b><span>" + EscapedHtml(name) + "</span></li>\n";
  }
  return html;
}

std::string Rows(const PageRows& rows) {
  std::string html;
  for (const auto& [name, value] : rows) {
    html += "<tr><td>" + EscapedHtml(name) + "</td><td>" + EscapedHtml(value) + "</td></tr>\n";
  }
  return html;
}

// Equal planes have no finite PSNR, tiny ones no SSIM.
std::string Measure(double v, int digits) {
  if (std::isnan(v)) return "&ndash;";
  return std::isinf(v) ? "&infin;" : Fixed(v, digits);
}

std::string Gain(double from, double to, int digits) {
  const double gain = to - from;
  if (!std::isfinite(gain)) return "<td>&ndash;</td>";
  const char* way = gain < 0 ? "down" : "up";
  return std::string("<td class=\"") + way + "\">" + (gain < 0 ? "&minus;" : "+") +
         Fixed(std::abs(gain), digits) + "</td>";
}

std::string QualityTable(const Quality& before, const Quality& after) {
  struct Row {
    const char* name;
    double Quality::*value;
    int digits;
  };
  const Row rows[] = {{"PSNR luma, dB", &Quality::psnr_luma, 2},
                      {"PSNR chroma, dB", &Quality::psnr_chroma, 2},
                      {"SSIM luma", &Quality::ssim_luma, 4},
                      {"SSIM chroma", &Quality::ssim_chroma, 4}};
  std::string html =
      "<h2 id=\"quality\">Against the truth</h2>\n<div class=\"scroll\"><table><thead><tr><th></th>"
      "<th>Reference</th><th>Result</th><th>Gain</th></tr></thead><tbody>\n";
  for (const Row& row : rows) {
    html += std::string("<tr><td>") + row.name + "</td><td>" + Measure(before.*row.value, row.digits) +
            "</td><td>" + Measure(after.*row.value, row.digits) + "</td>" +
            Gain(before.*row.value, after.*row.value, row.digits) + "</tr>\n";
  }
  return html + "</tbody></table></div>";
}

std::string Bar(const PageTime& t, double longest) {
  const std::pair<const char*, double> parts[] = {
      {"align", t.align}, {"ghost", t.ghost}, {"merge", t.merge}, {"finish", t.finish}, {"rest", t.rest}};
  std::string html = "<td><div class=\"bar\">";
  for (const auto& [stage, ms] : parts) {
    html +=
        std::string("<i class=\"") + stage + "\" style=\"width:" + Fixed(100 * ms / longest, 2) + "%\"></i>";
  }
  return html + "</div></td>";
}

std::string TimingCells(const PageTime& t) {
  std::string html = "<td>" + EscapedHtml(t.name) + "</td>";
  for (const double ms : {t.align, t.ghost, t.merge, t.finish, t.rest})
    html += "<td>" + (ms > 0 ? Fixed(ms, 1) : "&ndash;") + "</td>";
  return html + "<td>" + Fixed(t.total(), 1) + "</td>";
}

std::string Timing(const std::vector<PageTime>& rows) {
  PageTime sum = {"All", 0, 0, 0, 0, 0};
  double longest = 1e-9;
  for (const PageTime& t : rows) {
    longest = std::max(longest, t.total());
    sum.align += t.align;
    sum.ghost += t.ghost;
    sum.merge += t.merge;
    sum.finish += t.finish;
    sum.rest += t.rest;
  }
  std::string html;
  for (const PageTime& t : rows) html += "<tr>" + TimingCells(t) + Bar(t, longest) + "</tr>\n";
  return html + "<tr class=\"sum\">" + TimingCells(sum) + "<td></td></tr>\n";
}

std::string Frames(const std::vector<PageRow>& rows) {
  std::string html;
  for (size_t i = 0; i < rows.size(); ++i) {
    html += "<tr><td>" + std::to_string(i) + "</td>";
    for (const std::string& cell : rows[i])
      html += "<td>" + (cell.empty() ? "&ndash;" : EscapedHtml(cell)) + "</td>";
    html += "</tr>\n";
  }
  return html;
}

// One pass: what is put in is not searched for placeholders again.
std::string Filled(const std::string& text, const std::map<std::string, std::string>& values) {
  std::string html;
  size_t done = 0;
  for (size_t open = text.find("{{"); open != std::string::npos; open = text.find("{{", done)) {
    const size_t close = text.find("}}", open);
    html.append(text, done, open - done);
    html += values.at(text.substr(open + 2, close - open - 2));
    done = close + 2;
  }
  return html.append(text, done);
}

}  // namespace

std::string EscapedHtml(const std::string& text) {
  // The round trip through JSON mends broken UTF-8.
  const nlohmann::json as_json = text;
  const std::string dumped = as_json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::string html;
  for (const char c : nlohmann::json::parse(dumped).get<std::string>()) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

std::string RenderPage(const ReportPage& page) {
  const bool measured = page.first_frame && page.result;
  return Filled(kReportPageText,
                {
                    {"title", EscapedHtml(page.title)},
                    {"subtitle", EscapedHtml(page.subtitle)},
                    {"facts", Facts(page.facts)},
                    {"before", page.before.uri},
                    {"after", page.after.uri},
                    {"pair-width", std::to_string(page.before.width)},
                    {"pair-height", std::to_string(page.before.height)},
                    {"scale-note", EscapedHtml(page.scale_note)},
                    {"quality", measured ? QualityTable(*page.first_frame, *page.result) : ""},
                    {"crops", Crops(page.crops)},
                    {"difference-note", EscapedHtml(page.difference_note)},
                    {"differences", Figures(page.differences)},
                    {"maps", Figures(page.maps)},
                    {"frames", Frames(page.frames)},
                    {"timing", Timing(page.timing)},
                    {"settings", Rows(page.settings)},
                    {"tuning", Rows(page.tuning)},
                });
}

}  // namespace zolt
