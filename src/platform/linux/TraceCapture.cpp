#include "platform/TraceCapture.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/HostProbe.h"

namespace kellanseek::platform {
namespace {

constexpr const char* kSinkVariable = "KELLANSEEK_TRACE";

/// A directory of its own, because a trace file that has become long gets a second name.
class TraceDirectory final : public TraceCapture {
 public:
  explicit TraceDirectory(std::filesystem::path directory) : directory_(std::move(directory)) {
    ::setenv(kSinkVariable, ("file:" + File().string()).c_str(), 1);
  }
  ~TraceDirectory() override {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  std::string Read() override { return ContentOf(File().string() + ".1") + ContentOf(File()); }

 private:
  std::filesystem::path File() const { return directory_ / "traces.log"; }
  static std::string ContentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  const std::filesystem::path directory_;
};

}  // namespace

std::unique_ptr<TraceCapture> CaptureTraces(std::string& why) {
  std::error_code error;
  std::string name = (std::filesystem::temp_directory_path(error) / "kelseek-XXXXXX").string();
  if (error || ::mkdtemp(name.data()) == nullptr) {
    why = "No place for a temporary file: " + (error ? error.message() : TextOfError(errno)) + ".";
    return nullptr;
  }
  return std::make_unique<TraceDirectory>(name);
}

}  // namespace kellanseek::platform
