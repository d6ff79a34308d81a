#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include <kellanseek/com/registry.h>
#include <nlohmann/json.hpp>

#include "events/EventData.h"
#include "fuzz/FuzzFile.h"
#include "platform/CodePage.h"
#include "platform/Ipv4.h"
#include "platform/linux/RegistryText.h"
#include "text/Json.h"
#include "text/Utf8.h"
#include "tools/kelsim/Request.h"
#include "tools/kelsim/Script.h"

using namespace kellanseek;
using fuzz::Require;

namespace {

constexpr const char* kKey = "HKEY_CURRENT_USER\\A\\B";

/// A value that was written is found by the reader of every client, whatever the store held before.
void ChangeRegistry(std::string_view store) {
  const std::string with = platform::WithRegistryValue(store, kKey, "n", "v");
  const auto value = kellanseek::com::FindRegistryValue(with, kKey, "n");
  Require(value && *value == "v");
  Require(platform::WithRegistryValue(with, kKey, "n", "v") == with);
  const auto without = platform::WithoutRegistryTree(with, kKey);
  Require(without && !kellanseek::com::FindRegistryValue(*without, kKey, "n"));
  Require(platform::IsPartOfRegistry(store, with) || kellanseek::com::FindRegistryValue(store, kKey, "n"));
}

/// Every line of a script that is no comment becomes an event for controllers of the plant, or a fault.
void ReadScript(std::string_view text) {
  kelsim::Script script({.first = 1, .last = 9});
  script.AddText("script", text);
  for (const kelsim::LifeEvent& event : script.Events())
    Require(event.first >= 1 && event.first <= event.last && event.last <= 9);
}

/// Formatting and scanning are each other's inverse for what was scanned.
void ScanEvent(std::string_view text) {
  events::EventNumbers numbers{};
  const std::wstring wide(text.begin(), text.end());
  if (events::ScanEventText(wide, numbers) != numbers.size()) return;
  events::EventNumbers again{};
  Require(events::ScanEventText(events::EventText(numbers).View(), again) == again.size());
  Require(again == numbers);
}

/// What passes for an address is written with the characters of one, and is the address that it is shown as.
void ReadAddress(std::string_view text) {
  const platform::Ipv4 address = platform::ParseIpv4(text);
  Require(platform::ParseIpv4(std::wstring_view(platform::ToWide(text))) == address);
  if (address == platform::kNoAddress) return;
  Require(text.find_first_not_of("0123456789abcdefABCDEFxX.") == text.npos);
  Require(std::count(text.begin(), text.end(), '.') <= 3);
  Require(platform::ParseIpv4(platform::FormatIpv4(address)) == address);
}

/// Any bytes make a text that other parsers read.
void WriteJson(std::string_view text) {
  const auto read = nlohmann::json::parse(text::Json({{"text", text}}).Text());
  const std::string expected = text::ToUtf8(text::FromUtf8(text));
  Require(read["text"] == expected);
}

}  // namespace

/// The first byte selects the reader.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  switch (bytes[0]) {
    case 'r': ChangeRegistry(text); break;
    case 's': ReadScript(text); break;
    case 'e': ScanEvent(text); break;
    case 'a': ReadAddress(text); break;
    case 'j': WriteJson(text); break;
    case 'q': kelsim::ReadRequest(text); break;
    default: break;
  }
  return 0;
}
