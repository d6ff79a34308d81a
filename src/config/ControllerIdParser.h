#pragma once

#include <string>
#include <vector>

#include "config/ConfigFile.h"
#include "controllers/CtrlInfo.h"

namespace kellanseek::config {

/// Parser for the static controller file. Methods return S_OK, S_FALSE for an absent element, or a failure
/// code; they trace failures and never throw. Not thread-safe: used by one thread, while the component object
/// starts. The listener, which must outlive the parser, hears what is read.
class CControllerIdParser {
 public:
  explicit CControllerIdParser(platform::DebugOutput& output,
                               XmlDocumentFactory create = platform::CreateXmlDocument,
                               ReadListener& listener = ReadListener::None());

  /// Loads the file and checks its encoding; on success the parser is valid.
  HRESULT Init(const std::wstring& path) { return file_.Open(path); }
  /// Appends one record per controller in file order, unchecked. Returns E_FAIL if the parser is not valid.
  /// After any failure the contents of `list` are meaningless.
  HRESULT GetInformation(std::vector<controllers::CtrlInfo>& list);

 private:
  HRESULT ReadController(platform::XmlNode& node, controllers::CtrlInfo& record);

  ConfigFile file_;
};

/// Whether the version is known as a whole: a major version other than 0, a minor version and a revision.
/// Otherwise none of the four version numbers counts.
bool VersionKnown(const controllers::CtrlInfo& record);

}  // namespace kellanseek::config
