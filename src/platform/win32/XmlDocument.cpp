#include "platform/XmlDocument.h"

#include <string_view>
#include <utility>

#include "platform/win32/Apartment.h"
#include "platform/win32/ElementLines.h"
#include "platform/win32/System.h"

#include <msxml2.h>

namespace kellanseek::platform {

namespace {

// Defined here because not every compiler has an import library with it.
constexpr IID kDomDocument2 = {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

/// Limit on nesting. Older versions of the XML library have none.
constexpr std::size_t kDeepestElement = 256;

using NodePointer = KelComPtr<IXMLDOMNode>;

/// The XML library reports "not found" as S_FALSE with a null output, or as success without an object.
template <typename Pointer>
HRESULT FoundOrNot(HRESULT result, const Pointer& pointer) {
  if (FAILED(result)) return result;
  return pointer ? S_OK : S_FALSE;
}

HRESULT HasName(IXMLDOMNode& node, const std::wstring& name) {
  KelBstr nodeName;
  const HRESULT result = node.get_nodeName(nodeName.Put());
  if (FAILED(result)) return result;
  return nodeName.Text() == name ? S_OK : S_FALSE;
}

/// A node of the library and its index in the element lines.
struct Located {
  NodePointer node;
  std::size_t element = ElementLines::kNone;
};

/// Calls `visit(child)` for each child element in document order until it returns something other than
/// S_FALSE, and returns that; otherwise S_FALSE.
template <typename Visit>
HRESULT ForEachChildElement(const Located& parent, const ElementLines& lines, Visit visit) {
  Located child = {NodePointer(), lines.FirstChild(parent.element)};
  HRESULT result = parent.node->get_firstChild(child.node.Put());
  while (SUCCEEDED(result) && child.node) {
    DOMNodeType type = NODE_INVALID;
    result = child.node->get_nodeType(&type);
    if (FAILED(result)) break;
    Located next = {NodePointer(), child.element};
    const HRESULT nextResult = child.node->get_nextSibling(next.node.Put());
    if (type == NODE_ELEMENT) {
      next.element = lines.NextSibling(child.element);
      const HRESULT visited = visit(std::move(child));
      if (visited != S_FALSE) return visited;
    }
    child = std::move(next);
    result = nextResult;
  }
  return FAILED(result) ? result : S_FALSE;
}

/// The value of `name="value"` in the text of an XML declaration known to be well-formed.
HRESULT DeclaredValue(const std::wstring& declaration, const std::wstring& name, std::wstring& value) {
  const std::size_t found = declaration.find(name);
  if (found == std::wstring::npos) return S_FALSE;
  const std::size_t open = declaration.find_first_of(L"\"'", found + name.size());
  if (open == std::wstring::npos) return S_FALSE;
  const std::size_t close = declaration.find(declaration[open], open + 1);
  if (close == std::wstring::npos) return S_FALSE;
  value = declaration.substr(open + 1, close - open - 1);
  return S_OK;
}

class MsxmlNode final : public XmlNode {
 public:
  /// `lines` must outlive the node.
  MsxmlNode(Located place, const ElementLines& lines) : place_(std::move(place)), lines_(lines) {}

  HRESULT SelectSingleNode(const std::wstring& name, std::unique_ptr<XmlNode>& child) override {
    return ForEachChildElement(place_, lines_, [&](Located element) {
      const HRESULT named = HasName(*element.node, name);
      if (named == S_OK) child = std::make_unique<MsxmlNode>(std::move(element), lines_);
      return named;
    });
  }

  HRESULT SelectNodes(const std::wstring& name, std::vector<std::unique_ptr<XmlNode>>& children) override {
    std::vector<std::unique_ptr<XmlNode>> found;
    const HRESULT result = ForEachChildElement(place_, lines_, [&](Located element) {
      const HRESULT named = HasName(*element.node, name);
      if (named == S_OK) found.push_back(std::make_unique<MsxmlNode>(std::move(element), lines_));
      return FAILED(named) ? named : S_FALSE;
    });
    if (FAILED(result)) return result;
    children = std::move(found);
    return S_OK;
  }

  HRESULT Text(std::wstring& text) override {
    KelBstr value;
    const HRESULT result = place_.node->get_text(value.Put());
    if (SUCCEEDED(result)) text = value.Text();
    return result;
  }

  HRESULT ChildNames(std::vector<std::wstring>& names) override {
    std::vector<std::wstring> found;
    const HRESULT result = ForEachChildElement(place_, lines_, [&](Located element) {
      KelBstr name;
      const HRESULT named = element.node->get_nodeName(name.Put());
      found.push_back(name.Text());
      return FAILED(named) ? named : S_FALSE;
    });
    if (FAILED(result)) return result;
    names = std::move(found);
    return S_OK;
  }

  std::size_t Line() const override { return lines_.LineOf(place_.element); }

 private:
  Located place_;
  const ElementLines& lines_;
};

/// Whether the document may declare entities. These files have no use for them, and entities can make a small
/// file expand into a huge document. Ignores NULs, so that two-byte encodings are covered.
bool DeclaresEntities(std::string_view bytes) {
  constexpr std::string_view kDeclaration = "<!ENTITY";
  std::size_t matched = 0;
  for (const char byte : bytes) {
    if (byte == '\0') continue;
    if (byte != kDeclaration[matched]) matched = 0;
    if (byte == kDeclaration[matched] && ++matched == kDeclaration.size()) return true;
  }
  return false;
}

/// Whether a document with the UTF-8 byte order mark declares an encoding of another family. Some versions of
/// the XML library accept that.
bool ContradictsItsMark(std::string_view bytes) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  constexpr std::string_view kDeclaration = "<?xml";
  if (!bytes.starts_with(kMark) || !bytes.substr(kMark.size()).starts_with(kDeclaration)) return false;
  const std::string_view declaration = bytes.substr(0, bytes.find("?>"));
  std::wstring encoding;
  if (DeclaredValue(std::wstring(declaration.begin(), declaration.end()), L"encoding", encoding) != S_OK)
    return false;
  return encoding.size() < 3 || CompareStringOrdinal(encoding.data(), 3, L"UTF", 3, TRUE) != CSTR_EQUAL;
}

/// The bytes of a file in the array type that the XML library loads from.
class FileBytes {
 public:
  FileBytes() { VariantInit(&bytes_); }
  ~FileBytes() { VariantClear(&bytes_); }
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  const VARIANT& Array() const { return bytes_; }

