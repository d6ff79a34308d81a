#include "config/ConfigFile.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "text/Ascii.h"

namespace kellanseek::config {
namespace {

constexpr std::wstring_view kEncoding = L"ISO-8859-1";

bool IsTheEncoding(std::wstring_view text) {
  return std::equal(text.begin(), text.end(), kEncoding.begin(), kEncoding.end(),
                    [](wchar_t left, wchar_t right) { return text::Folded(left) == text::Folded(right); });
}

}  // namespace

ConfigFile::ConfigFile(platform::DebugOutput& output, const FileMessages& messages, XmlDocumentFactory create,
                       ReadListener& listener)
    : messages_(messages), trace_(output, messages.unit), create_(std::move(create)), listener_(listener) {}

HRESULT ConfigFile::Open(const std::wstring& path) {
  try {
    const HRESULT created = create_(document_);
    if (FAILED(created)) {
      listener_.NotLoaded({});
      return created;
    }
    std::wstring why;
    if (document_->Load(path, why) != S_OK) {
      listener_.NotLoaded(why.empty() ? L"The file cannot be loaded." : why);
      return E_INVALIDARG;
    }
    return CheckEncoding();
  } catch (const std::exception&) {
    return NoEncoding();
  }
}

HRESULT ConfigFile::CheckEncoding() {
  auto failedAt = platform::XmlDocument::EncodingStep::FirstChild;
  std::wstring encoding;
  const HRESULT read = document_->DeclaredEncoding(encoding, failedAt);
  if (read == S_FALSE) return NoEncoding();
  if (FAILED(read)) encoding.clear();
  if (read == S_OK && IsTheEncoding(encoding)) {
    valid_ = true;
    return S_OK;
  }
  listener_.EncodingRejected(encoding);
  const wchar_t* const message =
      FAILED(read) ? messages_.encodingFailed[static_cast<std::size_t>(failedAt)] : nullptr;
  trace_.LongError(message != nullptr ? message : messages_.wrongEncoding);
  return message != nullptr ? read : E_INVALIDARG;
}

/// Also for an exception, after which the encoding is unknown.
HRESULT ConfigFile::NoEncoding() {
  trace_.LongError(messages_.noEncoding);
  listener_.EncodingRejected({});
  return E_FAIL;
}

HRESULT ConfigFile::Root(const Container& root, Node& node, const wchar_t* lookupFailed) const {
  const HRESULT selected = document_->SelectRoot(root.name, node);
  TraceLookup(selected, root.name, lookupFailed);
  return selected;
}

HRESULT ConfigFile::Select(platform::XmlNode& parent, const wchar_t* name, Node& child,
                           const wchar_t* lookupFailed) const {
  const HRESULT selected = parent.SelectSingleNode(name, child);
  TraceLookup(selected, name, lookupFailed);
  return selected;
}

void ConfigFile::TraceLookup(HRESULT result, const wchar_t* name, const wchar_t* lookupFailed) const {
  if (lookupFailed == nullptr) lookupFailed = messages_.lookupFailed;
  if (FAILED(result)) trace_.LongError(L"%s%s failed", lookupFailed, name);
}

HRESULT ConfigFile::Text(platform::XmlNode& node, const wchar_t* name, std::wstring& text) const {
  const HRESULT read = node.Text(text);
  if (FAILED(read)) trace_.LongError(L"%s%s failed", messages_.textFailed, name);
  return read;
}

}  // namespace kellanseek::config
