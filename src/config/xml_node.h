#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace zolt {

/// A vector that reports a refused allocation instead of throwing. Elements are default-constructed.
template <typename T>
class NothrowArray {
 public:
  size_t size() const { return size_; }
  T& operator[](size_t i) { return data_[i]; }
  const T& operator[](size_t i) const { return data_[i]; }
  T& back() { return data_[size_ - 1]; }
  void PopBack() { data_[--size_] = T(); }

  /// Makes room for `more` elements behind those that are there.
  bool Reserve(size_t more) {
    if (more <= capacity_ - size_) return true;
    const size_t wanted = std::max(size_ + more, 2 * capacity_);
    std::unique_ptr<T[]> grown(new (std::nothrow) T[wanted]());
    if (grown == nullptr) return false;
    std::move(data_.get(), data_.get() + size_, grown.get());
    data_ = std::move(grown);
    capacity_ = wanted;
    return true;
  }
  void AppendReserved(T value) { data_[size_++] = std::move(value); }

 private:
  std::unique_ptr<T[]> data_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

/// A zero-terminated string that may be absent. What is appended behind a zero byte is lost, up to the next
/// Reserve: no reader would see it.
class XmlString {
 public:
  const char* c_str() const {
    return bytes_.size() == 0 ? nullptr : &bytes_[0];
  }  ///< null while nothing is stored
  std::string_view view() const {
    return bytes_.size() == 0 ? std::string_view() : std::string_view(&bytes_[0], bytes_.size() - 1);
  }
  bool Reserve(size_t more) {
    if (!bytes_.Reserve(more + 1)) return false;
    if (bytes_.size() == 0) bytes_.AppendReserved(0);
    ended_ = false;
    return true;
  }
  void AppendReserved(std::string_view text) {
    if (ended_) return;
    for (const char c : text) {
      ended_ = c == 0;
      if (ended_) return;
      bytes_.back() = c;
      bytes_.AppendReserved(0);
    }
  }
  bool Assign(std::string_view text) {
    *this = XmlString();
    if (!Reserve(text.size())) return false;
    AppendReserved(text);
    return true;
  }

 private:
  NothrowArray<char> bytes_;
  bool ended_ = false;
};

struct XmlNode;

/// Counted handle of a node, or the empty node. Copies share the node, which goes with its last handle. The
/// count is plain: trees stay on one thread.
class XmlNodeRef {
 public:
  XmlNodeRef() = default;
  XmlNodeRef(const XmlNodeRef& other);
  XmlNodeRef(XmlNodeRef&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  XmlNodeRef& operator=(XmlNodeRef other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }
  ~XmlNodeRef();
  static XmlNodeRef New();  ///< the empty node if memory is refused

  explicit operator bool() const { return node_ != nullptr; }
  XmlNode* operator->() const { return node_; }
  XmlNode* get() const { return node_; }

 private:
  XmlNode* node_ = nullptr;
};

struct XmlAttribute {
  XmlString name;
  XmlString value;  ///< absent for a bare name
};

/// A section that is kept as it is: a comment, CDATA, DOCTYPE or preformatted text.
struct XmlClear {
  XmlString value;
  const char* openTag = nullptr;
  const char* closeTag = nullptr;
};

enum class XmlContent : uint8_t { kChild, kText = 2, kClear };

/// One element, with its content sorted by kind; `order` tells in which order the kinds appeared.
struct XmlNode {
  XmlString name;  ///< absent for the wrapper around a document
  bool isDeclaration = false;
  NothrowArray<XmlNodeRef> children;
  NothrowArray<XmlString> texts;
  NothrowArray<XmlClear> clears;
  NothrowArray<XmlAttribute> attributes;
  NothrowArray<XmlContent> order;
  int32_t refCount = 0;

  /// Each takes one item in, or drops it if memory is refused. AddChild returns null then.
  XmlNode* AddChild(std::string_view child_name, bool declaration);
  void AddText(XmlString text);
  void AddClear(std::string_view value, const char* open_tag, const char* close_tag);
  void AddAttribute(std::string_view attribute_name, XmlString value);
};

/// The next child of that name (whole, without regard to case) from `*index` on, which moves behind it; from
/// the first one if `index` is null. The empty node if there is none.
XmlNodeRef GetChild(const XmlNodeRef& node, std::string_view name, size_t* index = nullptr);

/// The index-th run of text directly in the node, or null.
const char* GetText(const XmlNodeRef& node, size_t index);

/// The node at "/a/b/c": first child named a, its first child named b, ... The empty node if a part is
/// missing, the path doesn't begin with "/" or has more than 256 characters.
XmlNodeRef FindPath(const XmlNodeRef& node, std::string_view path);

}  // namespace zolt
