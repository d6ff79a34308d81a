#pragma once

#include <functional>
#include <memory>
#include <string>

#include "diagnostics/Trace.h"
#include "platform/XmlDocument.h"

namespace kellanseek::config {

using XmlDocumentFactory = std::function<HRESULT(std::unique_ptr<platform::XmlDocument>&)>;

/// Trace messages for a rejected file, one for each step that can fail.
struct RejectionMessages {
  const wchar_t* firstChild;
  const wchar_t* attributes;
  const wchar_t* encodingAttribute;
  const wchar_t* encodingText;  ///< Null if an unreadable encoding counts as an empty one.
  const wchar_t* wrongEncoding;
  const wchar_t* missing;
};

/// A configuration file: an XML document, loaded as a whole, whose declaration names the encoding ISO-8859-1.
class EncodedDocument {
 public:
  /// Loads the file and checks its encoding. Returns E_INVALIDARG if it cannot be loaded (not traced, because
  /// both files are optional) or declares another encoding, E_FAIL if it declares none, otherwise the failure
  /// code of the XML library.
  HRESULT Open(const std::wstring& path, const XmlDocumentFactory& create, const RejectionMessages& messages,
               const diagnostics::Tracer& trace);

  /// Whether Open() has succeeded.
  bool Valid() const { return valid_; }
  /// Why the file could not be loaded, for the user. Empty if it was loaded, or if there is no XML library.
  const std::wstring& LoadProblem() const { return loadProblem_; }
  /// The loaded document, even if its encoding was rejected. Null if nothing was loaded.
  platform::XmlDocument* Document() const { return loadProblem_.empty() ? document_.get() : nullptr; }

 private:
  HRESULT CheckEncoding(const RejectionMessages& messages, const diagnostics::Tracer& trace);

  std::unique_ptr<platform::XmlDocument> document_;
  std::wstring loadProblem_;
  bool valid_ = false;
};

}  // namespace kellanseek::config
