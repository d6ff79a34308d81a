#include "PlainEngine.h"

#include <cctype>
#include <tuple>
#include <utility>

namespace kellanseek::test {
namespace {

std::wstring Lower(std::wstring text) {
  for (wchar_t& each : text) each = static_cast<wchar_t>(std::tolower(static_cast<int>(each)));
  return text;
}

}  // namespace

int PlainEngine::InterfaceFor(const std::wstring& address) const {
  const platform::Ipv4 number = platform::ParseIpv4(std::wstring_view(address));
  if (number == 0xFFFFFFFFU) return -1;
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    const Interface& entry = interfaces[i];
    if ((number & entry.mask) == (entry.address & entry.mask)) return static_cast<int>(i);
  }
  return -1;
}

void PlainEngine::SetInterfaces(std::vector<Interface> table) {
  interfaces = std::move(table);
  for (Interface& entry : interfaces) entry.refreshCountdown = Ticks(settings_.RefreshInterval);
  Revalidate();
}

void PlainEngine::Revalidate() {
  for (std::size_t i = 0; i < records.size();) {
    PlainRecord& r = records[i];
    if (r.ctrlType == VC || r.ctrlStatus != CtrlAvailable) {
      ++i;
    } else if (r.identificationType == RemoteCtrlDefinition) {
      const int local = InterfaceFor(r.ctrlAddress);
      if (local >= 0) {
        r.identificationType = DynamicCtrlDefinition;
        r.interfaceIndex = local;
        r.heardOnAddress = interfaces[static_cast<std::size_t>(local)].address;
      }
      ++i;
    } else {
      int found = -1;
      for (std::size_t at = interfaces.size(); at-- > 0;)
        if (r.heardOnAddress != 0 && interfaces[at].address == r.heardOnAddress) found = static_cast<int>(at);
      if (found < 0 && r.interfaceIndex >= 0) {
        RemoveActive(i, CtrlLostLAN);
        continue;
      }
      if (found >= 0) r.interfaceIndex = found;
      ++i;
    }
  }
  ++daemonRefreshes;
}

void PlainEngine::RemoveActive(std::size_t& position, LanSeekEventReason reason, bool keep) {
  PlainRecord& r = records[position];
  std::erase_if(namesWanted_, [&](const auto& wanted) { return wanted.first == r.lanSeekID; });
  const bool dynamic = r.identificationType == DynamicCtrlDefinition;
  if (r.remotePublication != RemoteVCPublication_False && r.published) {
    daemonMessages.push_back({reason == 4 ? 3 : 4, -1, r.lanSeekID});
  }
  if (r.published && r.ctrlStatus == CtrlAvailable) Event(r, dynamic ? CtrlRemoved : CtrlUnavailable, reason);
  if (dynamic && !keep) {
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(position));
    return;
  }
  r.published = false;
  if (!dynamic) {
    r.ctrlStatus = CtrlUnavailable;
    r.heardOnAddress = 0;
    r.interfaceIndex = -1;
    r.ticksToNextAction = PollTicks();
    r.retriesLeft = -1;
  }
  ++position;
}

int PlainEngine::FindCtrl(const PlainRecord& pattern) const {
  for (std::size_t i = 0; i < records.size(); ++i) {
    const bool same = pattern.ctrlType == RC ? records[i].ctrlAddress == pattern.ctrlAddress
                                             : records[i].systemID == pattern.systemID;
    if (same) return static_cast<int>(i);
  }
  return -1;
}

void PlainEngine::Define(PlainRecord record) {
  record.lanSeekID = nextId++;
  records.push_back(std::move(record));
}

HRESULT PlainEngine::Register(const PlainRecord& identity) {
  if (identity.systemID.empty()) return E_INVALIDARG;
  for (const PlainRecord& r : records) {
    if (r.systemID != identity.systemID) continue;
    Trace(L"LanSeek: Register VC failed. Ctrl with SysID " + identity.systemID +
          L" is already in the LanSeek database\n");
    return static_cast<HRESULT>(0xC0040703U);
  }
  PlainRecord vc = identity;
  vc.ctrlType = VC;
  vc.ctrlStatus = CtrlAvailable;
  vc.identificationType = DynamicCtrlDefinition;
  vc.ticksToNextAction = Ticks(settings_.VCRefreshInterval);
  const auto process = processes.find(vc.vcProcessID);
  vc.vcProcessStart = process == processes.end() ? 0 : process->second;
  Define(std::move(vc));
  return S_OK;
}

