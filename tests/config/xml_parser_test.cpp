#include "config/xml_parser.h"

#include <gtest/gtest.h>

#include <string>

#include "config/xml_encoding.h"

namespace zolt {
namespace {

const char* OrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

// name[attribute=value ...]{content ...}, with a "?" before a declaration's name, "*" for the wrapper, texts
// in bars and sections as their opening tag and value.
std::string Dump(const XmlNode& node) {
  std::string out = node.isDeclaration ? "?" : "";
  out += node.name.c_str() == nullptr ? "*" : node.name.c_str();
  for (size_t i = 0; i < node.attributes.size(); ++i) {
    const XmlAttribute& attribute = node.attributes[i];
    out += std::string("[") + OrEmpty(attribute.name.c_str());
    if (attribute.value.c_str() != nullptr) out += std::string("=") + attribute.value.c_str();
    out += "]";
  }
  size_t child = 0;
  size_t text = 0;
  size_t clear = 0;
  out += "{";
  for (size_t i = 0; i < node.order.size(); ++i) {
    if (node.order[i] == XmlContent::kChild) {
      out += Dump(*node.children[child++].get());
    } else if (node.order[i] == XmlContent::kText) {
      out += std::string("|") + node.texts[text++].c_str() + "|";
    } else {
      out += std::string(node.clears[clear].openTag) + OrEmpty(node.clears[clear].value.c_str());
      ++clear;
    }
  }
  return out + "}";
}

std::string Parse(const std::string& text) {
  XmlError error = kXmlOk;
  const XmlNodeRef root = ParseString(text.c_str(), &error);
  return std::to_string(error) + " " + (root ? Dump(*root.get()) : "-");
}

struct Case {
  const char* text;
  const char* tree;  // error, then the tree or "-"
};

template <size_t N>
void ExpectAll(const Case (&cases)[N]) {
  SetXmlEncoding(kUtf8);
  for (const Case& c : cases) EXPECT_EQ(Parse(c.text), c.tree) << c.text;
}

TEST(XmlParser, TheDeclarationIsTheRootAndStaysOpen) {
  ExpectAll({
      {"<?xml version=\"1.0\" standalone?>\n<Config><a>1</a></Config>\n",
       "0 ?xml[version=1.0][standalone]{Config{a{|1|}}}"},
      {"<?xml?><a/>", "0 ?xml?{a{}}"},
      {"<?xml/><a/>", "0 *{?xml{}a{}}"},
      {"<?xml ?/><a/>", "0 *{?xml{}a{}}"},
      {"<?xml v='1' ?><a/><b/>", "0 ?xml[v=1]{a{}b{}}"},
      {"<?xml v=1?><a/>", "0 ?xml[v=1?]{a{}}"},
      {"<Config><a>1</a></Config>", "0 Config{a{|1|}}"},
      {"<!-- c --><?xml?><a/>", "0 *{<!-- c ?xml?{a{}}}"},
      {"text<a/>", "0 *{|text|a{}}"},
      {"<a/><b/>", "0 *{a{}b{}}"},
      // One level further down a "?" that stands as an attribute's name before the ">" ends it.
      {"<a><?p x?><b/></a>", "0 a{?p[x]{}b{}}"},
      {"<a><?p x='1' ?><b/></a>", "0 a{?p[x=1]{}b{}}"},
      {"<a><?p?><b/></a>", "1 a{?p?{b{}}}"},
      {"<a><?p x? y><b/></a>", "1 a{?p[x][y]{b{}}}"},
      {"<a><?p x='1'? ='2'><b/></a>", "1 a{?p[x=1]{b{}}}"},
      {"<a x?><b/></a>", "0 a[x?]{b{}}"},
  });
}

TEST(XmlParser, EndTagsAreLenient) {
  ExpectAll({
      {"<a><b>1</a>", "1 a{b{|1|}}"},
      {"<a><b><c>1</b><d/></a>", "1 a{b{c{|1|}}d{}}"},
      {"<?xml?><a><b>1</a><c/>", "1 ?xml?{a{b{|1|}}c{}}"},
      {"<a><b>1</x></b><c/></a><d/>", "1 a{b{|1|}}"},  // nobody's end tag: the rest of the file is lost
      {"<?xml?><a/></x><b/>", "1 ?xml?{a{}}"},
      {"<a>1", "1 a{|1|}"},
      {"<a><b>1</b>", "1 a{b{|1|}}"},
      {"<CONFIG><b></B ></config>", "0 CONFIG{b{}}"},
      {"<a>1</ a>", "0 a{|1|}"},
      {"<a>1</a/x>", "0 a{|1|}"},
      {"<a>1</ab></a>", "1 a{|1|}"},
      {"<ab>1</a></ab>", "1 ab{|1|}"},
      {"<a></a b>", "5 -"},
      {"<a></a=>", "5 -"},
      {"<a></>", "5 -"},
      {"<a/></a>", "6 -"},
      {"</a>", "2 *{}"},
  });
}

TEST(XmlParser, Tags) {
  ExpectAll({
      {"<a b c=1 d = \"2 3\" e='4\"'/>", "0 a[b][c=1][d=2 3][e=4\"]{}"},
      {"<a/b/>", "0 a/b{}"},
      {"<a b=c/d/>", "0 a[b=c/d]{}"},
      {"< a >1< / a>", "1 a{|1|/[a]{}}"},
      {"< a >1</a>", "0 a{|1|}"},
      {"<x/><>", "4 -"},
      {"<x/><\"a\">", "4 -"},
      {"<x/><", "4 -"},
      {"<a =1/>", "8 -"},
      {"<a 'b'/>", "8 -"},
      {"<a b 'c'/>", "8 -"},
      {"<a b==1/>", "8 -"},
      {"<a b=/>", "8 -"},
      {"<a b=></a>", "8 -"},
      {"<a b=<c/>", "8 -"},
      {"<a <!-- c -->/>", "8 -"},
      {"<a b", "8 -"},
      {"<a b='1<2'/>", "8 -"},
      {"<a b='1", "8 -"},
  });
}

TEST(XmlParser, TextRuns) {
  ExpectAll({
      {"<a> \t\r\n12 3\n </a>", "0 a{|12 3|}"},
      {"<a>\v1\f</a>", "0 a{|\v1\f|}"},
      {"<a>x = \"y\" > z /> w</a>", "0 a{|x = \"y\" > z /> w|}"},
      {"<a>don't</a><b>'</b>", "0 *{a{|don't|}b{|'|}}"},
      {"<a>1<b/>2</a>", "0 a{|1|b{}|2|}"},
      {"<a> <b/> </a>", "0 a{b{}}"},
      {"<a>1<!-- c -->2</a>", "0 a{|12|}"},
      {"<a>1 <!--c--> 2 <!--d--><!--e--> 3</a>", "0 a{|12|<!--d<!--e|3|}"},
      {"<a>1<!--c-->2<!--d-->3</a>", "0 a{|123|}"},
      {"<a><!--c-->2</a>", "0 a{<!--c|2|}"},
      {"<a>1<!--c--></a>", "0 a{|1|<!--c}"},
      {"<a>1<!--c--> <b/>2</a>", "0 a{|1|<!--cb{}|2|}"},
      {"<a>1<![CDATA[2<&]]>3</a>", "0 a{|1|<![CDATA[2<&|3|}"},
      {"plain text only", "2 *{|plain text only|}"},
      {"", "2 *{}"},
  });
}

TEST(XmlParser, Sections) {
  ExpectAll({
      {"<a><PRE><b></PRE></a>", "0 a{<PRE><b>}"},
      {"<a><pre><b></b></pre></a>", "0 a{pre{b{}}}"},
      {"<!DOCTYPE a><a/>", "0 *{<!DOCTYPE aa{}}"},
      {"<!DOCTYPE a [<!ELEMENT b>]><a/>", "0 *{<!DOCTYPE a [<!ELEMENT b>a{}}"},
      {"<a/><!DOCTYPE b <c", "7 -"},
      {"<a/><!DOCTYPE b", "7 -"},
      {"<a/><!DOCTYPE b [<c>", "7 -"},
      {"<!doctype a><a/>", "1 !doctype[a]{a{}}"},
      {"<a/><!-- b", "7 -"},
      {"<!-- b", "2 *{}"},
      {"<a><!--></a>--></a>", "0 a{<!--></a>}"},
      {"<a>x&amp;<!-- & --></a>", "0 a{|x&|<!-- & }"},
  });
}

TEST(XmlParser, Entities) {
  ExpectAll({
      {"<a b='&lt;&GT;'>&amp;&Quot;&apos;</a>", "0 a[b=<>]{|&\"'|}"},
      {"<a>&#65;&#x42;&#X6a;&#32;</a>", "0 a{|ABj |}"},
      {"<a>&amp;lt;</a>", "0 a{|&lt;|}"},
      {"<a>1&#;2</a>", "0 a{|1|}"},
      {"<a>1&#x;2<!--c-->3</a>", "0 a{|13|}"},
      {"<a>&#255;</a>", "0 a{|\xFF|}"},
      {"<a>&#256;</a>", "13 -"},
      {"<a>&#99999999999999999999;</a>", "13 -"},
      {"<a>&nbsp;</a>", "12 -"},
      {"<a>1 & 2</a>", "12 -"},
      {"<a>&amp</a>", "12 -"},
      {"<a>&#1x;</a>", "12 -"},
      {"<a>&#65</a>", "12 -"},
      {"<a b='&'/>", "12 -"},
      {"&", "2 *{}"},
  });
}

TEST(XmlParser, CharactersOfSeveralBytesAreNotCut) {
  // In GBK a second byte may look like markup when a file is damaged, and never is.
  const std::string text = "<a>\x81<\x82>\x83&</a>";
  SetXmlEncoding(kGbk);
  EXPECT_EQ(Parse(text), "0 a{|\x81<\x82>\x83&|}");
  SetXmlEncoding(kUtf8);
  EXPECT_EQ(Parse("<a>\xC3\xA4</a>"), "0 a{|\xC3\xA4|}");
  EXPECT_EQ(Parse("<a>\xC3</a>"), "1 a{|\xC3</a>|}");
  EXPECT_EQ(Parse("<a>\xF0"), "1 a{|\xF0|}");  // the length would lead past the end
}

TEST(XmlParser, NestingEndsAtTheLimitWithoutHarm) {
  const auto nested = [](int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<a>";
    for (int i = 0; i < depth; ++i) text += "</a>";
    return text;
  };
  EXPECT_EQ(Parse(nested(kDeepestElement)).substr(0, 1), "0");
  EXPECT_EQ(Parse(nested(kDeepestElement + 1)), "8 -");
  EXPECT_EQ(Parse(nested(200000)), "8 -");
}

TEST(XmlParser, ANodeTakesAnyNumberOfItems) {
  std::string text = "<a>";
  for (int i = 0; i < 100000; ++i) text += "x<b c d/><!--e-->";
  text += "<b>last</b></a>";
  XmlError error = kXmlOk;
  const XmlNodeRef root = ParseString(text.c_str(), &error);
  ASSERT_TRUE(root);
  EXPECT_EQ(root->children.size(), 100001u);
  EXPECT_STREQ(GetText(root->children[100000], 0), "last");

  text = "<a>";
  for (int i = 0; i < 100000; ++i) text += "x<!---->";
  const XmlNodeRef joined = ParseString((text + "</a>").c_str(), &error);
  ASSERT_TRUE(joined);
  EXPECT_EQ(std::string(GetText(joined, 0)), std::string(100000, 'x'));
}

TEST(XmlParser, QueriesTakeTheFirstOfANameInAnyCase) {
  XmlError error = kXmlOk;
  const XmlNodeRef root = ParseString("<?xml?><Config><a>1</a><ab>2</ab><A>3</A><e/></Config>", &error);
  EXPECT_STREQ(GetText(FindPath(root, "/config/A"), 0), "1");
  EXPECT_STREQ(GetText(FindPath(root, "/CONFIG/aB"), 0), "2");
  EXPECT_EQ(GetText(FindPath(root, "/Config/e"), 0), nullptr);
  EXPECT_FALSE(FindPath(root, "/Config/b"));
  EXPECT_FALSE(FindPath(root, "/Config/a/a"));
  EXPECT_FALSE(FindPath(root, "Config/a"));
  EXPECT_FALSE(FindPath(root, ""));
  EXPECT_FALSE(FindPath(root, "/Config/" + std::string(249, 'x')));
  EXPECT_FALSE(FindPath({}, "/Config"));

  size_t index = 0;
  const XmlNodeRef config = FindPath(root, "/Config");
  EXPECT_STREQ(GetText(GetChild(config, "a", &index), 0), "1");
  EXPECT_STREQ(GetText(GetChild(config, "a", &index), 0), "3");
  EXPECT_FALSE(GetChild(config, "a", &index));
}

TEST(XmlParser, AHandleKeepsItsNodeAliveWithoutTheTree) {
  XmlError error = kXmlOk;
  XmlNodeRef root = ParseString("<a><b>1</b></a>", &error);
  const XmlNodeRef b = FindPath(root, "/b");
  root = {};
  EXPECT_STREQ(GetText(b, 0), "1");
  EXPECT_FALSE(ParseString(nullptr, &error));
  EXPECT_EQ(error, kNoText);
}

}  // namespace
}  // namespace zolt
