#include "tools/kelsim/Simulation.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace kellanseek::kelsim {
namespace {

/// Datagrams sent before the next look for requests.
constexpr std::size_t kMostAtOnce = 256;
constexpr std::chrono::milliseconds kLongestWait{1000};

}  // namespace

Simulation::Tally Simulation::Run(platform::Event& stop, bool announce) {
  begin_ = std::chrono::steady_clock::now();
  if (announce) plant_.AnnounceAll({});
  while (!stop.TryWait()) {
    ScheduleRandomEvents();
    SayHello();
    RunDueTasks();
    HandleNextRequest(stop);
  }
  return tally_;
}

Moment Simulation::Now() const {
  return std::chrono::duration_cast<Moment>(std::chrono::steady_clock::now() - begin_);
}

void Simulation::ScheduleRandomEvents() {
  while (life_ && life_->NextAt() <= Now()) {
    for (LifeEvent& event : life_->Next()) plant_.Schedule(std::move(event));
  }
}

void Simulation::SayHello() {
  const Moment now = Now();
  if (!hello_ || hello_->NextAnnouncement() > now) return;
  for (LifeEvent& event : hello_->Forget(now)) plant_.Schedule(std::move(event));
  plant_.AnnounceAll(now);
  hello_->Announced(now);
}

void Simulation::RunDueTasks() {
  plant_.Step(Now(), kMostAtOnce, outcome_);
  for (const LifeEvent& event : outcome_.events) Print(event);
  for (const Outgoing& datagram : outcome_.datagrams) {
    ++(speakers_.Send(datagram) ? tally_.sent : tally_.failed);
  }
}

std::chrono::milliseconds Simulation::UntilNextDue() const {
  Moment next = Now() + kLongestWait;
  if (const auto due = plant_.NextDue()) next = std::min(next, *due);
  if (life_) next = std::min(next, life_->NextAt());
  if (hello_) next = std::min(next, hello_->NextAnnouncement());
  return std::max(next - Now(), Moment{});
}

void Simulation::HandleNextRequest(platform::Event& stop) {
  const auto heard = speakers_.Hear(stop, UntilNextDue());
  const auto request = heard ? ReadRequest(heard->text) : std::nullopt;
  if (!request) return;
  ++tally_.requests;
  if (hello_ && !heard->pollFrom) {
    if (auto event = hello_->Heard(heard->speaker, heard->source, Now())) plant_.Schedule(std::move(*event));
  }
  plant_.Hear(*request, heard->speaker, heard->pollFrom, Now());
}

void Simulation::Print(const LifeEvent& event) const {
  if (quiet_) return;
  std::printf("%7.1f s  %s\n", static_cast<double>(event.at.count()) / 1000, event.description.c_str());
  std::fflush(stdout);
}

}  // namespace kellanseek::kelsim
