#include "client/Selection.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <tuple>
#include <utility>

#include "client/Report.h"
#include "client/Session.h"
#include "client/Text.h"
#include "platform/Ipv4.h"
#include "text/Ascii.h"

namespace kellanseek::kelseek {
namespace {

using client::Controller;
using Json = nlohmann::json;

std::string Quoted(const std::string& text) { return "\"" + Printable(text) + "\""; }

/// "a, b or c"
std::string Choices(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i)
    text += (i == 0 ? "" : i + 1 < words.size() ? ", " : " or ") + words[i];
  return text;
}

[[noreturn]] void Refuse(const std::string& why) { throw CommandError(kWrongUse, why); }

std::string Folded(std::string_view text) {
  std::string folded(text);
  std::transform(folded.begin(), folded.end(), folded.begin(), text::Folded<char>);
  return folded;
}

/// The value with this name, without regard to the case of A to Z.
/// The value with this name, without regard to the case of A to Z. `more` is a name that the caller takes.
template <typename Value>
Value ValueOf(const std::string& key, const std::string& text, std::initializer_list<Value> values,
              const char* more = nullptr) {
  std::vector<std::string> names;
  for (const Value value : values) {
    if (Folded(to_string(value)) == Folded(text)) return value;
    names.push_back(to_string(value));
  }
  if (more != nullptr) names.emplace_back(more);
  Refuse("--filter " + key + " takes " + Choices(names) + ", not " + Quoted(text));
}

void SetNetwork(client::Filter& filter, const std::string& text) {
  try {
    filter.network.emplace(text);
  } catch (const client::Error& error) {
    Refuse("--filter network: " + Printable(error.attempted()));
  }
}

struct Key {
  const char* name;
  void (*set)(client::Filter& filter, const std::string& pattern);
};

/// The keys of --filter, but for "interface", which is no property of a controller.
constexpr Key kKeys[] = {
    {"kind",
     [](client::Filter& filter, const std::string& text) {
       filter.kind = ValueOf("kind", text, {client::Kind::RC, client::Kind::VC, client::Kind::RemoteVC});
     }},
    {"name", [](client::Filter& filter, const std::string& text) { filter.name = text; }},
    {"host", [](client::Filter& filter, const std::string& text) { filter.host = text; }},
    {"address", [](client::Filter& filter, const std::string& text) { filter.address = text; }},
    {"identity", [](client::Filter& filter, const std::string& text) { filter.identity = text; }},
    {"network", SetNetwork},
    {"status",
     [](client::Filter& filter, const std::string& text) {
       filter.availability = ValueOf("status", text,
                                     {client::Availability::Available, client::Availability::Unavailable,
                                      client::Availability::Removed},
                                     kNeverHeard);
     }},
};

template <typename Value>
int Order(const Value& left, const Value& right) {
  return left < right ? -1 : right < left ? 1 : 0;
}

int OrderOfTexts(const std::string& left, const std::string& right) {
  const int folded = Order(Folded(left), Folded(right));
  return folded != 0 ? folded : Order(left, right);
}

/// Addresses by their numbers, and behind them the paths of virtual controllers.
int OrderOfAddresses(const Controller& left, const Controller& right) {
  const auto key = [](const Controller& controller) {
    const platform::Ipv4 address = platform::ParseIpv4(controller.address);
    const bool isPath = address == platform::kNoAddress;
    return std::tuple(isPath, isPath ? 0 : platform::HostOrder(address),
                      std::string_view(controller.address));
  };
  return Order(key(left), key(right));
}

/// No version comes before all others, and a version without a revision before those with one.
int OrderOfVersions(const Controller& left, const Controller& right) {
  const auto key = [](const Controller& controller) {
    const client::Version version = controller.version.value_or(client::Version{});
    return std::tuple(controller.version.has_value(), version.major, version.minor, version.revision);
  };
  return Order(key(left), key(right));
}

struct Column {
  const char* name;
  int (*compare)(const Controller&, const Controller&);
};

constexpr Column kColumns[] = {
    {"name", [](const Controller& a, const Controller& b) { return OrderOfTexts(a.name, b.name); }},
    {"address", OrderOfAddresses},
    {"identity",
     [](const Controller& a, const Controller& b) { return OrderOfTexts(a.identity, b.identity); }},
    {"kind", [](const Controller& a, const Controller& b) { return Order(a.kind, b.kind); }},
    {"host",
     [](const Controller& a, const Controller& b) {
       return OrderOfTexts(a.host_name.value_or(""), b.host_name.value_or(""));
     }},
    {"status",
     [](const Controller& a, const Controller& b) { return Order(a.availability, b.availability); }},
    {"definition", [](const Controller& a, const Controller& b) { return Order(a.origin, b.origin); }},
    {"version", OrderOfVersions},
    {"mac", [](const Controller& a, const Controller& b) { return OrderOfTexts(a.mac, b.mac); }},
    {"system",
     [](const Controller& a, const Controller& b) { return OrderOfTexts(a.system_name, b.system_name); }},
};

template <typename Table>
std::vector<std::string> NamesOf(const Table& table) {
  std::vector<std::string> names;
  for (const auto& row : table) names.emplace_back(row.name);
  return names;
}

}  // namespace