  /// The bytes read. Valid during the lifetime of this object.
  std::string_view Text() const {
    if (bytes_.vt != (VT_ARRAY | VT_UI1)) return {};
    return {static_cast<const char*>(bytes_.parray->pvData), bytes_.parray->rgsabound[0].cElements};
  }

  DWORD Read(const std::wstring& path) {
    const UniqueHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!file || GetFileSizeEx(file.get(), &size) == FALSE) return GetLastError();
    if (size.QuadPart > static_cast<LONGLONG>(XmlDocument::kMaxFileBytes)) return ERROR_FILE_TOO_LARGE;
    if (size.QuadPart == 0) return ERROR_HANDLE_EOF;
    const ULONG count = static_cast<ULONG>(size.QuadPart);
    bytes_.parray = SafeArrayCreateVector(VT_UI1, 0, count);
    if (bytes_.parray == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    bytes_.vt = VT_ARRAY | VT_UI1;
    DWORD read = 0;
    if (ReadFile(file.get(), bytes_.parray->pvData, count, &read, nullptr) == FALSE) return GetLastError();
    return read == count ? ERROR_SUCCESS : ERROR_HANDLE_EOF;
  }

 private:
  VARIANT bytes_;
};

class MsxmlDocument final : public XmlDocument {
 public:
  /// Creates a document with the newest installed XML library. The module links to none of them.
  HRESULT Create() {
    HRESULT result = E_FAIL;
    for (const wchar_t* progId : {L"Msxml2.DOMDocument.6.0", L"Msxml2.DOMDocument.3.0"}) {
      CLSID clsid = {};
      result = CLSIDFromProgID(progId, &clsid);
      if (SUCCEEDED(result)) {
        result = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, kDomDocument2, document_.PutVoid());
      }
      if (SUCCEEDED(result)) break;
    }
    if (FAILED(result)) return result;
    document_->put_async(VARIANT_FALSE);
    document_->put_validateOnParse(VARIANT_FALSE);
    document_->put_resolveExternals(VARIANT_FALSE);
    return S_OK;
  }

