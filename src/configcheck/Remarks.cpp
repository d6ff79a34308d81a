#include "configcheck/Remarks.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "configcheck/NearName.h"
#include "platform/Ipv4.h"
#include "text/Ascii.h"
#include "text/Number.h"

namespace kellanseek::configcheck {
namespace {

constexpr std::size_t kLongestQuote = 60;

/// The children are searched for every name, so the number of names must not grow with the size of the file.
constexpr std::size_t kMostUnknownNames = 100;

std::wstring UnknownNameText(std::wstring_view name, const std::vector<std::wstring_view>& here,
                             const std::vector<std::wstring_view>& elsewhere) {
  std::wstring text = L"Element " + Quoted(name) + L" is unknown here and is ignored.";
  if (std::find(elsewhere.begin(), elsewhere.end(), name) != elsewhere.end()) {
    return text + L" It belongs elsewhere in the file.";
  }
  const std::wstring_view likelyHere = NearName(name, here);
  if (!likelyHere.empty()) return text + L" Did you mean " + Quoted(likelyHere) + L"?";
  const std::wstring_view likelyElsewhere = NearName(name, elsewhere);
  if (!likelyElsewhere.empty()) {
    text += L" Did you mean " + Quoted(likelyElsewhere) + L", which belongs elsewhere in the file?";
  }
  return text;
}

}  // namespace

bool ConfigReport::Clean() const {
  return !unreadable &&
         std::none_of(remarks.begin(), remarks.end(), [](const ConfigRemark& each) { return each.finding; });
}

void Remarks::Accepted(std::size_t line, std::wstring text) {
  report_.remarks.push_back({false, file_, line, std::move(text)});
}

void Remarks::Finding(std::size_t line, std::wstring text) {
  report_.remarks.push_back({true, file_, line, std::move(text)});
}

void Remarks::Unreadable(std::wstring text) {
  Finding(0, std::move(text));
  report_.unreadable = true;
}

std::wstring Quoted(std::wstring_view text) {
  const bool cut = text.size() > kLongestQuote;
  return L"\"" + std::wstring(text.substr(0, kLongestQuote)) + (cut ? L"...\"" : L"\"");
}

void CheckChildren(platform::XmlNode& parent, std::wstring_view parentName,
                   const std::vector<KnownElement>& known, const std::vector<std::wstring_view>& elsewhere,
                   Remarks& remarks) {
  std::vector<std::wstring> present;
  if (FAILED(parent.ChildNames(present))) return;
  std::vector<std::wstring_view> here;
  here.reserve(known.size());
  for (const KnownElement& each : known) here.push_back(each.name);

  std::size_t unknownNames = 0;
  for (const std::wstring& name : std::set<std::wstring>(present.begin(), present.end())) {
    const auto expected =
        std::find_if(known.begin(), known.end(), [&](const KnownElement& each) { return each.name == name; });
    const bool isKnown = expected != known.end();
    if (isKnown && expected->repeats) continue;
    if (!isKnown && ++unknownNames > kMostUnknownNames) continue;
    std::vector<std::unique_ptr<platform::XmlNode>> nodes;
    if (FAILED(parent.SelectNodes(name, nodes))) continue;
    const std::wstring text =
        isKnown ? L"Element " + Quoted(name) +
                      L" appears more than once; only the first counts, and this one is ignored."
                : UnknownNameText(name, here, elsewhere);
    for (std::size_t i = isKnown ? 1 : 0; i < nodes.size(); ++i) remarks.Finding(nodes[i]->Line(), text);
    std::vector<std::wstring> inside;
    if (isKnown && expected->holdsText && !nodes.empty() && SUCCEEDED(nodes.front()->ChildNames(inside)) &&
        !inside.empty()) {
      remarks.Finding(nodes.front()->Line(), L"Element " + Quoted(name) + L" contains the element " +
                                                 Quoted(inside.front()) +
                                                 L", whose text is read as part of its own.");
    }
  }
  if (unknownNames > kMostUnknownNames) {
    remarks.Finding(parent.Line(), std::to_wstring(unknownNames - kMostUnknownNames) +
                                       L" more element names in " + Quoted(parentName) +
                                       L" are unknown and ignored.");
  }
}

namespace {

void ReportNotOpened(const config::EncodedDocument& file, Remarks& remarks) {
  if (file.Document() == nullptr)
    return remarks.Unreadable(L"The file cannot be read and is ignored. " + file.LoadProblem());
  std::wstring encoding;
  auto failedAt = platform::XmlDocument::EncodingStep::FirstChild;
  const bool declared = file.Document()->DeclaredEncoding(encoding, failedAt) == S_OK;
  remarks.Finding(1,
                  (declared ? L"The file declares the encoding " + Quoted(encoding)
                            : std::wstring(L"The file does not begin with a declaration of its encoding")) +
                      L" and is rejected as a whole. It must begin with "
                      L"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>");
}

}  // namespace

std::unique_ptr<platform::XmlNode> OpenedRoot(const config::EncodedDocument& file, HRESULT opened,
                                              std::wstring_view name, Remarks& remarks) {
  std::unique_ptr<platform::XmlNode> root;
  if (FAILED(opened)) {
    ReportNotOpened(file, remarks);
  } else if (file.Document()->SelectRoot(std::wstring(name), root) != S_OK) {
    root.reset();
    remarks.Finding(0, L"The document element is not " + Quoted(name) + L", so the file is ignored.");
  }
  return root;
}

std::unique_ptr<platform::XmlNode> Child(platform::XmlNode& parent, std::wstring_view name) {
  std::unique_ptr<platform::XmlNode> child;
  return parent.SelectSingleNode(std::wstring(name), child) == S_OK ? std::move(child) : nullptr;
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
