#pragma once

#include <cstdint>

namespace kellanseek::controllers {

/// Stands for no timer, or no outstanding request.
inline constexpr std::int32_t kNone = -1;

/// Decides when a controller is asked next and how often it may stay silent before it counts as lost.
/// Consists of two numbers and no clock: the caller calls Pass() once per tick. Intervals and time-outs are
/// in ticks; a negative one means no timer. A negative number of requests means that none is outstanding or,
/// if so configured, that they never run out.
class PollSchedule {
 public:
  enum class State {
    Waiting,  ///< Its time has not come, or it has no timer.
    Due,      ///< To be asked now. Stays due until one of the transitions below.
    Lost,     ///< It has left its last request unanswered.
  };

  /// No timer: the controller has just answered, and the next broadcast refresh starts the next round.
  void Idle() { *this = {}; }
  /// The controller has just been heard, or is away: ask it after `interval`. No request is outstanding.
  void AwaitNextPoll(std::int32_t interval) { Set(interval, kNone); }
  /// Ask it at the next tick. It gets `requests` requests in all, each counted like a repetition.
  void AskNow(std::int32_t requests) { Set(0, requests); }
  /// A request has been sent, or counts as sent. The answer may take `timeout`, after which `requests` more
  /// are sent.
  void Arm(std::int32_t timeout, std::int32_t requests) { Set(timeout, requests); }
  /// Counts a request of another workstation as one of ours, so that several workstations do not each hammer
  /// a silent controller. Ignored if ours has just been sent: both requests may then get one answer.
  void CountForeignRequest(std::int32_t timeout);
  /// One of the outstanding requests has been sent.
  void Asked(std::int32_t timeout) { Set(timeout, OneLess(requestsLeft_)); }
  /// A request that was already counted as sent leaves only now, so the time to answer starts again.
  void Restart(std::int32_t time) { ticksLeft_ = time; }

  /// Advances by one tick. `Due` and `Lost` are returned at every further tick until the caller acts on them.
  State Pass();

  bool HasTimer() const { return ticksLeft_ >= 0; }
  /// Whether a request is outstanding. Requests that never run out do not count.
  bool AwaitsAnswer() const { return requestsLeft_ >= 0; }

  std::int32_t TicksLeft() const { return ticksLeft_; }
  std::int32_t RequestsLeft() const { return requestsLeft_; }

  /// Add and subtract one request. A count that never runs out stays as it is.
  static std::int32_t OneMore(std::int32_t requests) { return requests < 0 ? requests : requests + 1; }
  static std::int32_t OneLess(std::int32_t requests) { return requests < 0 ? requests : requests - 1; }

 private:
  void Set(std::int32_t ticks, std::int32_t requests) {
    ticksLeft_ = ticks;
    requestsLeft_ = requests;
  }

  std::int32_t ticksLeft_ = kNone;
  std::int32_t requestsLeft_ = kNone;
};

inline void PollSchedule::CountForeignRequest(std::int32_t timeout) {
  const bool oursHasJustLeft = ticksLeft_ >= timeout / 2;
  if (requestsLeft_ <= 0 || !HasTimer() || oursHasJustLeft) return;
  Asked(timeout);
}

inline PollSchedule::State PollSchedule::Pass() {
  if (!HasTimer()) return State::Waiting;
  if (ticksLeft_ > 0) {
    --ticksLeft_;
    return State::Waiting;
  }
  return requestsLeft_ == 0 ? State::Lost : State::Due;
}

}  // namespace kellanseek::controllers
