#include "controllers/CtrlInfo.h"

#include "platform/CodePage.h"

namespace kellanseek {
namespace {

bool TakeText(std::wstring& stored, const std::wstring& newer) {
  if (platform::LocaleEqual(stored, newer)) return false;
  stored = newer;
  return true;
}

template <typename T>
bool TakeValue(T& stored, const T& newer) {
  if (stored == newer) return false;
  stored = newer;
  return true;
}

}  // namespace

void CtrlInfo::Reset() {
  for (auto* text :
       {&ctrlName, &ctrlAddress, &systemName, &releasePath, &systemID, &ctrlID, &macAddress, &hostName}) {
    text->clear();
  }
  lanSeekID = 0;
  ctrlType = RC;
  remotePublication = RemoteVCPublication_False;
  versionMajor = versionMinor = versionRevision = kelAPICompatibilityRevision = kVersionUnknown;
  commPortNumber = 0;
  ctrlLevel = SystemLevel;
  ctrlStatus = CtrlUnavailable;
  identificationType = StaticCtrlDefinition;
  heardOnInterface = kNone;
  heardOnAddress = 0;
  published = false;
  vcProcessID = 0;
  vcProcessStart = 0;
  vcInterface.Reset();
  schedule_.Idle();
}

bool CtrlState::UpdateFrom(const CtrlState& newer) {
  bool changed = TakeText(ctrlName, newer.ctrlName);
  changed |= TakeText(systemName, newer.systemName);
  changed |= TakeText(releasePath, newer.releasePath);
  changed |= TakeText(ctrlID, newer.ctrlID);
  changed |= TakeValue(versionMajor, newer.versionMajor);
  changed |= TakeValue(versionMinor, newer.versionMinor);
  changed |= TakeValue(versionRevision, newer.versionRevision);
  changed |= TakeValue(kelAPICompatibilityRevision, newer.kelAPICompatibilityRevision);
  changed |= TakeValue(commPortNumber, newer.commPortNumber);
  changed |= TakeValue(ctrlLevel, newer.ctrlLevel);
  return changed;
}

}  // namespace kellanseek
