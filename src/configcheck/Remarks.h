#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/EncodedDocument.h"
#include "configcheck/ConfigCheck.h"

namespace kellanseek::configcheck {

/// Collects the remarks on one file.
class Remarks {
 public:
  Remarks(ConfigReport& report, std::wstring file) : report_(report), file_(std::move(file)) {}

  const std::wstring& File() const { return file_; }
  void Taken(std::size_t line, std::wstring text);
  void Finding(std::size_t line, std::wstring text);
  /// A finding after which nothing of the file is left.
  void Unreadable(std::wstring text);

 private:
  ConfigReport& report_;
  std::wstring file_;
};

/// A text in quotation marks, cut when it is long.
std::wstring Quoted(std::wstring_view text);

/// An element that may stand under another.
struct KnownElement {
  std::wstring_view name;
  bool repeats = false;   ///< Every one counts, not just the first.
  bool holdsText = true;  ///< What counts of it is its text, in which elements are out of place.
};

/// Reports the children that are ignored: those whose name is not known there, with the name that was
/// probably meant, and all but the first of those that count once; and elements inside of a text, which count
/// as a part of it. Of unknown names beyond a hundred only the number is told. `elsewhere` are names that are
/// known at other places of the file.
void CheckChildren(platform::XmlNode& parent, std::wstring_view parentName,
                   const std::vector<KnownElement>& known, const std::vector<std::wstring_view>& elsewhere,
                   Remarks& remarks);

/// Reports what kept a file from being taken at all. False when there is such a thing.
bool CheckOpened(const config::EncodedDocument& file, HRESULT opened, Remarks& remarks);

/// The first child of that name; null when there is none.
std::unique_ptr<platform::XmlNode> Child(platform::XmlNode& parent, std::wstring_view name);

/// What a number is read as when its text is not a plain number, as the beginning of a sentence; empty when
/// it is.
std::wstring NumberProblem(std::wstring_view name, std::wstring_view text);

/// What is odd about a text that is an address: it means another than it seems to. Empty when nothing is.
std::wstring AddressProblem(std::wstring_view name, const std::wstring& text);

}  // namespace kellanseek::configcheck
