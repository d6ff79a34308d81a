#pragma once

#include <string>
#include <vector>

#include "config/EncodedDocument.h"
#include "controllers/CtrlInfo.h"

namespace kellanseek::config {

/// Parser for the static controller file. Methods return S_OK, S_FALSE for an absent element, or a failure
/// code; they trace failures and never throw. Not thread-safe: used by one thread, while the component object
/// starts.
class CControllerIdParser {
 public:
  explicit CControllerIdParser(platform::DebugOutput& output,
                               config::XmlDocumentFactory create = platform::CreateXmlDocument);

  /// Loads the file and checks its encoding; on success the parser is valid.
  HRESULT Init(const std::wstring& path);
  /// Appends one record per controller in file order, unchecked. Returns E_FAIL if the parser is not valid.
  /// After any failure the contents of `list` are meaningless.
  HRESULT GetInformation(std::vector<controllers::CtrlInfo>& list);

  const config::EncodedDocument& File() const { return file_; }

 private:
  HRESULT ReadControllers(std::vector<controllers::CtrlInfo>& list);
  HRESULT ReadController(platform::XmlNode& node, controllers::CtrlInfo& record);

  config::XmlDocumentFactory create_;
  diagnostics::Tracer trace_;
  config::EncodedDocument file_;
};

}  // namespace kellanseek::config
