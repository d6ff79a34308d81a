#include "engine/RunInterfaces.h"

#include <algorithm>
#include <utility>

namespace kellanseek::engine {

using controllers::CtrlTable;

void RunInterfaces::Replace(CtrlTable::Access& access, network::InterfaceTable usable,
                            std::int32_t refreshCountdown) {
  std::vector<network::InterfaceKey> keys = usable.Keys();
  Narrow(access, std::move(usable), refreshCountdown);
  lastUsable_ = std::move(keys);
}

void RunInterfaces::Narrow(CtrlTable::Access&, network::InterfaceTable opened,
                           std::int32_t refreshCountdown) {
  std::vector<Counters> counters(opened.Size(), Counters{refreshCountdown});
  table_ = std::move(opened);
  counters_ = std::move(counters);
}

bool RunInterfaces::Changed(CtrlTable::Access&, std::vector<network::InterfaceKey> usable,
                            Occasion occasion) {
  if (occasion == Occasion::Notice && usable == lastUsable_) return false;
  lastUsable_ = std::move(usable);
  if (lastUsable_.size() != table_.Size()) return true;
  const std::vector<network::InterfaceEntry>& entries = table_.Entries();
  return std::any_of(entries.begin(), entries.end(), [&](const network::InterfaceEntry& entry) {
    return !std::binary_search(lastUsable_.begin(), lastUsable_.end(),
                               network::KeyOf(entry.address, entry.mask));
  });
}

}  // namespace kellanseek::engine
