#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kolvo::update {

// An element's or attribute's name with its prefix resolved: the namespace it was declared in
// (empty for none) and its local part.
struct XmlName {
  std::string namespace_uri;
  std::string local;

  bool is(std::string_view uri, std::string_view name) const { return namespace_uri == uri && local == name; }
};

struct XmlAttribute {
  XmlName name;
  std::string value;
};

// What a document may cost. Nothing a real feed holds comes near them; they keep a hostile
// document from costing more than its own size.
struct XmlLimits {
  std::size_t max_bytes = 4 * 1024 * 1024;
  std::size_t max_depth = 32;
  // Per element, namespace declarations included.
  std::size_t max_attributes = 32;
  std::size_t max_name_bytes = 256;
  std::size_t max_attribute_bytes = 16 * 1024;
};

// Hears the document as it is read. Returning false from any call stops the reading there.
class XmlHandler {
 public:
  virtual ~XmlHandler() = default;
  virtual bool start_element(const XmlName& name, const std::vector<XmlAttribute>& attributes) = 0;
  virtual bool end_element(const XmlName& name) = 0;
  // Character data with its references replaced, and CDATA sections as they stand. One run of
  // text may arrive in several calls.
  virtual bool text(std::string_view text) = 0;
};

struct XmlResult {
  bool ok = false;
  // The handler asked to stop; `error` is then empty and the handler knows why.
  bool stopped = false;
  // "line 3: the end tag </item> does not match <title>".
  std::string error;
};

// A strict, small reader of XML 1.0 in UTF-8, with namespaces, for documents fetched from the
// network. It reads elements, attributes in either quote style, character data, CDATA
// sections, comments and processing instructions, and the five predefined entities and
// character references. It never expands an entity a document declares: a document type with
// an internal subset is refused, and so is any entity reference other than the five. Every
// well-formedness error it meets (a tag not closed, a prefix never declared, a stray "&") ends
// the reading with a sentence naming the line. Memory stays within the current element's
// attributes and the names of the open elements: text is handed on, not kept.
XmlResult read_xml(std::string_view document, XmlHandler& handler, const XmlLimits& limits = {});

}  // namespace kolvo::update
