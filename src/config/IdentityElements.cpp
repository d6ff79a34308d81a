#include "config/IdentityElements.h"

#include "text/Number.h"

namespace kellanseek::config {
namespace {

using controllers::CtrlInfo;
using controllers::kVersionUnknown;

constexpr IdentityElement kElements[] = {
    {.name = L"ControllerName", .text = &CtrlInfo::ctrlName},
    {.name = L"ControllerLocAddr", .text = &CtrlInfo::ctrlAddress},
    {.name = L"SystemName", .text = &CtrlInfo::systemName},
    {.name = L"ReleasePath", .text = &CtrlInfo::releasePath},
    {.name = L"SystemIdentity", .text = &CtrlInfo::systemID},
    {.name = L"ControllerID", .text = &CtrlInfo::ctrlID},
    {.name = L"HostName", .text = &CtrlInfo::hostName},
    {.name = L"MacAddress", .text = &CtrlInfo::macAddress},
    {.name = L"MajorVersion", .number = &CtrlInfo::versionMajor},
    {.name = L"MinorVersion", .number = &CtrlInfo::versionMinor},
    {.name = L"Revision", .number = &CtrlInfo::versionRevision},
    {.name = L"KelAPICompatibilityRevision", .number = &CtrlInfo::kelAPICompatibilityRevision},
    {.name = L"CommPortNumber", .number = &CtrlInfo::commPortNumber},
    {.name = L"ControllerLevel", .level = &CtrlInfo::ctrlLevel},
};

}  // namespace

std::span<const IdentityElement> IdentityElements() { return kElements; }

void Store(const IdentityElement& element, const std::wstring& text, CtrlInfo& record) {
  if (element.text != nullptr) record.*element.text = text;
  if (element.number != nullptr) record.*element.number = static_cast<std::uint32_t>(text::ToNumber(text));
  if (element.level != nullptr && text == L"BootLevel") record.*element.level = BootLevel;
}

bool VersionKnown(const CtrlInfo& record) {
  return record.versionMajor != 0 && record.versionMajor != kVersionUnknown &&
         record.versionMinor != kVersionUnknown && record.versionRevision != kVersionUnknown;
}

}  // namespace kellanseek::config
