#include "doctor/SharedMacs.h"

#include <chrono>

namespace kellanseek::kelseek {
namespace {

/// Far more than the changes of a large plant in a sweep.
constexpr std::size_t kMostChanges = 10000;

std::string InWords(const client::Controller& controller) {
  return controller.name + " (" + controller.address + ", " + controller.identity + ")";
}

}  // namespace

void SharedMacs::Look() {
  while (changes_) {
    const auto change = changes_->next(std::chrono::milliseconds(0));
    if (!change) return;
    if (change->type == client::ChangeType::Resync || ++taken_ > kMostChanges) {
      changes_.reset();
    } else {
      Take(*change);
    }
  }
}

void SharedMacs::Take(const client::Change& change) {
  using client::ChangeType;
  const client::Controller& controller = change.controller;
  // The virtual controllers of a host share its MAC address.
  if (controller.kind != client::Kind::RC || controller.mac.empty()) return;
  if (change.type == ChangeType::Removed && change.reason == client::Reason::Restart) {
    displaced_.insert_or_assign(controller.mac, controller);
  } else if (change.type == ChangeType::Listed || change.type == ChangeType::Added) {
    const auto before = displaced_.find(controller.mac);
    if (before == displaced_.end()) return;
    // One controller that has moved keeps its identity, and one that was set up anew its address.
    if (before->second.identity != controller.identity && before->second.address != controller.address)
      found_.push_back({controller.mac, InWords(before->second), InWords(controller)});
    displaced_.erase(before);
  }
}

}  // namespace kellanseek::kelseek