HRESULT PlainEngine::Unregister(const std::wstring& systemID, bool keep) {
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (records[i].systemID != systemID) continue;
    RemoveActive(i, CtrlLostPowerDown, keep);
    return S_OK;
  }
  return static_cast<HRESULT>(0xC0040411U);
}

HRESULT PlainEngine::AddRemote(const std::wstring& address, std::uint32_t& id) {
  if (platform::ParseIpv4(std::wstring_view(address)) == 0xFFFFFFFFU) return E_INVALIDARG;
  for (const PlainRecord& r : records) {
    if (r.ctrlAddress != address) continue;
    id = r.lanSeekID;
    return r.identificationType == DynamicCtrlDefinition ? 0x00040401 : 0x00040402;
  }
  PlainRecord added;
  added.ctrlAddress = address;
  added.identificationType = RemoteCtrlDefinition;
  added.ticksToNextAction = 0;
  id = nextId;
  Define(std::move(added));
  return S_OK;
}

void PlainEngine::WantName(const PlainRecord& r) {
  for (const auto& [id, address] : namesWanted_)
    if (id == r.lanSeekID) return;
  namesWanted_.emplace_back(r.lanSeekID, r.ctrlAddress);
}

void PlainEngine::FindNames() {
  for (const auto& [id, address] : std::exchange(namesWanted_, {})) {
    const auto name = names.find(address);
    for (PlainRecord& r : records) {
      if (r.lanSeekID != id || r.ctrlStatus != CtrlAvailable || name == names.end()) continue;
      if (Lower(r.hostName.Wide()) == Lower(name->second)) continue;
      r.hostName = name->second;
      if (r.published) Event(r, CtrlAvailable, CtrlUpdated);
    }
  }
}

bool PlainEngine::UpdateFrom(PlainRecord& r, const PlainRecord& newer) {
  const auto says = [](const PlainRecord& c) {
    return std::tie(c.ctrlName, c.systemName, c.releasePath, c.ctrlID, c.versionMajor, c.versionMinor,
                    c.versionRevision, c.kelAPICompatibilityRevision, c.commPortNumber, c.ctrlLevel);
  };
  if (says(r) == says(newer)) return false;
  std::tie(r.ctrlName, r.systemName, r.releasePath, r.ctrlID, r.versionMajor, r.versionMinor,
           r.versionRevision, r.kelAPICompatibilityRevision, r.commPortNumber, r.ctrlLevel) = says(newer);
  return true;
}

void PlainEngine::AddNew(PlainRecord pattern, bool announced) {
  pattern.ctrlStatus = CtrlAvailable;
  pattern.identificationType = DynamicCtrlDefinition;
  pattern.published = announced;
  pattern.ticksToNextAction = announced ? -1 : Ticks(settings_.RefreshTimeout);
  pattern.retriesLeft = announced ? -1 : OneMore(settings_.Retries);
  Define(std::move(pattern));
  if (!announced) return;
  WantName(records.back());
  Event(records.back(), CtrlAvailable, CtrlNew);
}

void PlainEngine::DynamicIdentity(PlainRecord& r, const PlainRecord& pattern) {
  const bool raised = !r.published;
  r.published = true;
  if (raised && r.ctrlType != VC) WantName(r);
  if (raised) Event(r, CtrlAvailable, CtrlNew);
  if (UpdateFrom(r, pattern) && !raised) Event(r, CtrlAvailable, CtrlUpdated);
  r.ticksToNextAction = r.ctrlType == VC ? Ticks(settings_.VCRefreshInterval) : -1;
  r.retriesLeft = -1;
  const bool qualifies = r.versionMajor >= 6 || (r.versionMajor >= 5 && r.versionMinor >= 6);
  if (!raised || r.remotePublication == RemoteVCPublication_False || !qualifies) return;
  published.push_back(r.lanSeekID);
  if (!daemonPublishes) Trace(L"LanSeek. Failed to publish VC remotely " + r.ctrlAddress);
}

