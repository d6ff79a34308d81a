#include "configcheck/FileCheck.h"

#include <algorithm>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "configcheck/NearName.h"
#include "platform/Files.h"
#include "platform/Ipv4.h"
#include "text/Ascii.h"
#include "text/Number.h"

namespace kellanseek::configcheck {
namespace {

using config::Container;

using Names = std::vector<std::wstring_view>;

constexpr std::size_t kLongestQuote = 60;

/// The children are searched for every name, so the number of names must not grow with the size of the file.
constexpr std::size_t kMostUnknownNames = 100;

/// The names of the children of all these elements, except `left`.
Names ChildrenOf(std::span<const Container* const> containers, std::wstring_view left = {}) {
  Names names;
  for (const Container* const each : containers) {
    for (const config::Element& text : each->texts) names.push_back(text.name);
    for (const Container* const inner : each->containers) names.push_back(inner->name);
  }
  std::erase(names, left);
  return names;
}

std::wstring UnknownNameText(std::wstring_view name, const Container& container) {
  std::wstring text = L"Element " + Quoted(name) + L" is unknown here and is ignored.";
  const Names elsewhere = ChildrenOf(container.mistakenFor, container.name);
  if (std::find(elsewhere.begin(), elsewhere.end(), name) != elsewhere.end()) {
    return text + L" It belongs elsewhere in the file.";
  }
  const Container* const here[] = {&container};
  const std::wstring_view likelyHere = NearName(name, ChildrenOf(here));
  if (!likelyHere.empty()) return text + L" Did you mean " + Quoted(likelyHere) + L"?";
  const std::wstring_view likelyElsewhere = NearName(name, elsewhere);
  if (!likelyElsewhere.empty()) {
    text += L" Did you mean " + Quoted(likelyElsewhere) + L", which belongs elsewhere in the file?";
  }
  return text;
}

/// What a child of a container is.
enum class Role { Text, Once, Repeating, Unknown };

Role RoleOf(const std::wstring& name, const Container& container) {
  const auto isNamed = [&](const auto& each) { return each.name == name; };
  if (std::any_of(container.texts.begin(), container.texts.end(), isNamed)) return Role::Text;
  const auto inner = std::find_if(container.containers.begin(), container.containers.end(),
                                  [&](const Container* each) { return isNamed(*each); });
  if (inner == container.containers.end()) return Role::Unknown;
  return (*inner)->repeats ? Role::Repeating : Role::Once;
}

}  // namespace

void FileCheck::NotLoaded(const std::wstring& why) {
  Unreadable(L"The file cannot be read and is ignored. " + why);
}

void FileCheck::EncodingRejected(const std::wstring& declared) {
  Finding(1, (declared.empty() ? L"The file does not begin with a declaration of its encoding"
                               : L"The file declares the encoding " + Quoted(declared)) +
                 L" and is rejected as a whole. It must begin with "
                 L"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>");
}

void FileCheck::RootMissing(const Container& expected) {
  Finding(0, L"The document element is not " + Quoted(expected.name) + L", so the file is ignored.");
}

void FileCheck::Opened(const Container& container, platform::XmlNode& node) {
  std::vector<std::wstring> present;
  if (FAILED(node.ChildNames(present))) return;
  std::size_t unknownNames = 0;
  for (const std::wstring& name : std::set<std::wstring>(present.begin(), present.end())) {
    const Role role = RoleOf(name, container);
    if (role == Role::Repeating) continue;
    if (role == Role::Unknown && ++unknownNames > kMostUnknownNames) continue;
    Nodes nodes;
    if (FAILED(node.SelectNodes(name, nodes))) continue;
    if (role == Role::Unknown) {
      const std::wstring text = UnknownNameText(name, container);
      for (const auto& each : nodes) Finding(each->Line(), text);
      continue;
    }
    CheckRepetition(name, nodes);
    if (role == Role::Text && !nodes.empty()) CheckChildrenOfText(name, *nodes.front());
  }
  if (unknownNames > kMostUnknownNames) {
    Finding(node.Line(), std::to_wstring(unknownNames - kMostUnknownNames) + L" more element names in " +
                             Quoted(container.name) + L" are unknown and ignored.");
  }
}

void FileCheck::CheckRepetition(const std::wstring& name, const Nodes& nodes) {
  for (std::size_t i = 1; i < nodes.size(); ++i) {
    Finding(nodes[i]->Line(),
            L"Element " + Quoted(name) +
                L" appears more than once; only the first counts, and this one is ignored.");
  }
}

void FileCheck::CheckChildrenOfText(const std::wstring& name, platform::XmlNode& node) {
  std::vector<std::wstring> inside;
  if (FAILED(node.ChildNames(inside)) || inside.empty()) return;
  Finding(node.Line(), L"Element " + Quoted(name) + L" contains the element " + Quoted(inside.front()) +
                           L", whose text is read as part of its own.");
}

bool FileCheck::Absent(const std::wstring& effect) {
  const bool absent = platform::KindOfPath(file_) == platform::PathKind::Nothing;
  if (absent) Accepted(0, L"The file does not exist; " + effect);
  return absent;
}

void FileCheck::Accepted(std::size_t line, std::wstring text) {
  report_.remarks.push_back({false, file_, line, std::move(text)});
}

void FileCheck::Finding(std::size_t line, std::wstring text) {
  report_.remarks.push_back({true, file_, line, std::move(text)});
}

void FileCheck::Unreadable(std::wstring text) {
  Finding(0, std::move(text));
  report_.unreadable = true;
}

std::wstring Quoted(std::wstring_view text) {
  const bool cut = text.size() > kLongestQuote;
  return L"\"" + std::wstring(text.substr(0, kLongestQuote)) + (cut ? L"...\"" : L"\"");
}

std::wstring NumberProblem(std::wstring_view name, std::wstring_view text) {
  if (text::IsNumber(text)) return {};
  const std::wstring value = std::to_wstring(text::ToNumber(text));
  if (text::IsBlank(text)) return std::wstring(name) + L" is empty and is read as " + value + L".";
  return std::wstring(name) + L" is " + Quoted(text) +
         L", which is not a plain 32-bit decimal number; it is read as " + value + L".";
}

std::wstring AddressProblem(std::wstring_view name, const std::wstring& text) {
  const std::wstring meant = platform::FormatIpv4Wide(platform::ParseIpv4(std::wstring_view(text)));
  if (meant == text) return {};
  return std::wstring(name) + L" is " + Quoted(text) + L", which means " + meant + L".";
}

}  // namespace kellanseek::configcheck
