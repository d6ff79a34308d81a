#include "protocol/Fields.h"

#include "platform/CodePage.h"

namespace kellanseek::protocol {
namespace {

template <typename Value>
bool UpdateValue(Value& stored, const Value& newer) {
  if (stored == newer) return false;
  stored = newer;
  return true;
}

bool UpdateText(std::wstring& stored, const std::wstring& newer) {
  if (platform::LocaleEqual(stored, newer)) return false;
  stored = newer;
  return true;
}

}  // namespace

void Reset(controllers::Identity& identity) {
  for (const IdentityField& field : kIdentityFields) {
    if (field.text != nullptr) (identity.*field.text).clear();
    if (field.key != nullptr) (identity.*field.key).clear();
    if (field.number != nullptr) identity.*field.number = field.unreported;
  }
  identity.ctrlAddress.clear();
  identity.ctrlType = RC;
  identity.ctrlLevel = SystemLevel;
}

bool UpdateFrom(controllers::CtrlDescription& stored, const controllers::CtrlDescription& newer) {
  // All memory first, so that no change is kept when it runs out.
  for (const IdentityField& field : kIdentityFields)
    if (field.text != nullptr) (stored.*field.text).reserve((newer.*field.text).size());
  bool changed = UpdateValue(stored.ctrlLevel, newer.ctrlLevel);
  for (const IdentityField& field : kIdentityFields) {
    if (field.text != nullptr) changed |= UpdateText(stored.*field.text, newer.*field.text);
    if (field.number != nullptr) changed |= UpdateValue(stored.*field.number, newer.*field.number);
  }
  return changed;
}

}  // namespace kellanseek::protocol
