#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/ConfigFile.h"
#include "config/Settings.h"

namespace kellanseek::config {

/// Parser for the scan configuration file. Methods return S_OK, S_FALSE for an absent element, or a failure
/// code; they trace failures and never throw. Not thread-safe: used by one thread, while the component object
/// starts. The listener, which must outlive the parser, hears what is read.
class CLanSeekConfigParser {
 public:
  explicit CLanSeekConfigParser(platform::DebugOutput& output,
                                XmlDocumentFactory create = platform::CreateXmlDocument,
                                ReadListener& listener = ReadListener::None());

  /// Loads the file and checks its encoding; on success the parser is valid.
  HRESULT Init(const std::wstring& path) { return file_.Open(path); }
  /// Overwrites the settings that the file names and validates the result. Returns E_FAIL if the parser is
  /// not valid.
  HRESULT GetInformation(CKelLanSeekConfigSettings& settings);

  /// The two steps of GetInformation(), without the validation. They are independent of each other. The
  /// listener hears of the document element only in the first.
  HRESULT GetCommunicationSettings(CKelLanSeekConfigSettings& settings);
  HRESULT GetInterfaceSettings(std::vector<SubNetEntry>& subNets, std::int32_t& interfaceMode,
                               std::int32_t& detectChanges);

 private:
  HRESULT ReadSubNets(const Container& list, platform::XmlNode& container, std::vector<SubNetEntry>& subNets);
  HRESULT ReadSubNet(platform::XmlNode& node, std::vector<SubNetEntry>& subNets);

  ConfigFile file_;
};

}  // namespace kellanseek::config
