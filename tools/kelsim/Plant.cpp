#include "tools/kelsim/Plant.h"

#include <utility>

namespace kellanseek::kelsim {
namespace {

/// Bounds the answers waiting for their delay, in case polls arrive faster than answers leave.
constexpr std::size_t kMostAnswersToCome = 200'000;

MessageType AnswerTo(MessageType request) {
  return request == MessageType::RefreshRequestMsg ? MessageType::CtrlAliveMsg : MessageType::CtrlInfoMsg;
}

bool IsAddressed(const Controller& controller, const Request& request) {
  if (request.type != MessageType::TargetedRequestMsg) return true;
  return controller.address == request.target &&
         (request.systemId.empty() || request.systemId == controller.systemId);
}

}  // namespace

Plant::Plant(std::vector<Controller> controllers, const Settings& settings)
    : controllers_(std::move(controllers)), settings_(settings), random_(settings.seed) {}

void Plant::Hear(const Request& request, std::size_t speaker, std::optional<Endpoint> from, Moment now) {
  for (std::size_t i = 0; i < controllers_.size(); ++i) {
    const Controller& controller = controllers_[i];
    if (controller.speaker != speaker || !controller.Speaks() || !IsAddressed(controller, request)) continue;
    if (from) {
      AnswerOne(i, AnswerTo(request.type), *from, now);
    } else {
      AnswerAll(i, AnswerTo(request.type), now);
    }
  }
}

void Plant::AnnounceAll(Moment now) {
  for (std::size_t i = 0; i < controllers_.size(); ++i) AnswerAll(i, MessageType::CtrlInfoMsg, now);
}

void Plant::Schedule(LifeEvent event) {
  const Moment at = event.at;
  Add(at, std::move(event));
}

std::optional<Moment> Plant::NextDue() const {
  if (agenda_.empty()) return std::nullopt;
  return agenda_.top().at;
}

void Plant::Step(Moment now, std::size_t most, Outcome& outcome) {
  outcome.datagrams.clear();
  outcome.events.clear();
  while (!agenda_.empty() && agenda_.top().at <= now && outcome.datagrams.size() < most) {
    const Task task = agenda_.top().task;
    agenda_.pop();
    std::visit([&](const auto& one) { Run(one, now, outcome); }, task);
  }
}

Moment Plant::RandomDelay() {
  // Not a standard distribution: their results differ between libraries.
  const std::uint64_t choices = std::uint64_t{settings_.mostDelayMilliseconds} + 1;
  return Moment(static_cast<Moment::rep>(random_() % choices));
}

void Plant::AnswerAll(std::size_t index, MessageType type, Moment now) {
  Controller& controller = controllers_[index];
  if (!settings_.broadcasts || !controller.Speaks()) return;
  // One broadcast answers every request so far; a full identity includes everything in a presence.
  if (controller.announcementToCome) {
    if (type == MessageType::CtrlInfoMsg) controller.announcementToCome = type;
    return;
  }
  controller.announcementToCome = type;
  Add(now + RandomDelay(), Announcement{index});
}

void Plant::AnswerOne(std::size_t index, MessageType type, const Endpoint& to, Moment now) {
  if (answersToCome_ >= kMostAnswersToCome) return;
  ++answersToCome_;
  Add(now + RandomDelay(), Answer{index, type, to});
}

void Plant::Run(const Announcement& announcement, Moment, Outcome& outcome) {
  Controller& controller = controllers_[announcement.controller];
  const MessageType type = *std::exchange(controller.announcementToCome, std::nullopt);
  if (controller.Speaks()) Send(controller, type, std::nullopt, outcome);
}

void Plant::Run(const Answer& answer, Moment, Outcome& outcome) {
  --answersToCome_;
  const Controller& controller = controllers_[answer.controller];
  if (controller.Speaks()) Send(controller, answer.type, answer.to, outcome);
}

void Plant::Run(const Return& ending, Moment now, Outcome&) {
  Controller& controller = controllers_[ending.controller];
  if (!controller.returns || *controller.returns > now) return;
  controller.returns.reset();
  controller.powered = true;
  AnswerAll(ending.controller, MessageType::CtrlInfoMsg, now);
}

void Plant::Run(const LifeEvent& event, Moment now, Outcome& outcome) {
  const std::uint32_t firstNumber = controllers_[0].number;
  for (std::uint32_t number = event.first; number <= event.last; ++number) {
    Apply(event, number - firstNumber, now, outcome);
  }
  outcome.events.push_back(event);
}

void Plant::Apply(const LifeEvent& event, std::size_t index, Moment now, Outcome& outcome) {
  Controller& controller = controllers_[index];
  switch (event.action) {
    case Action::Restart:
      if (!controller.powered) return;
      ShutDown(event, controller, outcome);
      controller.returns = now + Moment(event.value);
      Add(*controller.returns, Return{index});
      return;
    case Action::PowerDown: ShutDown(event, controller, outcome); return;
    case Action::FallSilent: controller.silent = true; return;
    case Action::Speak: controller.silent = false; return;
    case Action::SetLoss: controller.lossPercent = event.value; return;
    case Action::PowerUp:
      controller.returns.reset();
      controller.powered = true;
      break;
    default: Change(event, controller); break;
  }
  AnswerAll(index, MessageType::CtrlInfoMsg, now);
}

void Plant::Change(const LifeEvent& event, Controller& controller) const {
  switch (event.action) {
    case Action::Rename: controller.name = event.text; break;
    case Action::SetSystemName: controller.systemName = event.text; break;
    case Action::SetReleasePath: controller.releasePath = event.text; break;
    case Action::SetSystemId: controller.systemId = event.text; break;
    case Action::SetMacAddress: controller.macAddress = event.text; break;
    case Action::SetAddress:
      controller.address =
          platform::NetworkOrder(platform::HostOrder(event.value) + controller.number - event.first);
      break;
    case Action::ShareAddress: controller.address = ControllerWithNumber(event.value).address; break;
    case Action::ShareSystemId: controller.systemId = ControllerWithNumber(event.value).systemId; break;
    default: break;
  }
}

void Plant::ShutDown(const LifeEvent& event, Controller& controller, Outcome& outcome) {
  const bool restarts = event.action == Action::Restart;
  if (controller.Speaks() && settings_.broadcasts) {
    Send(controller, restarts ? MessageType::CtrlRestartMsg : MessageType::CtrlPowerDownMsg, std::nullopt,
         outcome);
  }
  controller.powered = false;
  controller.returns.reset();
}

void Plant::Send(const Controller& controller, MessageType type, std::optional<Endpoint> to,
                 Outcome& outcome) {
  if (controller.lossPercent != 0 && random_() % 100 < controller.lossPercent) {
    ++lost_;
    return;
  }
  outcome.datagrams.push_back({controller.speaker, BuildDatagram(controller, type), to});
}

}  // namespace kellanseek::kelsim
