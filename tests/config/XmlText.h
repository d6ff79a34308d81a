#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace kellanseek::test {

/// An element around `inside`; its tags are on lines of their own.
inline std::string In(const std::string& name, const std::string& inside) {
  return "<" + name + ">\n" + inside + "</" + name + ">\n";
}

/// Parses "Name=value;Name=value" into elements, each on its own line.
inline std::string Elements(std::string_view list) {
  std::string text;
  while (!list.empty()) {
    const std::string item(list.substr(0, list.find(';')));
    list.remove_prefix(std::min(list.size(), item.size() + 1));
    const std::string name = item.substr(0, item.find('='));
    text += "<" + name + ">" + item.substr(std::min(item.size(), name.size() + 1)) + "</" + name + ">\n";
  }
  return text;
}

inline std::string CommunicationSettings(std::string_view list) {
  return In("CommunicationSettings", Elements(list));
}

inline std::string ControllerIdentity(std::string_view list) {
  return In("ControllerIdentity", Elements(list));
}

inline std::string SubNet(const std::string& address, const std::string& mask) {
  return In("SubNet", Elements("IPNumber=" + address + ";SubNetMask=" + mask));
}

/// Settings for complete-info mode: neither broadcasts nor polls.
inline std::string NothingAsked() {
  return CommunicationSettings("DynamicDetectionEnabled=0;NonLocalUpdatesEnabled=0");
}

inline constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";

}  // namespace kellanseek::test
