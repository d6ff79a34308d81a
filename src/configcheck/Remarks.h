#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/EncodedDocument.h"
#include "configcheck/ConfigReport.h"

namespace kellanseek::configcheck {

/// Collects the remarks on one file.
class Remarks {
 public:
  Remarks(ConfigReport& report, std::wstring file) : report_(report), file_(std::move(file)) {}

  const std::wstring& File() const { return file_; }
  void Accepted(std::size_t line, std::wstring text);
  void Finding(std::size_t line, std::wstring text);
  /// A finding after which the whole file counts as unread.
  void Unreadable(std::wstring text);

 private:
  ConfigReport& report_;
  std::wstring file_;
};

/// A text in quotation marks, truncated if it is long.
std::wstring Quoted(std::wstring_view text);

/// An element allowed under another.
struct KnownElement {
  std::wstring_view name;
  bool repeats = false;   ///< Every occurrence counts, not just the first.
  bool holdsText = true;  ///< Its content is text, so child elements are misplaced in it.
};

/// Reports the children that are ignored: unknown names, each with the name probably meant, and repetitions
/// of an element that counts only once. Also reports elements inside a text. Lists at most 100 unknown names,
/// then only their number. `elsewhere` holds names that are known in other places of the file.
void CheckChildren(platform::XmlNode& parent, std::wstring_view parentName,
                   const std::vector<KnownElement>& known, const std::vector<std::wstring_view>& elsewhere,
                   Remarks& remarks);

/// The document element. Returns null, and reports the reason, if the file was not opened or has another one.
std::unique_ptr<platform::XmlNode> OpenedRoot(const config::EncodedDocument& file, HRESULT opened,
                                              std::wstring_view name, Remarks& remarks);

/// The first child of that name; null if there is none.
std::unique_ptr<platform::XmlNode> Child(platform::XmlNode& parent, std::wstring_view name);

/// If `text` is not a plain number, returns a sentence with the value it is read as; otherwise an empty text.
std::wstring NumberProblem(std::wstring_view name, std::wstring_view text);

/// If an address is written in an unusual form, returns a sentence with the address it stands for; otherwise
/// an empty text.
std::wstring AddressProblem(std::wstring_view name, const std::wstring& text);

}  // namespace kellanseek::configcheck
