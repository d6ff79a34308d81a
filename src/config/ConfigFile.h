#pragma once

#include <functional>
#include <memory>
#include <string>

#include "config/ReadListener.h"
#include "diagnostics/Trace.h"
#include "platform/XmlDocument.h"

namespace kellanseek::config {

using XmlDocumentFactory = std::function<HRESULT(std::unique_ptr<platform::XmlDocument>&)>;

/// The trace messages of a file's parser.
struct FileMessages {
  const wchar_t* unit;
  /// One for each step of reading the encoding, in the order of XmlDocument::EncodingStep. The last is null
  /// if an unreadable encoding counts as an empty one.
  const wchar_t* encodingFailed[4];
  const wchar_t* wrongEncoding;
  const wchar_t* noEncoding;
  // The parts of a message before the element's name, which " failed" follows:
  const wchar_t* lookupFailed;
  const wchar_t* textFailed;
};

/// A configuration file: an XML document, loaded as a whole, whose declaration names the encoding ISO-8859-1.
/// Traces failures with the messages of the parser that uses it, and reports to a listener. Methods return
/// S_OK, S_FALSE for an absent element, or a failure code.
class ConfigFile {
 public:
  using Node = std::unique_ptr<platform::XmlNode>;

  /// `messages` and `listener` must outlive the file.
  ConfigFile(platform::DebugOutput& output, const FileMessages& messages, XmlDocumentFactory create,
             ReadListener& listener);

  /// Loads the file and checks its encoding. Returns E_INVALIDARG if it cannot be loaded (not traced, because
  /// both files are optional) or declares another encoding, E_FAIL if it declares none, otherwise the failure
  /// code of the XML library.
  HRESULT Open(const std::wstring& path);
  /// Whether Open() has succeeded. The other methods may be called only then.
  bool Valid() const { return valid_; }

  /// Finds the document element.
  HRESULT Root(const Container& root, Node& node, const wchar_t* lookupFailed = nullptr) const;
  /// Finds the first child of that name.
  HRESULT Select(platform::XmlNode& parent, const wchar_t* name, Node& child,
                 const wchar_t* lookupFailed = nullptr) const;
  /// Reads the text of `node`; `name` is used only to trace a failure.
  HRESULT Text(platform::XmlNode& node, const wchar_t* name, std::wstring& text) const;
  /// Reads the first child that is `element` into its field of `record`, and reports it.
  template <typename Record>
  HRESULT Read(platform::XmlNode& parent, const Element& element, Record& record,
               const wchar_t* lookupFailed = nullptr) const {
    Node child;
    std::wstring text;
    HRESULT result = Select(parent, element.name, child, lookupFailed);
    if (result == S_OK) result = Text(*child, element.name, text);
    if (result != S_OK) return result;
    Store(element, text, record);
    listener_.Read(element, *child, text);
    return result;
  }

  const diagnostics::Tracer& Trace() const { return trace_; }
  ReadListener& Listener() const { return listener_; }

 private:
  HRESULT CheckEncoding();
  HRESULT NoEncoding();
  void TraceLookup(HRESULT result, const wchar_t* name, const wchar_t* lookupFailed) const;

  const FileMessages& messages_;
  diagnostics::Tracer trace_;
  XmlDocumentFactory create_;
  ReadListener& listener_;
  std::unique_ptr<platform::XmlDocument> document_;
  bool valid_ = false;
};

}  // namespace kellanseek::config
