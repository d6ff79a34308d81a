#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace kellanseek::kelseek {

/// What was recorded while the doctor listened.
struct Evidence {
  std::string traces;
  std::string whyNoTraces;  ///< Empty if there are traces.
  std::string capture;      ///< A capture file.
  std::string whyNoCapture;
};

struct BundleFile {
  std::string name;
  std::string what;  ///< For people.
  std::string content;
};

/// Everything for somebody who looks for the fault elsewhere.
class Bundle {
 public:
  /// Collects what the host and the report say, and reads the configuration files. The findings are as they
  /// were printed, and as JSON.
  Bundle(const nlohmann::json& report, std::string findings, std::string findingsJson, Evidence evidence);

  /// README.txt first.
  const std::vector<BundleFile>& Files() const { return files_; }
  /// Writes the archive. Throws CommandError if the file exists or cannot be written.
  void Write(const std::string& file) const;

 private:
  void Add(std::string name, std::string what, std::string content);
  void AddConfiguration(const nlohmann::json& configuration);
  void AddEvidence(Evidence evidence);
  std::string Readme(const nlohmann::json& report) const;

  std::vector<BundleFile> files_;
  std::string missing_;  ///< Lines about what could not be had.
};

/// Throws CommandError if there is something at the path, so that nothing is overwritten and nobody waits in
/// vain.
void RequireNewFile(const std::string& file);

}  // namespace kellanseek::kelseek
