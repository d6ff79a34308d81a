#pragma once

#include <cstdint>

namespace kellanseek {

/// No timer, no outstanding request, no interface.
inline constexpr std::int32_t kNone = -1;

/// When one controller is asked next, and how often it may stay silent before it counts as lost: two numbers,
/// without a clock. Whoever owns the clock calls Pass() once for each tick. Intervals and time-outs are in
/// ticks, and a negative one is no timer. A negative number of requests means that none is outstanding, or,
/// for settings that say so, that there is no end to them.
class PollSchedule {
 public:
  enum class State {
    Waiting,  ///< Its time has not come, or there is no timer.
    Due,      ///< It is to be asked now, and stays due until one of the transitions below.
    Lost,     ///< It has left its last request unanswered.
  };

  /// Nobody asks: the controller has just answered, and only a broadcast refresh starts the next round.
  void Idle() { *this = {}; }
  /// The controller has just been heard, or is away: it is asked after `interval`, and nothing is
  /// outstanding.
  void AwaitNextPoll(std::int32_t interval) { Set(interval, kNone); }
  /// It is asked at the next tick, and then as if each of `requests` were a repetition.
  void AskNow(std::int32_t requests) { Set(0, requests); }
  /// A request has gone out, or counts as gone: the answer may take `timeout`, and after it `requests` more
  /// are sent.
  void Arm(std::int32_t timeout, std::int32_t requests) { Set(timeout, requests); }
  /// A request that another workstation has sent serves as one of ours, unless ours has left just now: then
  /// one answer is still on its way, and both would be counted for it.
  void CountForeignRequest(std::int32_t timeout);
  /// One of the outstanding requests has been sent.
  void Asked(std::int32_t timeout) { Set(timeout, OneLess(requestsLeft_)); }
  /// The request that was counted as sent leaves only now, so its time begins anew.
  void Restart(std::int32_t time) { ticksLeft_ = time; }

  /// One tick has passed. `Due` and `Lost` come back at every further tick until somebody acts on them.
  State Pass();

  bool HasTimer() const { return ticksLeft_ >= 0; }
  /// Whether a request is outstanding. Requests without end count as none.
  bool AwaitsAnswer() const { return requestsLeft_ >= 0; }

  std::int32_t TicksLeft() const { return ticksLeft_; }
  std::int32_t RequestsLeft() const { return requestsLeft_; }

  /// One request more and one less; requests without end stay as they are.
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

}  // namespace kellanseek
