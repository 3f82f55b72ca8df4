#include "config/xml_parser.h"

#include <cstring>

#include "config/xml_tokenizer.h"

namespace zolt {
namespace {

// What the parser knows of the element that it is in. The name points into the text, so that end tags find
// their element even if there was no memory for its node.
struct Element {
  XmlNode* node;
  std::string_view name;
  int level;  // 0 for the wrapper
  bool declaration;
};

class Parser {
 public:
  explicit Parser(const char* text) : tokens_(text), end_(text + std::strlen(text)) {}
  XmlError Parse(XmlNode* wrapper) {
    ParseContent({wrapper, {}, 0, false});
    return error_;
  }

 private:
  bool stopped() const { return error_ > kNoElement; }
  void Fail(XmlError error) { error_ = error; }

  void ParseContent(const Element& element);
  void ParseChild(const Element& parent, bool declaration);
  bool ParseAttributes(const Element& element);
  bool StoreAttribute(const Element& element, std::string_view name, const XmlToken* value);
  void ParseEndTag(const Element& element);
  void TakeClearSection(XmlNode* node, const XmlToken& open);
  void FlushText(XmlNode* node, const char* begin, const char* end);

  XmlTokenizer tokens_;
  const char* end_;  // of the text
  XmlError error_ = kXmlOk;
  const char* unmatched_end_ = nullptr;  // name of an end tag that waits for its element, further up
  XmlNode discarded_;                    // takes the content of elements that there is no memory for
};

// `other` points at a name in the text; what follows a name there ends it.
bool IsEndOf(const Element& element, const char* other) {
  if (element.level == 0) return false;
  const size_t length = element.name.size();
  if (strnlen(other, length) < length || !StartsWithNoCase({other, length}, element.name)) return false;
  const char next = other[length];
  return IsXmlBlank(next) || next == '/' || next == '<' || next == '>';
}

void Parser::ParseContent(const Element& element) {
  const char* run = tokens_.cursor();
  while (!stopped()) {
    const XmlToken token = tokens_.Next();
    switch (token.kind) {
      case XmlTokenKind::kTagStart:
      case XmlTokenKind::kDeclarationStart:
        FlushText(element.node, run, token.begin);
        if (!stopped()) ParseChild(element, token.kind == XmlTokenKind::kDeclarationStart);
        if (unmatched_end_ != nullptr) {
          if (IsEndOf(element, unmatched_end_)) unmatched_end_ = nullptr;
          return;
        }
        break;
      case XmlTokenKind::kEndTagStart:
        FlushText(element.node, run, token.begin);
        if (!stopped()) ParseEndTag(element);
        return;
      case XmlTokenKind::kClear:
        FlushText(element.node, run, token.begin);
        if (!stopped()) TakeClearSection(element.node, token);
        break;
      case XmlTokenKind::kEnd:
        if (element.level > 0 && !element.declaration) Fail(kEndTagMissing);
        FlushText(element.node, run, token.begin);
        return;
      default:
        continue;  // one more piece of the run of text
    }
    run = tokens_.cursor();
  }
}

void Parser::ParseChild(const Element& parent, bool declaration) {
  const XmlToken name = tokens_.Next();
  if (name.kind != XmlTokenKind::kText) return Fail(kTagWithoutName);
  if (parent.level == kDeepestElement) return Fail(kUnexpectedToken);
  XmlNode* node = parent.node->AddChild(name.text(), declaration);
  const Element child = {node != nullptr ? node : &discarded_, name.text(), parent.level + 1, declaration};
  if (ParseAttributes(child)) ParseContent(child);
}

// Reads on to the end of the tag; true if content follows.
bool Parser::ParseAttributes(const Element& element) {
  std::string_view name;  // of the attribute at hand; empty if none is
  while (!stopped()) {
    XmlToken token = tokens_.Next();
    if (token.kind == XmlTokenKind::kEquals && !name.empty()) {
      token = tokens_.Next();
      if (token.kind != XmlTokenKind::kText && token.kind != XmlTokenKind::kQuoted) break;
      StoreAttribute(element, name, &token);
      name = {};
      continue;
    }
    const bool closes = token.kind == XmlTokenKind::kTagClose || token.kind == XmlTokenKind::kShortClose;
    if (token.kind != XmlTokenKind::kText && !closes) break;
    const bool ends_declaration = !name.empty() && StoreAttribute(element, name, nullptr);
    if (token.kind == XmlTokenKind::kShortClose) return false;
    // A declaration at the top stays open behind its "?>" and takes in the rest of the file.
    if (closes) return !(ends_declaration && element.level >= 2);
    name = token.text();
  }
  if (!stopped()) Fail(kUnexpectedToken);
  return false;
}

// True if the name carried the "?" that ends a declaration, which is no part of the name.
bool Parser::StoreAttribute(const Element& element, std::string_view name, const XmlToken* value) {
  const bool ends_declaration = element.declaration && name.back() == '?';
  if (ends_declaration) name.remove_suffix(1);
  XmlString decoded;
  bool stored = true;
  if (value != nullptr) {
    std::string_view text = value->text();
    if (value->kind == XmlTokenKind::kQuoted) text = text.substr(1, text.size() - 2);
    const XmlError error = DecodeEntities(text, &decoded, &stored);
    if (error != kXmlOk) Fail(error);
  }
  if (stored && !name.empty()) element.node->AddAttribute(name, std::move(decoded));
  return ends_declaration;
}

void Parser::ParseEndTag(const Element& element) {
  const XmlToken name = tokens_.Next();
  if (tokens_.Next().kind != XmlTokenKind::kTagClose) return Fail(kEndTagNotClosed);
  if (element.level == 0) return Fail(kEndTagAtTop);
  if (IsEndOf(element, name.begin)) return;
  unmatched_end_ = name.begin;
  Fail(kEndTagMissing);
}

void Parser::TakeClearSection(XmlNode* node, const XmlToken& open) {
  const std::string_view rest(open.end, static_cast<size_t>(end_ - open.end));
  std::string_view close = open.clear->close;
  if (std::strcmp(open.clear->open, kDoctypeOpen) == 0) {
    const size_t bracket = rest.find_first_of("<>");
    if (bracket < rest.size() && rest[bracket] == '<') close = "]>";  // it has declarations of its own inside
  }
  const size_t length = rest.find(close);
  if (length == std::string_view::npos) return Fail(kClearNotClosed);
  node->AddClear(rest.substr(0, length), open.clear->open, close.data());
  tokens_.MoveTo(open.end + length + close.size());
}

void Parser::FlushText(XmlNode* node, const char* begin, const char* end) {
  const std::string_view text = TrimBlanks({begin, static_cast<size_t>(end - begin)});
  if (text.empty()) return;
  const size_t entries = node->order.size();
  const bool joins = entries >= 2 && node->order[entries - 2] == XmlContent::kText &&
                     node->order[entries - 1] == XmlContent::kClear &&
                     std::strcmp(node->clears.back().openTag, kCommentOpen) == 0;
  bool stored = true;
  XmlString decoded;
  const XmlError error = DecodeEntities(text, joins ? &node->texts.back() : &decoded, &stored);
  if (error != kXmlOk) return Fail(error);
  if (joins) {
    // The comment only interrupted one text.
    node->clears.PopBack();
    node->order.PopBack();
  } else if (stored) {
    node->AddText(std::move(decoded));
  }
}

}  // namespace

XmlNodeRef ParseString(const char* text, XmlError* error) {
  *error = kNoText;
  if (text == nullptr) return {};
  *error = kUnreadable;
  XmlNodeRef wrapper = XmlNodeRef::New();
  if (!wrapper) return {};
  *error = Parser(text).Parse(wrapper.get());
  if (wrapper->children.size() == 0) *error = kNoElement;
  if (*error > kNoElement) return {};
  const bool only_child = wrapper->order.size() == 1 && wrapper->children.size() == 1;
  return only_child ? wrapper->children[0] : wrapper;
}

}  // namespace zolt
