#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <queue>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "tools/kelsim/Controller.h"
#include "tools/kelsim/LifeEvent.h"

namespace kellanseek::kelsim {

struct Endpoint {
  platform::Ipv4 address = 0;
  std::uint16_t port = 0;
};

/// A datagram to be sent now.
struct Outgoing {
  std::size_t speaker = 0;
  std::string text;
  std::optional<Endpoint> to;  ///< None: broadcast to the response port.
};

/// The results of a step: datagrams to send and events to report.
struct Outcome {
  std::vector<Outgoing> datagrams;
  std::vector<LifeEvent> events;
};

/// The simulated controllers: their answers to requests and the events that change them. Uses no clock and no
/// socket, so the same seed and the same calls produce the same results on every system.
class Plant {
 public:
  struct Settings {
    std::uint32_t mostDelayMilliseconds = 0;  ///< The longest random delay of an answer.
    std::uint32_t seed = 1;
    bool broadcasts = true;  ///< False for controllers that answer polls only.
  };

  /// The controllers must have consecutive numbers.
  Plant(std::vector<Controller> controllers, const Settings& settings);

  /// Handles a request received by a speaker. `from` is set for a poll, whose answer goes to the sender.
  void Hear(const Request& request, std::size_t speaker, std::optional<Endpoint> from, Moment now);

  /// Every controller that is on and not silent broadcasts its identity.
  void AnnounceAll(Moment now);
  void Schedule(LifeEvent event);

  /// The time of the next task; nullopt if nothing happens before the next request.
  std::optional<Moment> NextDue() const;
  /// Runs the tasks that are due, until `most` datagrams are ready; the rest waits for the next step.
  void Step(Moment now, std::size_t most, Outcome& outcome);

  const std::vector<Controller>& Controllers() const { return controllers_; }
  std::uint64_t Lost() const { return lost_; }

 private:
  struct Announcement {
    std::size_t controller;
  };
  struct Answer {
    std::size_t controller;
    MessageType type;
    Endpoint to;
  };
  struct Return {
    std::size_t controller;
  };
  using Task = std::variant<Announcement, Answer, Return, LifeEvent>;
  struct Due {
    Moment at;
    std::uint64_t order;
    Task task;
  };
  struct Later {
    bool operator()(const Due& left, const Due& right) const {
      return left.at != right.at ? left.at > right.at : left.order > right.order;
    }
  };

  void Add(Moment at, Task task) { agenda_.push({at, ++order_, std::move(task)}); }
  Moment RandomDelay();
  void AnswerAll(std::size_t index, MessageType type, Moment now);
  void AnswerOne(std::size_t index, MessageType type, const Endpoint& to, Moment now);

  void Run(const Announcement& announcement, Moment now, Outcome& outcome);
  void Run(const Answer& answer, Moment now, Outcome& outcome);
  void Run(const Return& ending, Moment now, Outcome& outcome);
  void Run(const LifeEvent& event, Moment now, Outcome& outcome);
  void Apply(const LifeEvent& event, std::size_t index, Moment now, Outcome& outcome);
  /// Changes the controller's identity.
  void Change(const LifeEvent& event, Controller& controller) const;
  void ShutDown(const LifeEvent& event, Controller& controller, Outcome& outcome);
  void Send(const Controller& controller, MessageType type, std::optional<Endpoint> to, Outcome& outcome);
  const Controller& ControllerWithNumber(std::uint32_t number) const {
    return controllers_[number - controllers_[0].number];
  }

  std::vector<Controller> controllers_;
  Settings settings_;
  std::mt19937 random_;
  std::priority_queue<Due, std::vector<Due>, Later> agenda_;
  std::uint64_t order_ = 0;
  std::size_t answersToCome_ = 0;
  std::uint64_t lost_ = 0;
};

}  // namespace kellanseek::kelsim
