#include "PlainEngine.h"

namespace kellanseek::test {
namespace {

constexpr const wchar_t* kFixed = L"192.168.125.1";

bool IsFixed(CtrlInfo& record) {
  if (record.ipAddress == 0xFFFFFFFFU) record.ipAddress = record.ctrlAddress == kFixed;
  return record.ipAddress != 0;
}

}  // namespace

void PlainEngine::RemoveActive(std::size_t& position, LanSeekEventReason reason, bool keep) {
  CtrlInfo& r = records[position];
  const bool dynamic = r.identificationType == DynamicCtrlDefinition;
  if (r.published && r.ctrlStatus == CtrlAvailable) {
    events.push_back({r.lanSeekID, dynamic ? CtrlRemoved : CtrlUnavailable, reason});
  }
  if (dynamic && !keep) {
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(position));
    return;
  }
  r.published = false;
  if (!dynamic) {
    r.ctrlStatus = CtrlUnavailable;
    r.heardOnAddress = 0;
    r.heardOnInterface = -1;
    r.ticksToNextAction = 128;
    r.retriesLeft = -1;
  }
  ++position;
}

int PlainEngine::FindCtrl(const CtrlInfo& pattern) const {
  for (std::size_t i = 0; i < records.size(); ++i) {
    const bool same = pattern.ctrlType == RC ? records[i].ctrlAddress == pattern.ctrlAddress
                                             : records[i].systemID == pattern.systemID;
    if (same) return static_cast<int>(i);
  }
  return -1;
}

bool PlainEngine::Collide(std::uint32_t type, CtrlInfo& pattern, engine::MsgSource source, int& out) {
  out = kNotRun;
  if (source == engine::MsgSource::FromRequestSocket || source == engine::MsgSource::FromLocalVC) return true;
  const bool nonLocal = source == engine::MsgSource::FromNonLocalSocket;
  if (type != 1 && type != 2) return true;
  if (pattern.ctrlAddress.empty() || pattern.systemID.empty() || pattern.macAddress.empty()) return false;
  out = -2;
  bool staticMatch = false;
  for (std::size_t i = 0; i < records.size();) {
    CtrlInfo& r = records[i];
    if (r.ctrlType == VC) {
      if (r.systemID == pattern.systemID) return false;
      ++i;
      continue;
    }
    const bool sameAddress = r.ctrlAddress == pattern.ctrlAddress;
    if (r.identificationType == StaticCtrlDefinition && sameAddress) {
      if (pattern.ctrlType == RemoteVC) return false;
      out = static_cast<int>(i);
      staticMatch = true;
    } else if (r.identificationType == RemoteCtrlDefinition && sameAddress) {
      if (nonLocal) {
        if (pattern.ctrlType == RemoteVC) return false;
        out = static_cast<int>(i);
      } else if (r.ctrlStatus == CtrlAvailable) {
        r.identificationType = DynamicCtrlDefinition;
        r.heardOnInterface = pattern.heardOnInterface;
        r.heardOnAddress = pattern.heardOnAddress;
      } else {
        records.erase(records.begin() + static_cast<std::ptrdiff_t>(i));
        continue;
      }
    }
    if (r.ctrlStatus == CtrlUnavailable) {
      ++i;
      continue;
    }
    const int code =
        4 * (r.systemID == pattern.systemID) + 2 * (r.macAddress == pattern.macAddress) + sameAddress;
    switch (code) {
      case 0: ++i; continue;
      case 1:
      case 5: RemoveActive(i, CtrlLostIPAddressCollision); return false;
      case 2:
      case 6: RemoveActive(i, pattern.ctrlType == RC ? CtrlLostRestart : CtrlLostConnection); continue;
      case 3:
        if (pattern.ctrlType == RC) {
          RemoveActive(i, CtrlLostRestart);
        } else {
          ++i;
        }
        continue;
      case 7:
        if (pattern.commPortNumber != 0 && pattern.commPortNumber != r.commPortNumber) {
          RemoveActive(i, CtrlLostRestart);
        } else {
          out = static_cast<int>(i);
        }
        return true;
      default: break;
    }
    if (pattern.heardOnAddress != 0 && pattern.heardOnAddress == r.heardOnAddress) {
      RemoveActive(i, CtrlLostSystemIdCollision);
      return false;
    }
    if (type == 1 && r.published &&
        (r.ctrlID != pattern.ctrlID || r.systemName != pattern.systemName ||
         r.versionMajor != pattern.versionMajor || r.versionMinor != pattern.versionMinor ||
         r.versionRevision != pattern.versionRevision)) {
      RemoveActive(i, CtrlLostSystemIdCollision);
      return false;
    }
    const int kind = staticMatch ? 1 : nonLocal ? 3 : 2;
    if (!staticMatch) {
      if (r.identificationType == StaticCtrlDefinition) return false;
      if (IsFixed(r)) return false;
      if (IsFixed(pattern)) {
        RemoveActive(i, CtrlUpdated);
        continue;
      }
    }
    if (r.identificationType == StaticCtrlDefinition) return false;
    if (kind == 2) return false;
    if (r.identificationType == RemoteCtrlDefinition && kind == 3) return false;
    RemoveActive(i, CtrlUpdated);
  }
  return !(nonLocal && out < 0);
}

