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

void CtrlInfo::ResetHeard() {
  for (auto* text : {&ctrlName, &ctrlAddress, &systemName, &releasePath, &systemID, &ctrlID, &macAddress})
    text->clear();
  ctrlType = RC;
  versionMajor = versionMinor = versionRevision = kelAPICompatibilityRevision = kVersionUnknown;
  commPortNumber = 0;
  ctrlLevel = SystemLevel;
  heardOnInterface = kNone;
  heardOnAddress = 0;
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