void PlainEngine::Identity(int p, const PlainRecord& pattern, const Origin& origin) {
  if (p < 0) return AddNew(pattern, true);
  PlainRecord& r = records[static_cast<std::size_t>(p)];
  if (r.identificationType == DynamicCtrlDefinition) return DynamicIdentity(r, pattern);
  const bool raised = r.ctrlStatus == CtrlUnavailable || !r.published;
  if (raised) {
    r.ctrlStatus = CtrlAvailable;
    r.published = true;
    r.systemID = pattern.systemID;
    r.macAddress = pattern.macAddress;
    WantName(r);
    Event(r, CtrlAvailable, CtrlReconnected);
  }
  if (origin.interfaceIndex >= 0) {
    r.heardOnAddress = origin.address;
    r.interfaceIndex = origin.interfaceIndex;
  }
  if (UpdateFrom(r, pattern) && !raised) Event(r, CtrlAvailable, CtrlUpdated);
  r.ticksToNextAction = PollTicks();
  r.retriesLeft = -1;
}

void PlainEngine::Alive(int p, const PlainRecord& pattern, const Origin& origin) {
  if (p < 0) {
    if (pattern.ctrlType != VC) AddNew(pattern, false);
    return;
  }
  PlainRecord& r = records[static_cast<std::size_t>(p)];
  if (r.identificationType == DynamicCtrlDefinition) {
    if (r.published && pattern.ctrlType != VC) r.ticksToNextAction = r.retriesLeft = -1;
    return;
  }
  if (r.ctrlStatus == CtrlUnavailable) {
    r.ctrlStatus = CtrlAvailable;
    r.published = false;
    r.systemID = pattern.systemID;
    r.macAddress = pattern.macAddress;
    r.ticksToNextAction = Polls() ? 0 : Ticks(settings_.RefreshTimeout);
    r.retriesLeft = OneMore(Polls() ? settings_.NonLocalRetries : settings_.Retries);
  } else if (r.published) {
    r.ticksToNextAction = PollTicks();
    r.retriesLeft = -1;
  }
  if (origin.interfaceIndex >= 0) {
    r.heardOnAddress = origin.address;
    r.interfaceIndex = origin.interfaceIndex;
  }
}

void PlainEngine::Targeted(const Message& message, const Origin& origin) {
  if (message.target.empty()) return;
  const std::wstring& systemID = message.pattern.systemID;
  const platform::Ipv4 target = platform::ParseIpv4(std::wstring_view(message.target));
  if (target != 0xFFFFFFFFU && target == origin.address) {
    if (systemID.empty()) return daemonMessages.push_back({6, origin.interfaceIndex, 0});
    for (const PlainRecord& r : records) {
      if (r.remotePublication == RemoteVCPublication_False || r.systemID != systemID) continue;
      return daemonMessages.push_back({6, origin.interfaceIndex, r.lanSeekID});
    }
    return;
  }
  for (PlainRecord& r : records) {
    if (r.ctrlAddress != message.target || !(systemID.empty() || r.systemID == systemID)) continue;
    if (Polls() && r.identificationType != DynamicCtrlDefinition) return;
    return CountForeignRequest(r);
  }
}

void PlainEngine::Handle(const Message& message, const Origin& origin) {
  const std::uint32_t type = message.type;
  if (origin.source == 2 && type != 1 && type != 2) return;
  PlainRecord pattern = message.pattern;
  if (origin.source != 0) {
    pattern.ctrlAddress = message.from;
    pattern.heardOnAddress = origin.address;
    pattern.interfaceIndex = origin.interfaceIndex;
    if (origin.source == 3) pattern.ctrlType = VC;
  }
  int p = kNotRun;
  if (!Collide(type, pattern, origin.source, p)) return;
  if (origin.source != 0 && p == kNotRun) p = FindCtrl(pattern);
  if (type == 1) Identity(p, pattern, origin);
  if (type == 2) Alive(p, pattern, origin);
  if ((type == 3 || type == 4) && p >= 0) {
    auto at = static_cast<std::size_t>(p);
    if (records[at].identificationType == RemoteCtrlDefinition)
      records[at].identificationType = DynamicCtrlDefinition;
    RemoveActive(at, type == 3 ? CtrlLostRestart : CtrlLostPowerDown);
  }
  if (type == 5 || type == 7) {
    StartRefreshCycle(origin.interfaceIndex, type);
    daemonMessages.push_back({static_cast<std::int32_t>(type), origin.interfaceIndex, 0});
  }
  if (type == 6) Targeted(message, origin);
}

}  // namespace kellanseek::test
