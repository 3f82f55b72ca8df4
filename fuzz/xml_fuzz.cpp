// Any bytes as a tuning file: they load or they don't, every key gets a value, and nothing is read outside
// them.
#include <cstdint>
#include <cstdlib>

#include "config/configuration.h"
#include "config/xml_document.h"
#include "config/xml_encoding.h"
#include "config/xml_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  zolt::XmlDocument document;
  const bool loaded = document.LoadBytes(bytes, size);
  if (loaded != static_cast<bool>(document.root())) std::abort();
  zolt::MfConfig config;
  zolt::FillConfig(&config, document);
  zolt::GuessXmlEncoding(bytes, size, size % 2 == 0);
  // Short inputs, in each encoding: the file's rules would keep most of them from the parser.
  const int encoding = size > 0 ? 1 + data[0] % 6 : 1;
  zolt::SetXmlEncoding(static_cast<zolt::XmlEncoding>(encoding));
  char text[200] = {};
  for (size_t i = 1; i < size && i < sizeof(text); ++i) text[i - 1] = bytes[i];
  zolt::XmlError error = zolt::kXmlOk;
  const zolt::XmlNodeRef root = zolt::ParseString(text, &error);
  if (static_cast<bool>(root) != (error <= zolt::kNoElement)) std::abort();
  zolt::SetXmlEncoding(zolt::kUtf8);
  return 0;
}
