#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "zolt_mfdenoise.h"

namespace zolt::test {

/// A folder of its own with a "multiframe.xml" that sets these keys ("Global/ExposureFusionFlag", below
/// "/Config/") and leaves the others at their defaults. Gone with the object.
class TuningFolder {
 public:
  explicit TuningFolder(const std::map<std::string, std::string>& keys = {});
  ~TuningFolder();
  TuningFolder(const TuningFolder&) = delete;
  TuningFolder& operator=(const TuningFolder&) = delete;
  const std::string& path() const { return path_; }  ///< with a slash at its end

 private:
  std::string path_;
};

/// A session with the buffers of its caller: frames go in, `result` is what the caller would hold. Calls use
/// the fields as they stand; the hooks are those of TestHooks. Exposure fusion is off unless `keys` say
/// otherwise.
struct SessionDriver {
  explicit SessionDriver(int w, int h, uint32_t layout = ZOLT_MF_FORMAT_I420,
                         const std::map<std::string, std::string>& keys = {});
  ~SessionDriver();
  SessionDriver(const SessionDriver&) = delete;
  SessionDriver& operator=(const SessionDriver&) = delete;

  int32_t Frame(const std::vector<uint8_t>& src, int32_t tag, int32_t total);
  int32_t End();  ///< zolt_mfUnInitialize, once

  MfSession* session = nullptr;
  int32_t width, height;
  uint32_t format;
  int32_t iso = 100;
  const MfFrameExtra* extra = nullptr;
  std::vector<uint8_t> result;
};

/// Bytes of a frame whose planes are these constants, in a layout.
std::vector<uint8_t> FlatFrame(int w, int h, uint32_t format, uint8_t y, uint8_t u, uint8_t v);

}  // namespace zolt::test
