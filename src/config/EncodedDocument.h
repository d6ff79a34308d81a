#pragma once

#include <functional>
#include <memory>
#include <string>

#include "diagnostics/Trace.h"
#include "platform/XmlDocument.h"

namespace kellanseek::config {

using XmlDocumentFactory = std::function<HRESULT(std::unique_ptr<platform::XmlDocument>&)>;

/// What is said when a file is rejected, by the step that failed.
struct RejectionMessages {
  const wchar_t* firstChild;
  const wchar_t* attributes;
  const wchar_t* encodingAttribute;
  const wchar_t* encodingText;  ///< Null: a declaration that cannot be read counts as an empty encoding.
  const wchar_t* wrongEncoding;
  const wchar_t* missing;
};

/// A configuration file, loaded as a whole, that has an XML declaration with the encoding ISO-8859-1.
class EncodedDocument {
 public:
  /// Loads a file. E_INVALIDARG without a message when it cannot be loaded, or with one when its encoding is
  /// another; E_FAIL with a message when no encoding is declared; the XML library's failure otherwise.
  HRESULT Open(const std::wstring& path, const XmlDocumentFactory& create, const RejectionMessages& messages,
               const diagnostics::Tracer& trace);

  /// Open() has succeeded.
  bool Valid() const { return valid_; }
  /// In words, why the file could not be loaded; empty when it was loaded, or there is no XML library.
  const std::wstring& LoadProblem() const { return loadProblem_; }
  /// The loaded document, also when its encoding was rejected; null when nothing could be loaded.
  platform::XmlDocument* Document() const { return loadProblem_.empty() ? document_.get() : nullptr; }

 private:
  HRESULT CheckEncoding(const RejectionMessages& messages, const diagnostics::Tracer& trace);

  std::unique_ptr<platform::XmlDocument> document_;
  std::wstring loadProblem_;
  bool valid_ = false;
};

}  // namespace kellanseek::config
