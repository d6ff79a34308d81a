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
  std::wstring CtrlDescription::*text = nullptr;
  std::uint32_t CtrlDescription::*number = nullptr;
  std::wstring CtrlKeys::*key = nullptr;
  std::uint32_t unreported = 0;  ///< The number that means "not reported"; it is not sent.
};

/// The fields of an identity, in the order in which they are published. A new field needs a member of
/// CtrlDescription, a tag and a row here; reading, publishing, resetting and updating then follow. Level and
/// type are not among them, because they are codes with rules of their own.
inline constexpr std::array kIdentityFields = {
    IdentityField{.tag = kTagCtrlName, .text = &CtrlDescription::ctrlName},
    IdentityField{.tag = kTagCtrlID, .text = &CtrlDescription::ctrlID},
    IdentityField{.tag = kTagSystemName, .text = &CtrlDescription::systemName},
    IdentityField{.tag = kTagSystemID, .key = &CtrlKeys::systemID},
    IdentityField{.tag = kTagReleasePath, .text = &CtrlDescription::releasePath},
    IdentityField{
        .tag = kTagVersionMajor, .number = &CtrlDescription::versionMajor, .unreported = kVersionUnknown},
    IdentityField{
        .tag = kTagVersionMinor, .number = &CtrlDescription::versionMinor, .unreported = kVersionUnknown},
    IdentityField{.tag = kTagVersionRevision,
                  .number = &CtrlDescription::versionRevision,
                  .unreported = kVersionUnknown},
    IdentityField{.tag = kTagKelAPICompatibilityRevision,
                  .number = &CtrlDescription::kelAPICompatibilityRevision,
                  .unreported = kVersionUnknown},
    IdentityField{.tag = kTagCommPortNumber, .number = &CtrlDescription::commPortNumber},
    IdentityField{.tag = kTagMacAddress, .key = &CtrlKeys::macAddress},
};

/// Resets the identity to "nothing reported" before the next message. Texts keep their capacity.
void Reset(Identity& identity);

/// Copies the reported properties. Returns whether any of them differed.
bool UpdateFrom(CtrlDescription& stored, const CtrlDescription& newer);

}  // namespace kellanseek::protocol
