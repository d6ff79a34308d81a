#include "config/ElementReader.h"

namespace kellanseek::config {

HRESULT ElementReader::Select(platform::XmlNode& parent, const wchar_t* name,
                              std::unique_ptr<platform::XmlNode>& child) const {
  const HRESULT selected = parent.SelectSingleNode(name, child);
  if (FAILED(selected)) trace_.LongError(L"%s%s failed", lookupFailed_, name);
  return selected;
}

HRESULT ElementReader::Text(platform::XmlNode& element, const wchar_t* name, std::wstring& text) const {
  const HRESULT read = element.Text(text);
  if (FAILED(read)) trace_.LongError(L"%s%s failed", textFailed_, name);
  return read;
}

HRESULT ElementReader::ChildText(platform::XmlNode& parent, const wchar_t* name, std::wstring& text) const {
  std::unique_ptr<platform::XmlNode> child;
  const HRESULT selected = Select(parent, name, child);
  return selected == S_OK ? Text(*child, name, text) : selected;
}

}  // namespace kellanseek::config
