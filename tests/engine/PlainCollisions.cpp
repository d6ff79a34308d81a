#include "PlainEngine.h"

namespace kellanseek::test {
namespace {

constexpr const wchar_t* kFixed = L"192.168.125.1";

bool IsFixed(const PlainRecord& record) { return record.ctrlAddress == kFixed; }

}  // namespace

bool PlainEngine::Collide(std::uint32_t type, PlainRecord& pattern, int source, int& out) {
  out = kNotRun;
  if (source == 0 || source == 3 || (type != 1 && type != 2)) return true;
  if (pattern.systemID.empty() || pattern.macAddress.empty()) {
    Trace(L"LanSeek::HandleCtrlCollisions. Unsufficent data in message from " + pattern.ctrlAddress + L"!");
    return false;
  }
  out = -2;
  bool staticMatch = false;
  for (std::size_t i = 0; i < records.size();) {
    PlainRecord& r = records[i];
    const Step defined = Defined(pattern, source, i, out, staticMatch);
    if (defined == Step::Drop) return false;
    if (defined == Step::SameIndex) continue;
    if (defined == Step::NextRecord || r.ctrlStatus == CtrlUnavailable) {
      ++i;
      continue;
    }
    const LanSeekEventReason moved = pattern.ctrlType == RC ? CtrlLostRestart : CtrlLostConnection;
    const bool a = r.ctrlAddress == pattern.ctrlAddress;
    switch (4 * (r.systemID == pattern.systemID) + 2 * (r.macAddress == pattern.macAddress) + a) {
      case 0: ++i; break;
      case 1:
      case 5:
        Trace(L"LanSeek: IP-Address collision: IP:" + pattern.ctrlAddress);
        RemoveActive(i, CtrlLostIPAddressCollision);
        return false;
      case 2:
      case 6: RemoveActive(i, moved); break;
      case 3:
        if (pattern.ctrlType == RC) {
          RemoveActive(i, CtrlLostRestart);
        } else {
          ++i;
        }
        break;
      case 7:
        if (pattern.commPortNumber != 0 && pattern.commPortNumber != r.commPortNumber) {
          RemoveActive(i, CtrlLostRestart);
        } else {
          out = static_cast<int>(i);
        }
        return true;
      default:
        if (SameSystemID(type, pattern, source, i, staticMatch) == Step::Drop) return false;
    }
  }
  if (source != 2 || out >= 0) return true;
  Trace(L"LanSeek: Message from static handling (" + pattern.ctrlAddress +
        L") does not match any known controller!");
  return false;
}

/// What kind of record it is, whatever its identity.
PlainEngine::Step PlainEngine::Defined(PlainRecord& pattern, int source, std::size_t i, int& out,
                                       bool& staticMatch) {
  PlainRecord& r = records[i];
  if (r.ctrlType == VC) {
    if (r.systemID != pattern.systemID) return Step::NextRecord;
    Trace(L"LanSeek: System ID collision between RC " + pattern.ctrlAddress + L" and local VC " +
          r.ctrlAddress + L". SysID:" + pattern.systemID);
    return Step::Drop;
  }
  if (r.identificationType == DynamicCtrlDefinition || r.ctrlAddress != pattern.ctrlAddress)
    return Step::GoOn;
  if (r.identificationType == StaticCtrlDefinition || source == 2) {
    if (pattern.ctrlType == RemoteVC) {
      Trace(L"LanSeek: Non-local handling of remote VC not supported. IP " + pattern.ctrlAddress);
      return Step::Drop;
    }
    out = static_cast<int>(i);
    if (r.identificationType == StaticCtrlDefinition) staticMatch = true;
    return Step::GoOn;
  }
  if (r.ctrlStatus == CtrlAvailable) {
    r.identificationType = DynamicCtrlDefinition;
    r.interfaceIndex = pattern.interfaceIndex;
    r.heardOnAddress = pattern.heardOnAddress;
    return Step::GoOn;
  }
  records.erase(records.begin() + static_cast<std::ptrdiff_t>(i));
  return Step::SameIndex;
}

PlainEngine::Step PlainEngine::SameSystemID(std::uint32_t type, PlainRecord& pattern, int source,
                                            std::size_t& i, bool staticMatch) {
  PlainRecord& r = records[i];
  const bool onOneInterface = pattern.heardOnAddress != 0 && r.heardOnAddress == pattern.heardOnAddress;
  const bool otherDescription = r.ctrlID != pattern.ctrlID || r.systemName != pattern.systemName ||
                                r.versionMajor != pattern.versionMajor ||
                                r.versionMinor != pattern.versionMinor ||
                                r.versionRevision != pattern.versionRevision;
  if (onOneInterface || (type == 1 && r.published && otherDescription)) {
    Trace(L"LanSeek: System ID collision for " + pattern.ctrlAddress + L" and " + r.ctrlAddress +
          L". SysID:" + pattern.systemID);
    RemoveActive(i, CtrlLostSystemIdCollision);
    return Step::Drop;
  }
  if (r.identificationType == StaticCtrlDefinition) return Step::Drop;
  if (!staticMatch) {
    if (IsFixed(r)) return Step::Drop;
    const bool mayMove = source == 2 && r.identificationType != RemoteCtrlDefinition;
    if (!IsFixed(pattern) && !mayMove) return Step::Drop;
  }
  RemoveActive(i, CtrlUpdated);
  return Step::SameIndex;
}

}  // namespace kellanseek::test
