#include "client/StaticFile.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "client/Session.h"
#include "client/Text.h"
#include "config/Configuration.h"
#include "config/ControllerIdParser.h"
#include "config/Elements.h"
#include "configcheck/DefaultConfiguration.h"
#include "platform/DebugOutput.h"
#include "platform/Files.h"
#include "platform/Ipv4.h"
#include "platform/RegistryStore.h"

namespace kellanseek::kelseek {
namespace {

using config::Element;
using Record = controllers::CtrlInfo;

/// Names of elements are plain ASCII.
std::string Narrow(const wchar_t* name) { return ToUtf8(name); }

/// The text for an element of the file; nullopt if XML cannot hold it.
std::optional<std::string> Encoded(std::wstring_view wide) {
  std::string encoded;
  for (const char32_t each : text::CodePoints(ToUtf8(wide))) {
    const bool isBlank = each == U'\t' || each == U'\n' || each == U'\r';
    if ((each < 0x20 && !isBlank) || each == 0xFFFE || each == 0xFFFF) return std::nullopt;
    // Latin letters as they are; the rest as a reference, which is the same in every encoding and editor.
    const bool asIs = (each >= 0x20 && each < 0x7F) || (each > 0xA0 && each <= 0xFF && each != 0xAD);
    if (asIs && each != U'<' && each != U'>' && each != U'&') {
      encoded += static_cast<char>(each);
    } else {
      std::array<char, 16> reference{};
      std::snprintf(reference.data(), reference.size(), "&#x%X;", static_cast<unsigned>(each));
      encoded += reference.data();
    }
  }
  return encoded;
}

/// What the file says of a controller. A version counts only if it is complete, so another one is left out.
Record RecordOf(const client::Controller& controller) {
  Record record;
  record.ctrlName = FromUtf8(controller.name);
  record.ctrlAddress = FromUtf8(controller.address);
  record.systemName = FromUtf8(controller.system_name);
  record.releasePath = FromUtf8(controller.release_path);
  record.systemID = FromUtf8(controller.identity);
  record.ctrlID = FromUtf8(controller.controller_id);
  record.hostName = FromUtf8(controller.host_name.value_or(""));
  record.macAddress = FromUtf8(controller.mac);
  record.commPortNumber = controller.port.value_or(0);
  record.ctrlLevel = controller.level == client::Level::Boot ? BootLevel : SystemLevel;
  if (!controller.version || controller.version->major == 0 || !controller.version->revision) return record;
  record.versionMajor = controller.version->major;
  record.versionMinor = controller.version->minor;
  record.versionRevision = *controller.version->revision;
  record.kelAPICompatibilityRevision = controller.api_revision.value_or(record.versionRevision);
  return record;
}

/// The text of a field; empty if it is not known.
std::wstring TextOfField(const Element& element, const Record& record) {
  if (const auto* const text = std::get_if<std::wstring Record::*>(&element.field)) return record.*(*text);
  if (const auto* const text = std::get_if<text::CompactText Record::*>(&element.field))
    return (record.*(*text)).Wide();
  if (element.kind == Element::Kind::Level)
    return record.ctrlLevel == BootLevel ? L"BootLevel" : L"SystemLevel";
  const std::uint32_t number = record.*std::get<std::uint32_t Record::*>(element.field);
  const bool unknown =
      element.kind == Element::Kind::Version ? number == controllers::kVersionUnknown : number == 0;
  return unknown ? std::wstring() : std::to_wstring(number);
}

std::string Entry(const client::Controller& controller, const std::string& lineEnd) {
  const Record record = RecordOf(controller);
  const std::string name = Narrow(config::kControllerIdentity.name);
  std::string entry = "  <" + name + ">" + lineEnd;
  for (const Element& element : config::kControllerIdentity.texts) {
    const std::string tag = Narrow(element.name);
    const auto text = Encoded(TextOfField(element, record));
    if (!text || text->empty()) continue;
    entry.append("    <").append(tag).append(">").append(*text);
    entry.append("</").append(tag).append(">").append(lineEnd);
  }
  return entry + "  </" + name + ">" + lineEnd;
}

/// A tag of the root element in the text of a file.
struct Tag {
  std::size_t begin = std::string::npos;
  std::size_t end = 0;
};

std::size_t EndOfTag(std::string_view file, std::size_t begin) {
  char quote = 0;
  for (std::size_t i = begin; i < file.size(); ++i) {
    if (quote == 0 && file[i] == '>') return i + 1;
    if (file[i] == quote) {
      quote = 0;
    } else if (quote == 0 && (file[i] == '"' || file[i] == '\'')) {
      quote = file[i];
    }
  }
  return std::string_view::npos;
}

/// The last tag that begins with this text, of those that are not in comments and the like.
Tag LastTag(std::string_view file, std::string_view beginning) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kSkipped = {
      {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};
  Tag last;
  for (std::size_t at = file.find('<'); at < file.size(); at = file.find('<', at + 1)) {
    const std::string_view rest = file.substr(at);
    const auto skipped = std::find_if(kSkipped.begin(), kSkipped.end(),
                                      [&](const auto& each) { return rest.starts_with(each.first); });
    if (skipped != kSkipped.end()) {
      at = file.find(skipped->second, at + skipped->first.size());
      if (at == std::string_view::npos) break;
    } else if (rest.starts_with(beginning) && rest.substr(beginning.size()).find_first_of(" \t\r\n/>") == 0) {
      last = {at, EndOfTag(file, at)};
      if (last.end == std::string_view::npos) return {};
    }
  }
  return last;
}

std::filesystem::path PathOf(const std::wstring& text) {
  const std::string utf8 = ToUtf8(text);
  return {std::u8string(utf8.begin(), utf8.end())};
}

std::wstring WideOf(const std::filesystem::path& path) {
  const std::u8string utf8 = path.u8string();
  return FromUtf8(std::string(utf8.begin(), utf8.end()));
}

[[noreturn]] void Fail(const std::wstring& file, const std::string& why) {
  throw CommandError(kComponentFailed, "the controller is not saved: " + Printable(file) + ": " + why);
}

class NoTraces final : public platform::DebugOutput {
 public:
  bool Enabled() const override { return false; }
  void Write(std::wstring_view /*text*/) override {}
};

/// Why the component would refuse a file.
class Refusal final : public config::ReadListener {
 public:
  void NotLoaded(const std::wstring& why) override { text = why; }
  void EncodingRejected(const std::wstring& /*declared*/) override {
    text = L"It does not declare the encoding ISO-8859-1.";
  }
  void RootMissing(const config::Container& expected) override {
    text = std::wstring(L"Its document element is not ") + expected.name + L".";
  }

