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

/// A datagram that is to be sent now.
struct Outgoing {
  std::size_t speaker = 0;
  std::string text;
  std::optional<Endpoint> to;  ///< None: everybody on the network, at the response port.
};

/// What a step of the plant brought about.
struct Outcome {
  std::vector<Outgoing> datagrams;
  std::vector<LifeEvent> events;
};

/// The simulated controllers: what they answer to requests, and what happens to them. Knows no clock and no
/// socket; the same seed and the same calls give the same outcome everywhere.
class Plant {
 public:
  struct Settings {
    std::uint32_t mostDelayMilliseconds = 0;  ///< An answer waits a random time of at most this.
    std::uint32_t seed = 1;
    bool broadcasts = true;  ///< False for controllers that can be polled but say nothing to a network.
  };

  /// Numbers of the controllers are consecutive.
  Plant(std::vector<Controller> controllers, const Settings& settings);

  /// A request reached a speaker. `from` is given when it was a poll of this very address: the answer goes
  /// there.
  void Hear(const Request& request, std::size_t speaker, std::optional<Endpoint> from, Moment now);

  /// Makes every controller that speaks send its identity.
  void AnnounceAll(Moment now);
  void Schedule(LifeEvent event);

  /// When the next step has something to do; none when only a request can bring that about.
  std::optional<Moment> NextDue() const;
  /// Does what is due, until `most` datagrams are to be sent; what is still due then is for the next step.
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

  void Do(const Announcement& announcement, Moment now, Outcome& outcome);
  void Do(const Answer& answer, Moment now, Outcome& outcome);
  void Do(const Return& ending, Moment now, Outcome& outcome);
  void Do(const LifeEvent& event, Moment now, Outcome& outcome);
  void Happen(const LifeEvent& event, std::size_t index, Moment now, Outcome& outcome);
  /// Changes what the controller says of itself.
  void Change(const LifeEvent& event, Controller& controller) const;
  void Leave(const LifeEvent& event, Controller& controller, Outcome& outcome);
  void Send(const Controller& controller, MessageType type, std::optional<Endpoint> to, Outcome& outcome);
  const Controller& Numbered(std::uint32_t number) const {
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
