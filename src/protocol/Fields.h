#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "controllers/Identity.h"

namespace kellanseek::protocol {

/// The field tags in use.
enum FieldTag : std::uint32_t {
  kTagCtrlName = 0x1,
  kTagCtrlID = 0x2,
  kTagSystemName = 0x3,
  kTagSystemID = 0x4,
  kTagReleasePath = 0x5,
  kTagVersionMajor = 0x7,
  kTagVersionMinor = 0x8,
  kTagMacAddress = 0x9,
  kTagTargetAddress = 0xa,
  kTagCommPortNumber = 0xb,
  kTagCtrlLevel = 0xc,
  kTagOwnAddress = 0xe,
  kTagVersionRevision = 0xf,
  kTagKelAPICompatibilityRevision = 0x10,
  kTagCtrlType = 0x11,
};

/// A field with a text or a decimal number, read and sent unchanged. Exactly one of the member pointers is
/// set.
struct IdentityField {
  FieldTag tag;
  text::CompactText controllers::CtrlDescription::*text = nullptr;
  std::uint32_t controllers::CtrlDescription::*number = nullptr;
  std::wstring controllers::CtrlKeys::*key = nullptr;
  std::uint32_t unreported = 0;  ///< The number that means "not reported"; it is not sent.
};

/// The fields of an identity, in the order in which they are published. A new field needs a member of
/// CtrlDescription, a tag and a row here; reading, publishing, resetting and updating then follow. Level and
/// type are not among them, because they are codes with rules of their own.
inline constexpr std::array kIdentityFields = {
    IdentityField{.tag = kTagCtrlName, .text = &controllers::CtrlDescription::ctrlName},
    IdentityField{.tag = kTagCtrlID, .text = &controllers::CtrlDescription::ctrlID},
    IdentityField{.tag = kTagSystemName, .text = &controllers::CtrlDescription::systemName},
    IdentityField{.tag = kTagSystemID, .key = &controllers::CtrlKeys::systemID},
    IdentityField{.tag = kTagReleasePath, .text = &controllers::CtrlDescription::releasePath},
    IdentityField{.tag = kTagVersionMajor,
                  .number = &controllers::CtrlDescription::versionMajor,
                  .unreported = controllers::kVersionUnknown},
    IdentityField{.tag = kTagVersionMinor,
                  .number = &controllers::CtrlDescription::versionMinor,
                  .unreported = controllers::kVersionUnknown},
    IdentityField{.tag = kTagVersionRevision,
                  .number = &controllers::CtrlDescription::versionRevision,
                  .unreported = controllers::kVersionUnknown},
    IdentityField{.tag = kTagKelAPICompatibilityRevision,
                  .number = &controllers::CtrlDescription::kelAPICompatibilityRevision,
                  .unreported = controllers::kVersionUnknown},
    IdentityField{.tag = kTagCommPortNumber, .number = &controllers::CtrlDescription::commPortNumber},
    IdentityField{.tag = kTagMacAddress, .key = &controllers::CtrlKeys::macAddress},
};

/// Resets the identity to "nothing reported" before the next message.
void Reset(controllers::Identity& identity);

/// Copies the reported properties. Returns whether any of them differed. If memory runs out, throws and
/// changes nothing.
bool UpdateFrom(controllers::CtrlDescription& stored, const controllers::CtrlDescription& newer);

}  // namespace kellanseek::protocol
