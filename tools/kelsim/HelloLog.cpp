#include "tools/kelsim/HelloLog.h"

#include <algorithm>
#include <cstdio>

#include "platform/CodePage.h"
#include "text/Utf8.h"
#include "tools/kelsim/HelloWords.h"
#include "tools/kelsim/Text.h"

namespace kellanseek::kelsim {
namespace {

/// So many addresses fit into a system name.
constexpr std::size_t kMostSources = 5;

}  // namespace

Controller HelloController(const std::string& host, platform::Ipv4 address, std::uint32_t number) {
  Controller controller = NewController(number);
  const std::uint32_t bytes = platform::HostOrder(address);
  char mac[sizeof "02-48-00-00-00-00"];
  std::snprintf(mac, sizeof mac, "02-48-%02x-%02x-%02x-%02x", bytes >> 24, bytes >> 16 & 0xFF,
                bytes >> 8 & 0xFF, bytes & 0xFF);
  controller.name = FieldText(text::ToUtf8(hello::kNamePrefix) + (host.empty() ? "somebody" : host));
  controller.ctrlId = "hello";
  controller.systemName = "heard nobody";
  controller.systemId = "{HELLO-" + platform::FormatIpv4(address) + "}";
  controller.releasePath = "/hello";
  controller.macAddress = mac;
  controller.address = address;
  controller.tellsAddress = false;
  return controller;
}

std::optional<LifeEvent> HelloLog::Heard(std::size_t speaker, platform::Ipv4 source, Moment now) {
  std::vector<Source>& sources = heard_[speaker];
  const auto known = std::find_if(sources.begin(), sources.end(),
                                  [&](const Source& each) { return each.address == source; });
  if (known != sources.end()) {
    known->last = now;
    return std::nullopt;
  }
  if (sources.size() == kMostSources) sources.pop_back();
  sources.insert(sources.begin(), {source, now});
  return EventOf(speaker, now);
}

std::vector<LifeEvent> HelloLog::Forget(Moment now) {
  std::vector<LifeEvent> events;
  for (std::size_t i = 0; i < heard_.size(); ++i) {
    const auto isOld = [&](const Source& each) { return now - each.last > Moment(hello::kHeardFor); };
    if (std::erase_if(heard_[i], isOld) != 0) events.push_back(EventOf(i, now));
  }
  return events;
}

void HelloLog::Announced(Moment now) { nextAnnouncement_ = now + Moment(hello::kAnnounceEvery); }

LifeEvent HelloLog::EventOf(std::size_t speaker, Moment now) const {
  LifeEvent event;
  event.at = now;
  event.action = Action::SetSystemName;
  event.first = event.last = first_ + static_cast<std::uint32_t>(speaker);
  event.text = text::ToUtf8(hello::kHeardPrefix);
  for (const Source& each : heard_[speaker])
    event.text += (&each == heard_[speaker].data() ? "" : " ") + platform::FormatIpv4(each.address);
  if (heard_[speaker].empty()) event.text += "nobody";
  event.description = event.text;
  return event;
}

}  // namespace kellanseek::kelsim
