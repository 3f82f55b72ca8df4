#include "support/session_driver.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/test_hooks.h"

namespace zolt::test {
namespace {

/// Nested elements for a path like "A/B/c".
std::string Element(const std::string& path, const std::string& value) {
  const size_t slash = path.find('/');
  const std::string name = path.substr(0, slash);
  const std::string inside = slash == std::string::npos ? value : Element(path.substr(slash + 1), value);
  return "<" + name + ">" + inside + "</" + name + ">\n";
}

/// Keys of one section must share its element: the first one wins in a search by path.
std::string Sections(const std::map<std::string, std::string>& keys) {
  std::map<std::string, std::map<std::string, std::string>> sections;
  std::string text;
  for (const auto& [path, value] : keys) {
    const size_t slash = path.find('/');
    if (slash == std::string::npos) {
      text += Element(path, value);
    } else {
      sections[path.substr(0, slash)][path.substr(slash + 1)] = value;
    }
  }
  for (const auto& [name, inside] : sections)
    text += "<" + name + ">\n" + Sections(inside) + "</" + name + ">\n";
  return text;
}

}  // namespace

TuningFolder::TuningFolder(const std::map<std::string, std::string>& keys) {
  char name[] = "/tmp/zolt_tuning_XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = std::string(name) + "/";
  // Files under 200 bytes don't load.
  std::ofstream(path_ + "multiframe.xml") << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Config>\n"
                                          << Sections(keys) << "</Config>\n"
                                          << std::string(200, ' ') << "\n";
}

TuningFolder::~TuningFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

SessionDriver::SessionDriver(int w, int h, uint32_t layout, const std::map<std::string, std::string>& keys)
    : width(w),
      height(h),
      format(layout),
      result(static_cast<size_t>(w) * static_cast<size_t>(h) * 3 / 2, 0x5A) {
  std::map<std::string, std::string> all_keys = keys;
  all_keys.try_emplace("Global/ExposureFusionFlag", "0");
  const TuningFolder folder(all_keys);
  const MfAllocHooks hooks = TestHooks::Hooks();
  if (zolt_mfInitialize(&session, folder.path().c_str(), &hooks) != ZOLT_MF_OK) {
    throw std::runtime_error("no session");
  }
}

SessionDriver::~SessionDriver() {
  End();
}

int32_t SessionDriver::Frame(const std::vector<uint8_t>& src, int32_t tag, int32_t total) {
  return zolt_mfNoiseReduction(session, src.data(), result.data(), height, width, tag, total, format, iso,
                               extra);
}

int32_t SessionDriver::End() {
  const int32_t status = zolt_mfUnInitialize(session);
  session = nullptr;
  return status;
}

std::vector<uint8_t> FlatFrame(int w, int h, uint32_t format, uint8_t y, uint8_t u, uint8_t v) {
  const size_t luma = static_cast<size_t>(w) * static_cast<size_t>(h);
  std::vector<uint8_t> bytes(luma * 3 / 2, y);
  for (size_t i = 0; i < luma / 4; ++i) {
    const bool u_first = format == ZOLT_MF_FORMAT_NV12;
    bytes[format == ZOLT_MF_FORMAT_I420 ? luma + i : luma + 2 * i + (u_first ? 0 : 1)] = u;
    bytes[format == ZOLT_MF_FORMAT_I420 ? luma + luma / 4 + i : luma + 2 * i + (u_first ? 1 : 0)] = v;
  }
  return bytes;
}

}  // namespace zolt::test
