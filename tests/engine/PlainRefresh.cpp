#include <cstdio>

#include "PlainEngine.h"

namespace kellanseek::test {

HRESULT PlainEngine::RefreshForID(std::uint32_t id) {
  if (id >= nextId) return E_INVALIDARG;
  for (PlainRecord& r : records) {
    if (r.lanSeekID != id) continue;
    if (r.retriesLeft >= 0 || r.ctrlType == VC || r.ctrlStatus != CtrlAvailable) return S_OK;
    const bool polled = Polls() && r.identificationType != DynamicCtrlDefinition;
    r.ticksToNextAction = polled ? 0 : 1;
    r.retriesLeft = OneMore(polled ? settings_.NonLocalRetries : settings_.Retries);
    return S_OK;
  }
  return static_cast<HRESULT>(0xC0040412U);
}

void PlainEngine::CountForeignRequest(PlainRecord& r) const {
  const int timeout = Ticks(settings_.RefreshTimeout);
  if (r.retriesLeft <= 0 || r.ticksToNextAction < 0 || r.ticksToNextAction >= timeout / 2) return;
  r.ticksToNextAction = timeout;
  --r.retriesLeft;
}

void PlainEngine::StartRefreshCycle(int interfaceIndex, std::uint32_t type) {
  if (interfaceIndex < 0 || interfaceIndex >= static_cast<int>(interfaces.size()))
    return Trace(L"LanSeek: StartRefreshCycle internal error. Bad interface index");
  interfaces[static_cast<std::size_t>(interfaceIndex)].refreshCountdown = Ticks(settings_.RefreshInterval);
  for (PlainRecord& r : records) {
    if (r.interfaceIndex != interfaceIndex || r.ctrlStatus != CtrlAvailable) continue;
    if (r.identificationType != DynamicCtrlDefinition && Polls()) continue;
    if (r.retriesLeft < 0) {
      r.retriesLeft = settings_.Retries;
      r.ticksToNextAction = Ticks(settings_.RefreshTimeout);
    } else if (r.published || type == 5) {
      CountForeignRequest(r);
    }
  }
}

void PlainEngine::BeginRun() {
  for (PlainRecord& r : records) {
    if (r.ctrlStatus != CtrlAvailable || r.ctrlType == VC) continue;
    if (Polls() && r.identificationType != DynamicCtrlDefinition) continue;
    r.retriesLeft = settings_.Retries;
    r.ticksToNextAction = Ticks(settings_.RefreshTimeout);
  }
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    broadcasts.push_back("broadcast " + std::to_string(i) + " " + kFull);
    daemonMessages.push_back({5, static_cast<std::int32_t>(i), 0});
  }
  if (!Polls()) return;
  for (PlainRecord& r : records) {
    if (r.identificationType == DynamicCtrlDefinition) continue;
    const bool there = r.ctrlStatus == CtrlAvailable;
    r.ticksToNextAction = Ticks(there ? settings_.NonLocalRefreshTimeout : settings_.NonLocalRefreshInterval);
    r.retriesLeft = there ? settings_.NonLocalRetries : -1;
    SendTo(r, kFull);
  }
}

void PlainEngine::Tick() {
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    interfaces[i].requestsThisTick = 0;
    if (interfaces[i].refreshCountdown != 0) {
      if (interfaces[i].refreshCountdown > 0) --interfaces[i].refreshCountdown;
      continue;
    }
    StartRefreshCycle(static_cast<int>(i), 7);
    broadcasts.push_back("broadcast " + std::to_string(i) + " " + kRefresh);
    daemonMessages.push_back({7, static_cast<std::int32_t>(i), 0});
  }
  for (std::size_t i = 0; i < records.size();) {
    PlainRecord& r = records[i];
    if (r.ticksToNextAction != 0) {
      if (r.ticksToNextAction > 0) --r.ticksToNextAction;
      ++i;
    } else if (Due(i)) {
      ++i;
    }
  }
}

/// False when `i` names the record to go on with already.
bool PlainEngine::Due(std::size_t& i) {
  PlainRecord& r = records[i];
  if (r.ctrlType == VC) {
    const auto process = processes.find(r.vcProcessID);
    if (process != processes.end() && (r.vcProcessStart == 0 || r.vcProcessStart == process->second)) {
      r.ticksToNextAction = Ticks(settings_.VCRefreshInterval);
      r.retriesLeft = -1;
      return true;
    }
    Trace(L"LanSeek: VC " + r.systemName.Wide() + L" @ " + r.ctrlAddress + L" ID: " +
          std::to_wstring(r.vcProcessID) + L" has terminated!");
    if (r.vcProcessID != 0) ++objectsLost;
    RemoveActive(i, CtrlLostConnection);
    return false;
  }
  if (r.retriesLeft == 0) {
    RemoveActive(i, CtrlLostConnection);
    return false;
  }
  if (Polls() && r.identificationType != DynamicCtrlDefinition) {
    Poll(r);
  } else if (r.interfaceIndex >= 0) {
    AskOnInterface(r);
  }
  return true;
}

void PlainEngine::Poll(PlainRecord& r) {
  if (r.retriesLeft < 0 && r.ctrlStatus == CtrlUnavailable) {
    r.ticksToNextAction = Ticks(settings_.NonLocalRefreshInterval);
    return SendTo(r, kFull);
  }
  SendTo(r, r.retriesLeft < 0 && r.published ? kRefresh : kFull);
  r.ticksToNextAction = Ticks(settings_.NonLocalRefreshTimeout);
  r.retriesLeft = r.retriesLeft < 0 ? settings_.NonLocalRetries : r.retriesLeft - 1;
}

void PlainEngine::AskOnInterface(PlainRecord& r) {
  Interface& entry = interfaces.at(static_cast<std::size_t>(r.interfaceIndex));
  if (entry.requestsThisTick >= settings_.TickInterval * settings_.MaxRequestsPerSecond / 1000) return;
  ++entry.requestsThisTick;
  r.ticksToNextAction = Ticks(settings_.RefreshTimeout);
  if (r.retriesLeft > 0) --r.retriesLeft;  // Below 0 there is no end, and nothing to count.
  std::string rest = ";6;a:" + Narrow(r.ctrlAddress) + ";";
  if (r.ctrlType == RemoteVC) rest += "4:" + Narrow(r.systemID) + ";";
  char length[8];
  std::snprintf(length, sizeof length, "%02zx", 10 + rest.size());
  broadcasts.push_back("broadcast " + std::to_string(r.interfaceIndex) + " Lanseek;" + length + rest);
}

}  // namespace kellanseek::test
