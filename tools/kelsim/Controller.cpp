#include "tools/kelsim/Controller.h"

#include <cstdio>

#include "protocol/Fields.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::kelsim {
namespace {

using protocol::MessageWriter;

/// What a message calls the system level; the interface has other numbers.
constexpr std::uint32_t kSystemLevel = 0;
constexpr std::uint32_t kControllersInALine = 10;

struct Version {
  std::uint32_t major, minor, revision, compatibilityRevision;
};
constexpr Version kVersion{6, 10, 2, 5};

void AddAddress(const Controller& controller, MessageWriter& message) {
  if (controller.tellsAddress)
    message.Text(protocol::kTagOwnAddress, platform::FormatIpv4(controller.address));
}

std::string BuildIdentity(const Controller& controller) {
  MessageWriter message(MessageWriter::LengthDigits::TwoOrThree, MessageType::CtrlInfoMsg);
  message.Text(protocol::kTagCtrlName, controller.name)
      .Text(protocol::kTagCtrlID, controller.ctrlId)
      .Text(protocol::kTagSystemName, controller.systemName)
      .Text(protocol::kTagSystemID, controller.systemId)
      .Text(protocol::kTagReleasePath, controller.releasePath)
      .Number(protocol::kTagVersionMajor, kVersion.major)
      .Number(protocol::kTagVersionMinor, kVersion.minor)
      .Text(protocol::kTagMacAddress, controller.macAddress)
      .Number(protocol::kTagCommPortNumber, 0)
      .Number(protocol::kTagCtrlLevel, kSystemLevel);
  AddAddress(controller, message);
  return message.Number(protocol::kTagVersionRevision, kVersion.revision)
      .Number(protocol::kTagKelAPICompatibilityRevision, kVersion.compatibilityRevision)
      .Number(protocol::kTagCtrlType, RC)
      .Take();
}

std::string BuildShort(const Controller& controller, MessageType type) {
  MessageWriter message(MessageWriter::LengthDigits::TwoOrThree, type);
  message.Text(protocol::kTagSystemID, controller.systemId);
  if (type == MessageType::CtrlAliveMsg) message.Text(protocol::kTagMacAddress, controller.macAddress);
  AddAddress(controller, message);
  return message.Number(protocol::kTagCtrlType, RC).Take();
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
  return type == MessageType::CtrlInfoMsg ? BuildIdentity(controller) : BuildShort(controller, type);
}

}  // namespace kellanseek::kelsim
