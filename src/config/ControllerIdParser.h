#pragma once

#include <string>
#include <vector>

#include "config/EncodedDocument.h"
#include "controllers/CtrlInfo.h"

namespace kellanseek {

/// Reads the static controller file. Results are S_OK, S_FALSE for an element that is not there, or a failure
/// code; what fails is traced, and nothing throws. For one thread, while a component object starts.
class CControllerIdParser {
 public:
  explicit CControllerIdParser(platform::DebugOutput& output,
                               config::XmlDocumentFactory create = platform::CreateXmlDocument);

  /// Loads the file and checks its encoding; on success the parser is valid.
  HRESULT Init(const std::wstring& path);
  /// Appends one record for each controller of the file, in its order, as it is written there: nothing is
  /// checked. After a failure the list is of no use. E_FAIL unless the parser is valid.
  HRESULT GetInformation(std::vector<CtrlInfo>& list);

  const config::EncodedDocument& File() const { return file_; }

 private:
  HRESULT ReadControllers(std::vector<CtrlInfo>& list);
  HRESULT ReadController(platform::XmlNode& node, CtrlInfo& record);

  config::XmlDocumentFactory create_;
  diagnostics::Tracer trace_;
  config::EncodedDocument file_;
};

}  // namespace kellanseek
