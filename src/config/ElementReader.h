#pragma once

#include <memory>
#include <string>

#include "diagnostics/Trace.h"
#include "platform/XmlDocument.h"

namespace kellanseek::config {

/// Reads child elements by name. Traces failures with the message texts of the parser that uses it.
class ElementReader {
 public:
  /// Both texts are the parts of a message before the element's name, which " failed" follows.
  ElementReader(const diagnostics::Tracer& trace, const wchar_t* lookupFailed, const wchar_t* textFailed)
      : trace_(trace), lookupFailed_(lookupFailed), textFailed_(textFailed) {}

  /// Finds the first child of that name. Returns S_FALSE if there is none; traces a failure.
  HRESULT Select(platform::XmlNode& parent, const wchar_t* name,
                 std::unique_ptr<platform::XmlNode>& child) const;
  /// Reads the text of `element`; `name` is used only to trace a failure.
  HRESULT Text(platform::XmlNode& element, const wchar_t* name, std::wstring& text) const;
  /// Select() and Text() in one. Returns S_OK only if `text` was read, S_FALSE if there is no such child.
  HRESULT ChildText(platform::XmlNode& parent, const wchar_t* name, std::wstring& text) const;

 private:
  const diagnostics::Tracer& trace_;
  const wchar_t* lookupFailed_;
  const wchar_t* textFailed_;
};

}  // namespace kellanseek::config
