#pragma once

#include <cstddef>
#include <string_view>

#include "config/xml_node.h"
#include "config/xml_text.h"

namespace zolt {

/// An XML file as a tree in memory. Nothing here throws: memory comes straight from the system's heap, and an
/// item that there is no memory for is left out of the tree.
class XmlDocument {
 public:
  /// Shorter files do not load: the encoding is guessed from this many bytes.
  static constexpr size_t kSmallestFile = 200;
  static constexpr size_t kLongestFileName = 255;

  /// Reads and parses a file, and sets the process-wide encoding by it. True if a tree stands, whatever is in
  /// it. The path of the file that is loaded already gives its tree again without reading. On failure the
  /// object is empty, but a path that is too long leaves it as it was.
  bool LoadConfig(const char* path);

  /// The same for a file's content in memory; the object has no file name then.
  bool LoadBytes(const char* bytes, size_t size);

  /// Of the last parse: kXmlOk to kNoElement stand beside a tree. kXmlOk without a tree: the file is shorter
  /// than kSmallestFile, or reading it broke off.
  XmlError error() const { return error_; }

  /// The tree, or the empty node: its outermost node has no place in paths.
  const XmlNodeRef& root() const { return root_; }
  XmlNodeRef FindPath(const char* path) const { return zolt::FindPath(root_, path); }
  /// The first run of text of the node at `path`, or null; valid as long as this object's tree.
  const char* FindText(const char* path) const { return GetText(FindPath(path), 0); }

 private:
  XmlNodeRef ParseFile(const char* path);

  XmlNodeRef root_;
  XmlError error_ = kXmlOk;
  char file_name_[kLongestFileName + 1] = {};
};

}  // namespace zolt
