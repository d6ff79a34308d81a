#include "tools/kelsim/Request.h"

#include "platform/CodePage.h"
#include "protocol/MessageReader.h"

namespace kellanseek::kelsim {
namespace {

bool IsRequest(MessageType type) {
  return type == MessageType::FullRequestMsg || type == MessageType::TargetedRequestMsg ||
         type == MessageType::RefreshRequestMsg;
}

}  // namespace

std::optional<Request> ReadRequest(std::string_view datagram) {
  protocol::Message message;
  const auto result = protocol::ParseMessage(datagram, datagram.size(), message);
  if (result.outcome != protocol::ParseResult::Outcome::Accepted || !IsRequest(message.type))
    return std::nullopt;
  Request request{message.type};
  if (message.target) request.target = platform::ParseIpv4(message.target->View());
  request.systemId = platform::ToNarrow(message.identity.systemID);
  return request;
}

}  // namespace kellanseek::kelsim