  std::wstring text;
};

/// The addresses in a file, in its order, as the component reads it.
std::vector<platform::Ipv4> AddressesIn(const std::wstring& file) {
  NoTraces traces;
  Refusal refusal;
  config::CControllerIdParser parser(traces, platform::CreateXmlDocument, refusal);
  std::vector<Record> records;
  const bool read = SUCCEEDED(parser.Init(file)) && SUCCEEDED(parser.GetInformation(records));
  if (!read || !refusal.text.empty())
    Fail(file, refusal.text.empty() ? "it cannot be read" : Printable(refusal.text));
  std::vector<platform::Ipv4> addresses;
  addresses.reserve(records.size());
  for (const Record& record : records)
    addresses.push_back(platform::ParseIpv4(std::wstring_view(record.ctrlAddress)));
  return addresses;
}

std::string ContentOf(const std::wstring& file) {
  std::ifstream stream(PathOf(file), std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream.is_open() || stream.bad()) Fail(file, "it cannot be read");
  return content;
}

/// A file that takes the place of another once it is complete, and is removed otherwise.
class Replacement {
 public:
  Replacement(const std::wstring& file, const std::string& content) : file_(file), path_(file + L".new") {
    std::wstring why;
    const HRESULT created = platform::CreateNewFile(path_, content, why);
    if (created == S_FALSE)
      Fail(path_, "it exists; another program writes the file, or has died: then delete it");
    if (FAILED(created)) Fail(path_, Printable(why));
  }
  ~Replacement() {
    std::error_code ignored;
    if (!done_) std::filesystem::remove(PathOf(path_), ignored);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  const std::wstring& Path() const { return path_; }

  void TakePlace() {
    std::error_code error;
    const auto status = std::filesystem::status(PathOf(file_), error);
    if (!error && std::filesystem::exists(status))
      std::filesystem::permissions(PathOf(path_), status.permissions(), error);
    std::filesystem::rename(PathOf(path_), PathOf(file_), error);
    if (error) Fail(file_, Printable(error.message()));
    done_ = true;
  }

 private:
  const std::wstring file_;
  const std::wstring path_;
  bool done_ = false;
};

}  // namespace

std::optional<std::string> WithController(const std::string& file, const client::Controller& controller) {
  const std::string lineEnd = file.find("\r\n") != std::string::npos ? "\r\n" : "\n";
  const std::string entry = Entry(controller, lineEnd);
  const std::string root = Narrow(config::kStaticFileRoot.name);
  std::string result = file;
  if (const Tag closing = LastTag(file, "</" + root); closing.begin != std::string::npos) {
    // The tag keeps its line with what indents it.
    const std::size_t before =
        closing.begin == 0 ? std::string::npos : file.find_last_not_of(" \t", closing.begin - 1);
    const bool ownLine = before != std::string::npos && file[before] == '\n';
    return result.insert(ownLine ? before + 1 : closing.begin, (ownLine ? "" : lineEnd) + entry);
  }
  const Tag opening = LastTag(file, "<" + root);
  if (opening.begin == std::string::npos || file[opening.end - 2] != '/') return std::nullopt;
  return result.replace(opening.end - 2, 2, ">" + lineEnd + entry + "</" + root + ">");
}

std::wstring DirectoryForSaving() {
  std::wstring directory;
  if (config::ConfiguredDirectory(platform::SystemRegistryStore(), directory) == S_OK) return directory;
  throw CommandError(kWrongUse,
                     "no configuration directory is set on this host; name one with --config, or set it with "
                     "init-config --use");
}

Saved SaveController(const std::wstring& directory, const client::Controller& controller) {
  std::wstring file = config::StaticControllerFile(directory);
  std::wstring why;
  if (FAILED(platform::MakeDirectory(directory, why))) Fail(directory, Printable(why));
  std::error_code error;
  // A link stays a link to the file that is replaced.
  const std::filesystem::path target = std::filesystem::canonical(PathOf(file), error);
  if (!error) file = WideOf(target);
  // Whoever saves at the same time reads the file that this call leaves.
  constexpr std::chrono::seconds kPatience{10};
  const std::wstring folder = WideOf(PathOf(file).parent_path());
  const auto lock = platform::LockDirectory(folder, kPatience, why);
  if (!lock) Fail(folder, Printable(why));
  const bool exists = platform::KindOfPath(file) != platform::PathKind::Nothing;
  std::vector<platform::Ipv4> expected;
  if (exists) expected = AddressesIn(file);
  const platform::Ipv4 address = platform::ParseIpv4(controller.address);
  if (std::find(expected.begin(), expected.end(), address) != expected.end()) return {file, true};
  const auto content =
      WithController(exists ? ContentOf(file) : configcheck::DefaultStaticControllers(), controller);
  if (!content) Fail(file, "its root element has no end");
  Replacement replacement(file, *content);
  expected.push_back(address);
  if (AddressesIn(replacement.Path()) != expected) Fail(file, "an entry could not be added");
  replacement.TakePlace();
  return {file, false};
}

}  // namespace kellanseek::kelseek
