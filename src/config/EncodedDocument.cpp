#include "config/EncodedDocument.h"

#include <algorithm>
#include <exception>
#include <string_view>

namespace kellanseek::config {
namespace {

constexpr std::wstring_view kEncoding = L"ISO-8859-1";

wchar_t AsciiUpper(wchar_t character) {
  return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - L'a' + L'A') : character;
}

bool IsTheEncoding(std::wstring_view text) {
  return std::equal(text.begin(), text.end(), kEncoding.begin(), kEncoding.end(),
                    [](wchar_t left, wchar_t right) { return AsciiUpper(left) == right; });
}

const wchar_t* MessageOf(platform::XmlDocument::EncodingStep step, const RejectionMessages& messages) {
  using Step = platform::XmlDocument::EncodingStep;
  switch (step) {
    case Step::FirstChild: return messages.firstChild;
    case Step::Attributes: return messages.attributes;
    case Step::EncodingAttribute: return messages.encodingAttribute;
    case Step::Text: break;
  }
  return messages.encodingText;
}

}  // namespace

HRESULT EncodedDocument::Open(const std::wstring& path, const XmlDocumentFactory& create,
                              const RejectionMessages& messages, const diagnostics::Tracer& trace) {
  try {
    const HRESULT created = create(document_);
    if (FAILED(created)) return created;
    if (document_->Load(path, loadProblem_) != S_OK) {
      if (loadProblem_.empty()) loadProblem_ = L"The file cannot be loaded.";
      return E_INVALIDARG;
    }
    loadProblem_.clear();
    return CheckEncoding(messages, trace);
  } catch (const std::exception&) {
    trace.LongError(messages.missing);
    return E_FAIL;
  }
}

HRESULT EncodedDocument::CheckEncoding(const RejectionMessages& messages, const diagnostics::Tracer& trace) {
  auto failedAt = platform::XmlDocument::EncodingStep::FirstChild;
  std::wstring encoding;
  const HRESULT read = document_->DeclaredEncoding(encoding, failedAt);
  if (FAILED(read)) {
    if (const wchar_t* const message = MessageOf(failedAt, messages)) {
      trace.LongError(message);
      return read;
    }
    encoding.clear();
  } else if (read != S_OK) {
    trace.LongError(messages.missing);
    return E_FAIL;
  }
  if (!IsTheEncoding(encoding)) {
    trace.LongError(messages.wrongEncoding);
    return E_INVALIDARG;
  }
  valid_ = true;
  return S_OK;
}

}  // namespace kellanseek::config
