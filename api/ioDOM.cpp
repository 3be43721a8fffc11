#include "api/ioDOM.h"

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>

#include "api/errors.h"
#include "api/log.h"

using namespace xercesc;

namespace zel {
namespace {

constexpr std::size_t maxName = 99;
// Marker files need no entities; a low limit keeps a file of nested entity
// definitions from expanding into gigabytes.
constexpr XMLSize_t entityExpansionLimit = 100;

// Xerces is set up once per process and torn down at exit.
struct xercesRuntime {
  xercesRuntime() { XMLPlatformUtils::Initialize(); }
  ~xercesRuntime() { XMLPlatformUtils::Terminate(); }
};

void startXerces() { static xercesRuntime runtime; }

void appendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
void appendNarrow(std::string& out, const XMLCh* text) {
  if (!text) return;
  for (std::size_t i = 0; text[i]; ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    appendUtf8(out, c);
  }
}

std::string narrow(const XMLCh* text) {
  std::string out;
  appendNarrow(out, text);
  return out;
}

char16_t asciiLower(char16_t c) { return c >= u'A' && c <= u'Z' ? c + (u'a' - u'A') : c; }

// Names are compared in ASCII case only: the model's names are ASCII.
bool sameName(const XMLCh* name, const std::string& wanted) {
  if (!name) return false;
  const std::size_t length = std::min(wanted.size(), maxName);
  for (std::size_t i = 0; i < length; ++i)
    if (!name[i] || asciiLower(name[i]) != asciiLower(static_cast<unsigned char>(wanted[i])))
      return false;
  return name[length] == 0;
}

bool isElementNamed(const DOMNode* node, const std::string& name) {
  return node && node->getNodeType() == DOMNode::ELEMENT_NODE &&
         sameName(node->getNodeName(), name);
}

// The whole file, regular files only (a folder or a pipe would never end).
bool readWhole(const std::string& path, std::string& bytes) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) return false;
  std::FILE* in = std::fopen(path.c_str(), "rb");
  if (!in) return false;
  char buffer[65536];
  std::size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, in)) > 0) bytes.append(buffer, got);
  const bool ok = std::ferror(in) == 0;
  std::fclose(in);
  return ok;
}

}  // namespace

void domErrorHandler::warning(const SAXParseException& e) { report("Warning", e); }

void domErrorHandler::error(const SAXParseException& e) {
  report("Error", e);
  throw SAXParseException(e);
}

void domErrorHandler::fatalError(const SAXParseException& e) {
  report("Fatal Error", e);
  throw SAXParseException(e);
}

void domErrorHandler::report(const char* word, const SAXParseException& e) {
  const std::string file = narrow(e.getSystemId());
  const std::string line = std::to_string(e.getLineNumber());
  const std::string column = std::to_string(e.getColumnNumber());
  const std::string message = narrow(e.getMessage());
  get_log().level(2).write(word).write(" at file \"" + file + "\" line " + line + " column " +
                                       column + ": " + message);
  std::fprintf(stderr, "%s at file \"%s\", line %s, column %s\n   Message: %s\n", word,
               file.c_str(), line.c_str(), column.c_str(), message.c_str());
}

ioDOM::ioDOM() = default;

// The parser goes before the objects it points to.
ioDOM::~ioDOM() { parser.reset(); }

void ioDOM::makeParser() {
  startXerces();
  handler = std::make_unique<domErrorHandler>();
  security = std::make_unique<SecurityManager>();
  security->setEntityExpansionLimit(entityExpansionLimit);
  parser = std::make_unique<XercesDOMParser>();
  parser->setValidationScheme(XercesDOMParser::Val_Auto);
  parser->setDoNamespaces(false);
  parser->setDoSchema(false);
  parser->setLoadSchema(false);
  parser->setErrorHandler(handler.get());
  parser->setExitOnFirstFatalError(false);
  parser->setSecurityManager(security.get());
  // Nothing outside the file is ever read (no network, no devices, no other
  // files): an external DTD or entity fails the parse.
  parser->setDisableDefaultEntityResolution(true);
}

void ioDOM::open(const std::string& file, const std::string& rootName, DOMNode*& element) {
  element = nullptr;
  std::string bytes;
  if (!readWhole(file, bytes)) raise<FileError>();
  try {
    if (!parser) makeParser();
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(),
                                   file.c_str(), false);
    parser->parse(source);
  } catch (...) {
    raise<FileError>();
  }
  const DOMDocument* document = parser->getDocument();
  if (!document || document->getNodeType() != DOMNode::DOCUMENT_NODE) raise<FileError>();
  for (DOMNode* node = document->getFirstChild(); node; node = node->getNextSibling()) {
    element = node;
    if (isElementNamed(node, rootName)) return;
  }
}

std::string ioDOM::nameOf(const DOMNode* node) { return node ? narrow(node->getNodeName()) : ""; }

std::string ioDOM::attributeOf(const DOMNode* node, const std::string& attribute) {
  if (!node || node->getNodeType() != DOMNode::ELEMENT_NODE) return {};
  std::u16string name(attribute.begin(), attribute.end());
  return narrow(static_cast<const DOMElement*>(node)->getAttribute(name.c_str()));
}

// Iterative, so that deeply nested elements cannot exhaust the stack.
std::string ioDOM::textOf(const DOMNode* node) {
  std::string out;
  if (!node) return out;
  const DOMNode* at = node->getFirstChild();
  while (at) {
    const auto type = at->getNodeType();
    if (type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE)
      appendNarrow(out, at->getNodeValue());
    const bool descend = type == DOMNode::ELEMENT_NODE || type == DOMNode::ENTITY_REFERENCE_NODE;
    if (descend && at->getFirstChild()) {
      at = at->getFirstChild();
      continue;
    }
    while (at != node && !at->getNextSibling()) at = at->getParentNode();
    at = at == node ? nullptr : at->getNextSibling();
  }
  return out;
}

void ioDOM::splitWords(const std::string& text, std::vector<std::string>& out) {
  constexpr const char* space = " \t\r\n\f\v";
  out.clear();
  for (std::size_t start = text.find_first_not_of(space); start != std::string::npos;) {
    const std::size_t end = text.find_first_of(space, start);
    out.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(space, end);
  }
}

std::string ioDOM::childText(const DOMNode* element, const std::string& childName,
                             const std::string& attributeName) {
  if (!element) return {};
  for (const DOMNode* child = element->getFirstChild(); child; child = child->getNextSibling())
    if (isElementNamed(child, childName))
      return attributeName.empty() ? textOf(child) : attributeOf(child, attributeName);
  return {};
}

void ioDOM::valuesOf(const DOMNode* element, const std::string& childName,
                     const std::string& idValue, std::vector<std::string>& out) {
  out.clear();
  if (!element) return;
  for (const DOMNode* child = element->getFirstChild(); child; child = child->getNextSibling())
    if (isElementNamed(child, childName) && attributeOf(child, "id") == idValue)
      return splitWords(textOf(child), out);
}

}  // namespace zel
