#include "tools/kelsim/Controller.h"

#include <cstdio>

namespace kellanseek::kelsim {
namespace {

constexpr std::uint32_t kRealController = 1;
constexpr std::uint32_t kControllersInALine = 10;

struct Version {
  std::uint32_t major, minor, revision, compatibilityRevision;
};
constexpr Version kVersion{6, 10, 2, 5};

std::string OwnAddressField(const Controller& controller) {
  return controller.tellsAddress ? platform::FormatIpv4(controller.address) : std::string();
}

std::string BuildIdentity(const Controller& controller) {
  return DatagramWriter(MessageType::Identity)
      .Text(Tag::Name, controller.name)
      .Text(Tag::CtrlId, controller.ctrlId)
      .Text(Tag::SystemName, controller.systemName)
      .Text(Tag::SystemId, controller.systemId)
      .Text(Tag::ReleasePath, controller.releasePath)
      .Number(Tag::VersionMajor, kVersion.major)
      .Number(Tag::VersionMinor, kVersion.minor)
      .Text(Tag::MacAddress, controller.macAddress)
      .Number(Tag::CommPort, 0)
      .Number(Tag::Level, 0)
      .Text(Tag::OwnAddress, OwnAddressField(controller))
      .Number(Tag::VersionRevision, kVersion.revision)
      .Number(Tag::CompatibilityRevision, kVersion.compatibilityRevision)
      .Number(Tag::Kind, kRealController)
      .Take();
}

std::string BuildShort(const Controller& controller, MessageType type) {
  DatagramWriter writer(type);
  writer.Text(Tag::SystemId, controller.systemId);
  if (type == MessageType::Presence) writer.Text(Tag::MacAddress, controller.macAddress);
  return writer.Text(Tag::OwnAddress, OwnAddressField(controller)).Number(Tag::Kind, kRealController).Take();
}

template <typename... Arguments>
std::string Format(const char* format, Arguments... arguments) {
  char text[64];
  std::snprintf(text, sizeof text, format, arguments...);
  return text;
}

}  // namespace

Controller NewController(std::uint32_t number) {
  Controller controller;
  controller.number = number;
  controller.name = Format("Cell%u", number);
  controller.ctrlId = Format("ctrl-%04u", number);
  controller.systemName = Format("Line%u", (number - 1) / kControllersInALine + 1);
  controller.systemId = Format("{7A1C-%04u}", number);
  controller.releasePath = "/hd0a/" + controller.systemName;
  controller.macAddress = Format("02-7a-%02x-%02x-%02x-%02x", number >> 24 & 0xFF, number >> 16 & 0xFF,
                                 number >> 8 & 0xFF, number & 0xFF);
  return controller;
}

std::string BuildDatagram(const Controller& controller, MessageType type) {
  return type == MessageType::Identity ? BuildIdentity(controller) : BuildShort(controller, type);
}

}  // namespace kellanseek::kelsim
