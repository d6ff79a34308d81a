#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ReadListener.h"
#include "configcheck/ConfigCheck.h"

namespace kellanseek::configcheck {

/// Turns what the component's parser reads into remarks on the file. This class reports what can be wrong
/// with both files: that a file is rejected, and the children of its elements that are ignored.
class FileCheck : public config::ReadListener {
 public:
  FileCheck(ConfigReport& report, std::wstring file) : report_(report), file_(std::move(file)) {}

  void NotLoaded(const std::wstring& why) override;
  void EncodingRejected(const std::wstring& declared) override;
  void RootMissing(const config::Container& expected) override;
  /// Reports unknown children, each with the name probably meant, and repetitions of an element that counts
  /// only once. Also reports elements inside a text. Lists at most 100 unknown names, then only their number.
  /// The parser does not see these elements, because it looks for known names.
  void Opened(const config::Container& container, platform::XmlNode& node) override;

 protected:
  /// Reports the file's absence with `effect` and returns true if there is no file.
  bool Absent(const std::wstring& effect);
  /// The list of networks that decides which interfaces are used is here.
  void InterfacesAt(std::size_t line) { report_.lineOfInterfaces = line; }
  void Accepted(std::size_t line, std::wstring text);
  void Finding(std::size_t line, std::wstring text);
  /// A finding after which the whole file counts as unread.
  void Unreadable(std::wstring text);
  const std::wstring& File() const { return file_; }

 private:
  using Nodes = std::vector<std::unique_ptr<platform::XmlNode>>;

  void CheckRepetition(const std::wstring& name, const Nodes& nodes);
  void CheckChildrenOfText(const std::wstring& name, platform::XmlNode& node);

  ConfigReport& report_;
  std::wstring file_;
};

/// A text in quotation marks, truncated if it is long.
std::wstring Quoted(std::wstring_view text);

/// If `text` is not a plain number, returns a sentence with the value it is read as; otherwise an empty text.
std::wstring NumberProblem(std::wstring_view name, std::wstring_view text);

/// If an address is written in an unusual form, returns a sentence with the address it stands for; otherwise
/// an empty text.
std::wstring AddressProblem(std::wstring_view name, const std::wstring& text);

}  // namespace kellanseek::configcheck
