#include "protocol/Fields.h"

#include <utility>

#include "platform/CodePage.h"

namespace kellanseek::protocol {
namespace {

template <typename Value>
bool UpdateValue(Value& stored, const Value& newer) {
  if (stored == newer) return false;
  stored = newer;
  return true;
}

bool UpdateText(text::CompactText& stored, const text::CompactText& newer) {
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
  // In a copy, so that no change is kept when memory runs out.
  controllers::CtrlDescription updated = stored;
  bool changed = UpdateValue(updated.ctrlLevel, newer.ctrlLevel);
  for (const IdentityField& field : kIdentityFields) {
    if (field.text != nullptr) changed |= UpdateText(updated.*field.text, newer.*field.text);
    if (field.number != nullptr) changed |= UpdateValue(updated.*field.number, newer.*field.number);
  }
  if (changed) stored = std::move(updated);
  return changed;
}

}  // namespace kellanseek::protocol