Selection::Selection(const SelectionOptions& options) {
  for (const std::string& each : options.filters) AddCondition(each);
  if (!options.heardOn.empty()) heardOn_.push_back({options.heardOn, {}});
  if (!options.sort.empty()) SetOrder(options.sort);
}

void Selection::AddCondition(const std::string& text) {
  const std::size_t sign = text.find('=');
  if (sign == std::string::npos || sign + 1 == text.size())
    Refuse("--filter takes KEY=PATTERN, such as name=press*, not " + Quoted(text));
  const std::string key = text.substr(0, sign);
  const std::string pattern = text.substr(sign + 1);
  if (key == "interface") {
    heardOn_.push_back({pattern, {}});
    return;
  }
  if (key == "status") {
    neverHeard_ = neverHeard_.value_or(false) || pattern == kNeverHeard;
    if (pattern == kNeverHeard) return;
  }
  for (const Key& each : kKeys) {
    if (key != each.name) continue;
    each.set(conditions_.emplace_back(), pattern);
    return;
  }
  std::vector<std::string> keys = NamesOf(kKeys);
  keys.emplace_back("interface");
  Refuse("--filter knows no key " + Quoted(key) + "; there are " + Choices(keys));
}

void Selection::SetOrder(const std::string& column) {
  reversed_ = column.front() == '-';
  const std::string name = column.substr(reversed_ ? 1 : 0);
  for (const Column& each : kColumns)
    if (name == each.name) compare_ = each.compare;
  if (compare_ == nullptr)
    Refuse("--sort knows no column " + Quoted(name) + "; there are " + Choices(NamesOf(kColumns)) +
           ", each with a leading - for the reverse");
}

void Selection::Learn(const Json& report) {
  for (HeardOn& each : heardOn_) {
    std::vector<std::string> there;
    bool found = false;
    for (const Json& entry : ListOf(report, "interfaces")) {
      const std::string name = TextOf(entry, "name");
      const std::string address = TextOf(entry, "address");
      there.push_back(name);
      if (!address.empty()) there.back().append(" (").append(address).append(")");
      if (each.which != name && each.which != address &&
          each.which != std::to_string(NumberOf(entry, "index")))
        continue;
      found = true;
      if (!address.empty()) each.addresses.insert(address);
    }
    // Of an interface that has gone, the addresses of earlier reports stay.
    if (!found && each.addresses.empty())
      Refuse("this host has no interface " + Quoted(each.which) + "; there are " +
             Printable(there.empty() ? "none" : Choices(there)));
  }
  for (const Json& entry : ListOf(report, "controllers"))
    heard_[static_cast<std::uint32_t>(NumberOf(entry, "id"))] = TextOf(entry, "interface");
}

bool Selection::Matches(const Controller& controller, bool neverHeard) const {
  if (neverHeard_ && *neverHeard_ != neverHeard) return false;
  const auto heard = heard_.find(controller.id);
  const auto wasHeardThere = [&](const HeardOn& each) {
    return heard != heard_.end() && each.addresses.count(heard->second) != 0;
  };
  return std::all_of(conditions_.begin(), conditions_.end(),
                     [&](const client::Filter& each) { return each.matches(controller); }) &&
         std::all_of(heardOn_.begin(), heardOn_.end(), wasHeardThere);
}

void Selection::Sort(std::vector<Controller>& controllers) const {
  if (compare_ == nullptr) return;
  std::stable_sort(controllers.begin(), controllers.end(), [this](const Controller& a, const Controller& b) {
    const int order = reversed_ ? compare_(b, a) : compare_(a, b);
    return order != 0 ? order < 0 : OrderOfAddresses(a, b) < 0;
  });
}

}  // namespace kellanseek::kelseek
