#include <gtest/gtest.h>

#include <string>

#include "update/xml_reader.hpp"

namespace kolvo::update {
namespace {

// The document as the handler hears it, in one line: "<{ns}name attr=value>", "'text'",
// "</{ns}name>". Adjacent text calls are joined, as a run of text may arrive in pieces.
class Trace final : public XmlHandler {
 public:
  bool start_element(const XmlName& name, const std::vector<XmlAttribute>& attributes) override {
    out += "<" + spelled(name);
    for (const auto& attribute : attributes) out += " " + spelled(attribute.name) + "=" + attribute.value;
    out += ">";
    return ++elements != stop_at_element;
  }
  bool end_element(const XmlName& name) override {
    out += "</" + spelled(name) + ">";
    return true;
  }
  bool text(std::string_view text) override {
    if (!out.empty() && out.back() == '\'') {
      out.insert(out.size() - 1, text);
    } else {
      out += "'" + std::string(text) + "'";
    }
    return true;
  }

  std::string out;
  int elements = 0;
  int stop_at_element = -1;

 private:
  static std::string spelled(const XmlName& name) {
    return name.namespace_uri.empty() ? name.local : "{" + name.namespace_uri + "}" + name.local;
  }
};

std::string nested(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "<a>";
  for (std::size_t i = 0; i < depth; ++i) text += "</a>";
  return text;
}

TEST(XmlReader, WellFormedDocumentsAreHeardInOrder) {
  struct Case {
    std::string name;
    std::string document;
    std::string heard;
  };
  const std::vector<Case> cases = {
      {"attributes in both quote styles", R"(<a x="1" y='two "2"'>t</a>)", R"(<a x=1 y=two "2">'t'</a>)"},
      {"the five entities and character references",
       "<a>&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#x00043;&#x1F600;</a>", "<a>'&<>\"'ABC\xF0\x9F\x98\x80'</a>"},
      {"white space in attribute values becomes blanks, referenced line feeds stay",
       "<a v=\"x\ty\r\nz&#10;w\"/>", "<a v=x y z\nw></a>"},
      {"CDATA is kept as written", "<a>1<![CDATA[<b>&amp;]]]]>2</a>", "<a>'1<b>&amp;]]2'</a>"},
      {"comments and processing instructions are skipped",
       "<!-- before --><?app x?><a><!-- in -->x<?php y ?>y</a><!-- after -->", "<a>'xy'</a>"},
      {"line ends are one line feed", "<a>1\r\n2\r3\n4</a>", "<a>'1\n2\n3\n4'</a>"},
      {"a default namespace applies to elements, not to attributes",
       R"(<r xmlns="urn:d" xmlns:p="urn:p"><p:e p:a="1" b="2"/><e/></r>)",
       "<{urn:d}r><{urn:p}e {urn:p}a=1 b=2></{urn:p}e><{urn:d}e></{urn:d}e></{urn:d}r>"},
      {"a prefix declared again holds only inside its element",
       R"(<r xmlns:p="urn:1"><x xmlns:p="urn:2"><p:y/></x><p:z/></r>)",
       "<r><x><{urn:2}y></{urn:2}y></x><{urn:1}z></{urn:1}z></r>"},
      {"the default namespace can be undeclared", R"(<r xmlns="urn:d"><x xmlns=""><y/></x></r>)",
       "<{urn:d}r><x><y></y></x></{urn:d}r>"},
      {"xml: is always declared", R"(<a xml:lang="en"/>)", "<a {http://www.w3.org/XML/1998/namespace}lang=en></a>"},
      {"a byte-order mark, a declaration and an external document type",
       "\xEF\xBB\xBF<?xml version=\"1.0\" encoding='utf-8' standalone=\"yes\"?>\n"
       "<!DOCTYPE rss PUBLIC \"-//X//DTD [RSS]//EN\" \"http://example.com/rss.dtd\">\n<rss/>\n",
       "<rss></rss>"},
      {"names with dots, dashes, digits and non-ASCII letters", "<a.b-c_1 é=\"1\"/>", "<a.b-c_1 é=1></a.b-c_1>"},
      {"a closing bracket alone is text", "<a>x]y]]z</a>", "<a>'x]y]]z'</a>"},
      {"32 levels are within the limit", nested(32), ""},
  };
  for (const Case& c : cases) {
    Trace trace;
    const XmlResult result = read_xml(c.document, trace);
    ASSERT_TRUE(result.ok) << c.name << ": " << result.error;
    if (!c.heard.empty()) {
      EXPECT_EQ(trace.out, c.heard) << c.name;
    }
  }
}

TEST(XmlReader, MalformedAndHostileDocumentsAreRefusedWithTheLineAndTheReason) {
  std::string billion_laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n <!ENTITY lol \"lol\">\n";
  for (int i = 2; i <= 9; ++i) {
    billion_laughs += " <!ENTITY lol" + std::to_string(i) + " \"";
    for (int j = 0; j < 10; ++j) billion_laughs += "&lol" + (i == 2 ? std::string() : std::to_string(i - 1)) + ";";
    billion_laughs += "\">\n";
  }
  billion_laughs += "]>\n<lolz>&lol9;</lolz>";
  std::string many_attributes = "<a";
  for (int i = 0; i < 33; ++i) many_attributes += " a" + std::to_string(i) + "=\"\"";
  many_attributes += "/>";

  struct Case {
    std::string name;
    std::string document;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"unclosed element", "<rss>\n<channel>\n", "line 3: the document ends before <channel> is closed"},
      {"end tag of another element", "<a>\n<b>\n</a>", "line 3: the end tag </a> does not match <b>"},
      {"the document ends inside a tag", "<a x=\"1\"", "the document ends inside the tag <a>"},
      {"the document ends inside a value", "<a x=\"1/>", "the document ends inside the value of the attribute x"},
      {"the document ends inside an end tag", "<a></a", "the document ends inside the end tag </a>"},
      {"10,000 levels deep", nested(10000), "line 1: elements nest deeper than 32 levels"},
      {"a huge attribute", "<a v=\"" + std::string(20000, 'x') + "\"/>", "is longer than 16384 bytes"},
      {"a huge name", "<" + std::string(300, 'n') + "/>", "a tag has a name longer than 256 bytes"},
      {"too many attributes", many_attributes, "the tag <a> has more than 32 attributes"},
      {"entities declared in the document", billion_laughs, "line 2: the document type declares markup of its own"},
      {"an entity that was never declared", "<lolz>&lol9;</lolz>", "the entity &lol9; is not one of XML's five"},
      {"an entity in an attribute", "<a v=\"&nbsp;\"/>", "the entity &nbsp; is not one of XML's five"},
      {"a bare ampersand", "<a>AT&T</a>", "a '&' that starts no reference"},
      {"an ampersand without a semicolon close by", "<a>&amp but not really;</a>", "a '&' that starts no reference"},
      {"a reference to no character", "<a>&#0;</a>", "the character reference &#0; names no character XML allows"},
      {"a reference to a surrogate", "<a>&#xD800;</a>", "names no character XML allows"},
      {"a reference beyond Unicode", "<a>&#x110000;</a>", "names no character XML allows"},
      {"a reference that is not a number", "<a>&#x1G;</a>", "names no character XML allows"},
      {"a hexadecimal reference with a capital X", "<a>&#X43;</a>", "names no character XML allows"},
      {"an undeclared prefix", "<rss>\n<sparkle:version/></rss>", "line 2: the prefix sparkle of sparkle:version is used"},
      {"an undeclared attribute prefix", "<a p:x=\"1\"/>", "the prefix p of p:x is used without being declared"},
      {"the same attribute twice", "<a x=\"1\" x='2'/>", "the tag <a> repeats the attribute x"},
      {"the same attribute through two prefixes", R"(<a xmlns:p="u" xmlns:q="u" p:x="1" q:x="2"/>)",
       "repeats the attribute {u}x"},
      {"a prefix bound to nothing", R"(<a xmlns:p=""/>)", "the prefix p is declared with no namespace"},
      {"xmlns used as an element prefix", R"(<xmlns:a/>)", "the prefix xmlns is reserved"},
      {"two colons in a name", R"(<a:b:c xmlns:a="u"/>)", "'a:b:c' is not a valid qualified name"},
      {"an unquoted value", "<a x=1/>", "the value of the attribute x of <a> is not quoted"},
      {"an attribute with no value", "<a x/>", "the attribute x of <a> has no value"},
      {"attributes run together", "<a x=\"1\"y=\"2\"/>", "runs on without a space"},
      {"a less-than sign in a value", "<a x=\"<\"/>", "the value of the attribute x holds '<'"},
      {"a less-than sign in text", "<a>1 < 2</a>", "a '<' that starts no tag"},
      {"a control character", "<a>\x01</a>", "the control character U+0001"},
      {"bytes that are not UTF-8", "<a>\n\n\xC3\x28</a>", "line 3: bytes that are not UTF-8"},
      {"another encoding", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>", "declares the encoding ISO-8859-1"},
      {"XML 2.0", "<?xml version=\"2.0\"?><a/>", "XML version 2.0 is not read"},
      {"a declaration later on", "<a><?xml version=\"1.0\"?></a>", "an XML declaration that is not at the start"},
      {"two root elements", "<a/><b/>", "a second root element"},
      {"text after the root", "<a/>x", "text after the root element"},
      {"text before the root", "x<a/>", "text before the root element"},
      {"nothing but a comment", "<!-- empty -->", "the document has no root element"},
      {"an empty document", "", "the document has no root element"},
      {"an unclosed comment", "<a><!-- x </a>", "a comment is not closed"},
      {"two dashes in a comment", "<a><!-- x -- y --></a>", "'--' inside a comment"},
      {"an unclosed CDATA section", "<a><![CDATA[ x </a>", "a CDATA section is not closed"},
      {"CDATA's end in text", "<a>x]]>y</a>", "']]>' in text"},
      {"an unclosed processing instruction", "<a><?x y</a>", "a processing instruction is not closed"},
      {"a declaration inside an element", "<a><!ENTITY x \"y\"></a>", "a markup declaration inside an element"},
      {"an unclosed document type", "<!DOCTYPE rss PUBLIC \"x\"", "the document type declaration is not closed"},
      {"two document types", "<!DOCTYPE a><!DOCTYPE a><a/>", "a second document type declaration"},
      {"an end tag not closed", "<a></a x>", "the end tag </a> is not closed by '>'"},
  };
  for (const Case& c : cases) {
    Trace trace;
    const XmlResult result = read_xml(c.document, trace);
    EXPECT_FALSE(result.ok) << c.name;
    EXPECT_FALSE(result.stopped) << c.name;
    EXPECT_NE(result.error.find(c.error), std::string::npos) << c.name << ": " << result.error;
  }
}

TEST(XmlReader, TheLimitsCanBeTightenedAndTheHandlerCanStop) {
  XmlLimits small;
  small.max_bytes = 16;
  small.max_depth = 2;
  Trace trace;
  EXPECT_NE(read_xml("<a>" + std::string(20, ' ') + "</a>", trace, small).error.find("larger than 16 bytes"),
            std::string::npos);
  EXPECT_TRUE(read_xml("<a><b/></a>", trace, small).ok);
  EXPECT_FALSE(read_xml("<a><b><c/></b></a>", trace, small).ok);

  Trace stopping;
  stopping.stop_at_element = 2;
  const XmlResult stopped = read_xml("<a><b><c/></b></a>", stopping);
  EXPECT_FALSE(stopped.ok);
  EXPECT_TRUE(stopped.stopped);
  EXPECT_EQ(stopping.out, "<a><b>");  // nothing after the element that stopped it
}

}  // namespace
}  // namespace kolvo::update
