#pragma once

#include <memory>
#include <string>

#include "diagnostics/Trace.h"
#include "platform/XmlDocument.h"

namespace kellanseek::config {

/// Reads child elements by name and traces what fails, in the words of one parser.
class ElementReader {
 public:
  /// `lookupFailed` and `textFailed` are the messages up to the element's name; the rest is " failed".
  ElementReader(const diagnostics::Tracer& trace, const wchar_t* lookupFailed, const wchar_t* textFailed)
      : trace_(trace), lookupFailed_(lookupFailed), textFailed_(textFailed) {}

  /// The first child with that name; a failure is traced.
  HRESULT Select(platform::XmlNode& parent, const wchar_t* name,
                 std::unique_ptr<platform::XmlNode>& child) const;
  /// The text of the element with that name; a failure is traced.
  HRESULT Text(platform::XmlNode& element, const wchar_t* name, std::wstring& text) const;
  /// Both. S_OK exactly when `text` was read, S_FALSE when there is no such child.
  HRESULT ChildText(platform::XmlNode& parent, const wchar_t* name, std::wstring& text) const;

 private:
  const diagnostics::Tracer& trace_;
  const wchar_t* lookupFailed_;
  const wchar_t* textFailed_;
};

}  // namespace kellanseek::config
