#include "platform/XmlDocument.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

#include "platform/linux/FileText.h"
#include "text/Ascii.h"

namespace kellanseek::platform {
namespace {

template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
using ParserContext = std::unique_ptr<xmlParserCtxt, FreedBy<xmlFreeParserCtxt>>;
using DocumentTree = std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>>;

constexpr int kDeepestElement = 256;
constexpr std::string_view kXmlWhiteSpace = " \t\r\n";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string_view Bytes(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

/// An element with a namespace prefix is another one than that of the plain name.
bool HasName(const xmlNode& node, std::string_view name) {
  const bool prefixed = node.ns != nullptr && node.ns->prefix != nullptr;
  return !prefixed && Bytes(node.name) == name;
}

std::wstring QualifiedName(const xmlNode& node) {
  std::wstring name;
  if (node.ns != nullptr && node.ns->prefix != nullptr) name = FromUtf8(Bytes(node.ns->prefix)) + L':';
  return name + FromUtf8(Bytes(node.name));
}

/// The first problem found while a document is parsed. The library's context points to it.
struct ParseTrouble {
  bool stopped = false;
  bool outOfMemory = false;
  std::wstring text;

  /// Notes the text that `make` returns. No exception may pass through the library, which is C and would
  /// leak.
  template <typename Make>
  void Note(Make make) noexcept {
    try {
      text = make();
    } catch (const std::bad_alloc&) {
      outOfMemory = true;
    }
  }
};

ParseTrouble& TroubleOf(void* context) {
  return *static_cast<ParseTrouble*>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

void Stop(void* context, const wchar_t* why) {
  ParseTrouble& trouble = TroubleOf(context);
  if (!trouble.stopped) trouble.Note([why] { return why; });
  trouble.stopped = true;
  xmlStopParser(static_cast<xmlParserCtxtPtr>(context));
}

/// These files have no use for entities, and entities can make a small file expand into a huge document.
void RefuseEntity(void* context, const xmlChar*, int, const xmlChar*, const xmlChar*, xmlChar*) {
  Stop(context, L"The file declares entities, which are not allowed.");
}

/// Limits the depth, because the library's own limit goes away together with its limit on size.
void StartElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaultedCount,
                  const xmlChar** attributes) {
  xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount,
                        defaultedCount, attributes);
  if (static_cast<xmlParserCtxtPtr>(context)->nodeNr > kDeepestElement) {
    Stop(context, L"The elements of the file are nested too deep.");
  }
}

void KeepFirstError(void* context, xmlErrorPtr error) {
  ParseTrouble& trouble = TroubleOf(context);
  if (!trouble.text.empty() || error == nullptr || error->level < XML_ERR_ERROR) return;
  std::string_view message = error->message == nullptr ? "not well-formed" : error->message;
  while (!message.empty() && message.back() == '\n') message.remove_suffix(1);
  trouble.Note([&] { return L"line " + std::to_wstring(error->line) + L": " + FromUtf8(message); });
}

bool StartsWithByteOrderMark(std::string_view bytes) {
  return bytes.starts_with(kUtf8Mark) || bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

class LibxmlNode final : public XmlNode {
 public:
  explicit LibxmlNode(xmlNode* node) : node_(node) {}

  HRESULT SelectSingleNode(const std::wstring& name, std::unique_ptr<XmlNode>& child) override {
    const std::string bytes = ToUtf8(name);
    for (xmlNode* each = node_->children; each != nullptr; each = each->next) {
      if (each->type != XML_ELEMENT_NODE || !HasName(*each, bytes)) continue;
      child = std::make_unique<LibxmlNode>(each);
      return S_OK;
    }
    return S_FALSE;
  }

  HRESULT SelectNodes(const std::wstring& name, std::vector<std::unique_ptr<XmlNode>>& children) override {
    const std::string bytes = ToUtf8(name);
    std::vector<std::unique_ptr<XmlNode>> found;
    for (xmlNode* each = node_->children; each != nullptr; each = each->next) {
      if (each->type == XML_ELEMENT_NODE && HasName(*each, bytes))
        found.push_back(std::make_unique<LibxmlNode>(each));
    }
    children = std::move(found);
    return S_OK;
  }

  HRESULT Text(std::wstring& text) override {
    // Nearly every element holds a single text, of which the library would make a copy.
    if (const xmlNode* const only = node_->children;
        only != nullptr && only->next == nullptr && only->type == XML_TEXT_NODE) {
      text = Contents(only->content);
      return S_OK;
    }
    const std::unique_ptr<xmlChar, FreedBy<[](xmlChar* content) { xmlFree(content); }>> content(
        xmlNodeGetContent(node_));
    if (!content) return E_OUTOFMEMORY;
    text = Contents(content.get());
    return S_OK;
  }

  HRESULT ChildNames(std::vector<std::wstring>& names) override {
    std::vector<std::wstring> found;
    for (xmlNode* each = node_->children; each != nullptr; each = each->next) {
      if (each->type == XML_ELEMENT_NODE) found.push_back(QualifiedName(*each));
    }
    names = std::move(found);
    return S_OK;
  }

  std::size_t Line() const override {
    const long line = xmlGetLineNo(node_);
    return line > 0 ? static_cast<std::size_t>(line) : 0;
  }

 private:
  static std::wstring Contents(const xmlChar* text) {
    return FromUtf8(text::Trimmed(Bytes(text), kXmlWhiteSpace));
  }

  xmlNode* node_;
};

class LibxmlDocument final : public XmlDocument {
 public:
  HRESULT Load(const std::wstring& path, std::wstring& why) override {
    tree_.reset();
    std::string bytes;
    const int error = ReadRegularFile(ToUtf8(path), kMaxFileBytes, bytes);
    if (error != 0) {
      why = error == EFBIG ? L"The file is larger than 16 MiB." : ErrorText(error);
      return E_FAIL;
    }
    return Parse(bytes, why);
  }

  HRESULT DeclaredEncoding(std::wstring& encoding, EncodingStep& failedAt) override {
    failedAt = EncodingStep::FirstChild;
    if (!tree_) return E_FAIL;
    // The library sets "standalone" to -1 only if the document has no declaration.
    if (tree_->standalone == -1) return S_FALSE;
    failedAt = EncodingStep::EncodingAttribute;
    if (tree_->encoding == nullptr) return S_FALSE;
    encoding = FromUtf8(Bytes(tree_->encoding));
    return S_OK;
  }

  HRESULT SelectRoot(const std::wstring& name, std::unique_ptr<XmlNode>& root) override {
    if (!tree_) return E_FAIL;
    xmlNode* const element = xmlDocGetRootElement(tree_.get());
    if (element == nullptr || !HasName(*element, ToUtf8(name))) return S_FALSE;
    root = std::make_unique<LibxmlNode>(element);
    return S_OK;
  }

 private:
  HRESULT Parse(const std::string& bytes, std::wstring& why) {
    xmlInitParser();
    const ParserContext context(xmlNewParserCtxt());
    if (!context) return E_OUTOFMEMORY;
    ParseTrouble trouble;
    context->_private = &trouble;
    context->sax->entityDecl = RefuseEntity;
    context->sax->startElementNs = StartElement;
    context->sax->serror = KeepFirstError;
    DocumentTree tree(
        xmlCtxtReadMemory(context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                          XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT));
    if (trouble.outOfMemory) return E_OUTOFMEMORY;
    if (!tree || context->wellFormed == 0 || trouble.stopped) {
      why = trouble.text.empty() ? L"The file is not well-formed." : trouble.text;
      return E_FAIL;
    }
    if (StartsWithByteOrderMark(bytes) && !Bytes(tree->encoding).empty() &&
        xmlStrncasecmp(tree->encoding, reinterpret_cast<const xmlChar*>("UTF"), 3) != 0) {
      why = L"The file begins with a byte order mark and declares an encoding that has none.";
      return E_FAIL;
    }
    tree_ = std::move(tree);
    return S_OK;
  }

  DocumentTree tree_;
};

}  // namespace

HRESULT CreateXmlDocument(std::unique_ptr<XmlDocument>& document) {
  document = std::make_unique<LibxmlDocument>();
  return S_OK;
}

}  // namespace kellanseek::platform
