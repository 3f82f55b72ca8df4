#include "config/xml_node.h"

#include "config/xml_text.h"

namespace zolt {

XmlNodeRef::XmlNodeRef(const XmlNodeRef& other) : node_(other.node_) {
  if (node_ != nullptr) ++node_->refCount;
}

XmlNodeRef::~XmlNodeRef() {
  if (node_ != nullptr && --node_->refCount == 0) delete node_;
}

XmlNodeRef XmlNodeRef::New() {
  XmlNodeRef ref;
  ref.node_ = new (std::nothrow) XmlNode();
  if (ref.node_ != nullptr) ref.node_->refCount = 1;
  return ref;
}

XmlNode* XmlNode::AddChild(std::string_view child_name, bool declaration) {
  XmlNodeRef child = XmlNodeRef::New();
  if (!child || !child->name.Assign(child_name) || !children.Reserve(1) || !order.Reserve(1)) return nullptr;
  child->isDeclaration = declaration;
  order.AppendReserved(XmlContent::kChild);
  children.AppendReserved(std::move(child));
  return children.back().get();
}

void XmlNode::AddText(XmlString text) {
  if (!texts.Reserve(1) || !order.Reserve(1)) return;
  order.AppendReserved(XmlContent::kText);
  texts.AppendReserved(std::move(text));
}

void XmlNode::AddClear(std::string_view value, const char* open_tag, const char* close_tag) {
  XmlClear clear;
  clear.openTag = open_tag;
  clear.closeTag = close_tag;
  if (!clear.value.Assign(value) || !clears.Reserve(1) || !order.Reserve(1)) return;
  order.AppendReserved(XmlContent::kClear);
  clears.AppendReserved(std::move(clear));
}

void XmlNode::AddAttribute(std::string_view attribute_name, XmlString value) {
  XmlAttribute attribute;
  attribute.value = std::move(value);
  if (!attribute.name.Assign(attribute_name) || !attributes.Reserve(1)) return;
  attributes.AppendReserved(std::move(attribute));
}

XmlNodeRef GetChild(const XmlNodeRef& node, std::string_view name, size_t* index) {
  if (!node) return {};
  for (size_t i = index != nullptr ? *index : 0; i < node->children.size(); ++i) {
    if (!EqualsNoCase(node->children[i]->name.view(), name)) continue;
    if (index != nullptr) *index = i + 1;
    return node->children[i];
  }
  return {};
}

const char* GetText(const XmlNodeRef& node, size_t index) {
  return node && index < node->texts.size() ? node->texts[index].c_str() : nullptr;
}

XmlNodeRef FindPath(const XmlNodeRef& node, std::string_view path) {
  constexpr size_t kLongestPath = 256;
  constexpr size_t kComparedPath = 255;
  if (path.size() > kLongestPath || path.empty() || path.front() != '/') return {};
  path = path.substr(0, kComparedPath);
  XmlNodeRef reached = node;
  while (reached && !path.empty()) {
    const size_t slash = std::min(path.find('/'), path.size());
    if (slash > 0) reached = GetChild(reached, path.substr(0, slash));
    path.remove_prefix(std::min(slash + 1, path.size()));
  }
  return reached;
}

}  // namespace zolt
