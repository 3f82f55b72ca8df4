#pragma once

#include "config/xml_node.h"
#include "config/xml_text.h"

namespace zolt {

/// Elements may lie this deep in each other; beyond, the document is refused (kUnexpectedToken), so that no
/// file can exhaust the stack.
inline constexpr int kDeepestElement = 256;

/// Builds the tree of a zero-terminated document by the current encoding. Lenient: a missing end tag closes
/// its element early, and text outside elements is taken. The result is the nameless wrapper around the
/// document, or its only child if it holds nothing else, or the empty node if `*error` is above kNoElement. A
/// declaration at the top holds all that follows it, so a file in the usual form has its declaration as root.
XmlNodeRef ParseString(const char* text, XmlError* error);

}  // namespace zolt
