#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/EncodedDocument.h"
#include "config/Settings.h"

namespace kellanseek {

/// Reads the scan configuration file. Results are S_OK, S_FALSE for an element that is not there, or a
/// failure code; what fails is traced, and nothing throws. For one thread, while a component object starts.
class CLanSeekConfigParser {
 public:
  explicit CLanSeekConfigParser(platform::DebugOutput& output,
                                config::XmlDocumentFactory create = platform::CreateXmlDocument);

  /// Loads the file and checks its encoding; on success the parser is valid.
  HRESULT Init(const std::wstring& path);
  /// Fills the settings with what the file names and validates the result; what it does not name stays as it
  /// is. E_FAIL unless the parser is valid.
  HRESULT GetInformation(CKelLanSeekConfigSettings& settings);

  /// The two halves of GetInformation().
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

}  // namespace kellanseek
