#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/EncodedDocument.h"
#include "config/Settings.h"

namespace kellanseek::config {

/// Parser for the scan configuration file. Methods return S_OK, S_FALSE for an absent element, or a failure
/// code; they trace failures and never throw. Not thread-safe: used by one thread, while the component object
/// starts.
class CLanSeekConfigParser {
 public:
  explicit CLanSeekConfigParser(platform::DebugOutput& output,
                                config::XmlDocumentFactory create = platform::CreateXmlDocument);

  /// Loads the file and checks its encoding; on success the parser is valid.
  HRESULT Init(const std::wstring& path);
  /// Overwrites the settings that the file names and validates the result. Returns E_FAIL if the parser is
  /// not valid.
  HRESULT GetInformation(CKelLanSeekConfigSettings& settings);

  /// The two steps of GetInformation(), without the validation.
  HRESULT GetCommunicationSettings(CKelLanSeekConfigSettings& settings);
  HRESULT GetInterfaceSettings(std::vector<SubNetEntry>& subNets, std::int32_t& interfaceMode,
                               std::int32_t& detectChanges);

  const config::EncodedDocument& File() const { return file_; }

 private:
  HRESULT ReadCommunicationSettings(CKelLanSeekConfigSettings& settings);
  HRESULT ReadInterfaceSettings(std::vector<SubNetEntry>& subNets, std::int32_t& interfaceMode,
                                std::int32_t& detectChanges);
  HRESULT ReadSubNets(platform::XmlNode& container, std::vector<SubNetEntry>& subNets);

  config::XmlDocumentFactory create_;
  diagnostics::Tracer trace_;
  config::EncodedDocument file_;
};

}  // namespace kellanseek::config