  HRESULT Load(const std::wstring& path, std::wstring& why) override {
    FileBytes file;
    if (const DWORD error = file.Read(path); error != ERROR_SUCCESS) {
      why = SystemMessage(error);
      return HRESULT_FROM_WIN32(error);
    }
    if (DeclaresEntities(file.Text())) {
      why = L"The file declares entities, which are not allowed.";
      return E_FAIL;
    }
    if (ContradictsItsMark(file.Text())) {
      why = L"The file begins with a byte order mark and declares an encoding that has none.";
      return E_FAIL;
    }
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const HRESULT result = document_->load(file.Array(), &loaded);
    if (FAILED(result) || loaded != VARIANT_TRUE) {
      why = ParseErrorText();
      return FAILED(result) ? result : E_FAIL;
    }
    lines_ = ElementLines(file.Text());
    if (lines_.Depth() <= kDeepestElement) return S_OK;
    why = L"The elements of the file are nested too deep.";
    return E_FAIL;
  }

  HRESULT DeclaredEncoding(std::wstring& encoding, EncodingStep& failedAt) override {
    NodePointer declaration;
    KelComPtr<IXMLDOMNamedNodeMap> attributes;
    NodePointer attribute;
    failedAt = EncodingStep::FirstChild;
    HRESULT result = FoundOrNot(document_->get_firstChild(declaration.Put()), declaration);
    if (result != S_OK) return result;
    DOMNodeType type = NODE_INVALID;
    result = declaration->get_nodeType(&type);
    if (FAILED(result) || type != NODE_PROCESSING_INSTRUCTION) return FAILED(result) ? result : S_FALSE;
    failedAt = EncodingStep::Attributes;
    result = FoundOrNot(declaration->get_attributes(attributes.Put()), attributes);
    if (result != S_OK) return result;
    failedAt = EncodingStep::EncodingAttribute;
    const std::wstring name = L"encoding";
    const KelBstr nameText(name);
    result = FoundOrNot(attributes->getNamedItem(nameText.Get(), attribute.Put()), attribute);
    // Some versions of the library list no attributes for the declaration, although its text has them.
    if (result == S_FALSE) return FromDeclarationText(*declaration, name, encoding);
    if (result != S_OK) return result;
    failedAt = EncodingStep::Text;
    KelBstr text;
    result = attribute->get_text(text.Put());
    if (SUCCEEDED(result)) encoding = text.Text();
    return result;
  }

  HRESULT SelectRoot(const std::wstring& name, std::unique_ptr<XmlNode>& root) override {
    KelComPtr<IXMLDOMElement> element;
    HRESULT result = FoundOrNot(document_->get_documentElement(element.Put()), element);
    if (result != S_OK) return result;
    result = HasName(*element, name);
    if (result != S_OK) return result;
    root = std::make_unique<MsxmlNode>(Located{NodePointer(std::move(element)), ElementLines::kRoot}, lines_);
    return S_OK;
  }

 private:
  static HRESULT FromDeclarationText(IXMLDOMNode& node, const std::wstring& name, std::wstring& value) {
    KelBstr text;
    const HRESULT result = node.get_text(text.Put());
    return FAILED(result) ? result : DeclaredValue(text.Text(), name, value);
  }

  std::wstring ParseErrorText() {
    KelComPtr<IXMLDOMParseError> error;
    if (FAILED(document_->get_parseError(error.Put())) || !error) return L"The file cannot be parsed.";
    KelBstr reason;
    long line = 0;
    error->get_reason(reason.Put());
    error->get_line(&line);
    std::wstring text = reason.Text();
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
    return line == 0 ? text : L"line " + std::to_wstring(line) + L": " + text;
  }

  /// The creating thread may not have initialised COM, for example if the module was loaded by its path; the
  /// XML library needs it.
  MultithreadedApartment apartment_;
  KelComPtr<IXMLDOMDocument2> document_;
  ElementLines lines_;
};

}  // namespace

HRESULT CreateXmlDocument(std::unique_ptr<XmlDocument>& document) {
  auto created = std::make_unique<MsxmlDocument>();
  const HRESULT result = created->Create();
  if (SUCCEEDED(result)) document = std::move(created);
  return result;
}

}  // namespace kellanseek::platform
