// A thin layer over the Xerces-C DOM parser for the marker XML: open a file,
// find its root element by name, read the text of child elements.
#pragma once

#include <memory>
#include <string>
#include <vector>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class XercesDOMParser;
class SecurityManager;
XERCES_CPP_NAMESPACE_END

namespace zel {

// Reports each parser complaint to the log (level 2) and to standard error.
// A warning lets the parse go on; an error or fatal error stops it by
// throwing a copy of the exception, which ioDOM turns into zel::FileError.
class domErrorHandler : public xercesc::ErrorHandler {
 public:
  ~domErrorHandler() override = default;
  void warning(const xercesc::SAXParseException& e) override;
  void error(const xercesc::SAXParseException& e) override;
  void fatalError(const xercesc::SAXParseException& e) override;
  void resetErrors() override {}

 private:
  static void report(const char* word, const xercesc::SAXParseException& e);
};

class ioDOM {
 public:
  ioDOM();
  ~ioDOM();
  ioDOM(const ioDOM&) = delete;
  ioDOM& operator=(const ioDOM&) = delete;

  // Parses `file` and hands back in `element` the first node at the top of
  // the document whose name equals `rootName` in any case (the last top node
  // if none does). Any failure raises zel::FileError "File error!". The
  // element lives until the next open or the end of this object.
  void open(const std::string& file, const std::string& rootName, xercesc::DOMNode*& element);

  // The text content of the first child of `element` named `childName` (any
  // case), or, with `attributeName`, that child's attribute. Empty if absent.
  static std::string childText(const xercesc::DOMNode* element, const std::string& childName,
                               const std::string& attributeName = {});
  // The text of the first child named `childName` (any case) whose "id"
  // attribute is `idValue`, split at white space. Empty if there is none.
  static void valuesOf(const xercesc::DOMNode* element, const std::string& childName,
                       const std::string& idValue, std::vector<std::string>& out);

  // Helpers over single nodes, also for walking the children by hand.
  static std::string nameOf(const xercesc::DOMNode* node);
  static std::string attributeOf(const xercesc::DOMNode* node, const std::string& attribute);
  // All text below `node` in document order, as UTF-8.
  static std::string textOf(const xercesc::DOMNode* node);
  static void splitWords(const std::string& text, std::vector<std::string>& out);

 private:
  void makeParser();

  std::unique_ptr<domErrorHandler> handler;
  std::unique_ptr<xercesc::SecurityManager> security;
  std::unique_ptr<xercesc::XercesDOMParser> parser;
};

}  // namespace zel