void PlainEngine::AddNew(CtrlInfo pattern, bool published) {
  pattern.ctrlStatus = CtrlAvailable;
  pattern.identificationType = DynamicCtrlDefinition;
  pattern.published = published;
  pattern.lanSeekID = nextId++;
  pattern.ticksToNextAction = published ? -1 : 16;
  pattern.retriesLeft = published ? -1 : 4;
  records.push_back(pattern);
  if (published) events.push_back({pattern.lanSeekID, CtrlAvailable, CtrlNew});
}

void PlainEngine::Identity(int p, const CtrlInfo& pattern, std::int32_t position,
                           platform::Ipv4 interfaceAddress) {
  if (p < 0) return AddNew(pattern, true);
  CtrlInfo& r = records[static_cast<std::size_t>(p)];
  bool raised = false;
  if (r.identificationType == DynamicCtrlDefinition) {
    if (!r.published) {
      r.published = raised = true;
      events.push_back({r.lanSeekID, CtrlAvailable, CtrlNew});
    }
    r.ticksToNextAction = r.ctrlType == VC ? 4 : -1;
  } else {
    if (r.ctrlStatus == CtrlUnavailable || !r.published) {
      r.ctrlStatus = CtrlAvailable;
      r.published = raised = true;
      r.systemID = pattern.systemID;
      r.macAddress = pattern.macAddress;
      events.push_back({r.lanSeekID, CtrlAvailable, CtrlReconnected});
    }
    if (position >= 0) {
      r.heardOnAddress = interfaceAddress;
      r.heardOnInterface = position;
    }
    r.ticksToNextAction = 128;
  }
  r.retriesLeft = -1;
  if (r.UpdateFrom(pattern) && !raised) events.push_back({r.lanSeekID, CtrlAvailable, CtrlUpdated});
}

void PlainEngine::Alive(int p, const CtrlInfo& pattern, std::int32_t position,
                        platform::Ipv4 interfaceAddress) {
  if (p < 0) {
    if (pattern.ctrlType != VC) AddNew(pattern, false);
    return;
  }
  CtrlInfo& r = records[static_cast<std::size_t>(p)];
  if (r.identificationType == DynamicCtrlDefinition) {
    if (r.published && pattern.ctrlType != VC) r.ticksToNextAction = r.retriesLeft = -1;
    return;
  }
  if (r.ctrlStatus == CtrlUnavailable) {
    r.ctrlStatus = CtrlAvailable;
    r.published = false;
    r.systemID = pattern.systemID;
    r.macAddress = pattern.macAddress;
    r.ticksToNextAction = 0;
    r.retriesLeft = 4;
  } else if (r.published) {
    r.ticksToNextAction = 128;
    r.retriesLeft = -1;
  }
  if (position >= 0) {
    r.heardOnAddress = interfaceAddress;
    r.heardOnInterface = position;
  }
}

void PlainEngine::Handle(std::uint32_t type, CtrlInfo pattern, engine::MsgSource source,
                         std::int32_t position, platform::Ipv4 interfaceAddress) {
  if (source == engine::MsgSource::FromNonLocalSocket && type > 2) return;
  int p = kNotRun;
  if (!Collide(type, pattern, source, p)) return;
  if (source != engine::MsgSource::FromRequestSocket && p == kNotRun) p = FindCtrl(pattern);
  if (type == 1) Identity(p, pattern, position, interfaceAddress);
  if (type == 2) Alive(p, pattern, position, interfaceAddress);
  if ((type == 3 || type == 4) && p >= 0) {
    auto at = static_cast<std::size_t>(p);
    if (records[at].identificationType == RemoteCtrlDefinition) {
      records[at].identificationType = DynamicCtrlDefinition;
    }
    RemoveActive(at, type == 3 ? CtrlLostRestart : CtrlLostPowerDown);
  }
}

}  // namespace kellanseek::test
