#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <iterator>

#include "platform/NetworkAddresses.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/EventNative.h"
#include "platform/linux/PollTimeout.h"

namespace kellanseek::platform {
namespace {

using std::chrono::milliseconds;

/// One change causes several notices. Notices this close together count as one.
constexpr milliseconds kQuiet{100};
/// Longest time for which a series of notices delays the result.
constexpr milliseconds kLongestBurst{400};

/// Listens to rtnetlink. The socket queues notices from its creation on, so none is lost between two waits.
class RouteNetlinkWatch : public AddressChangeWatch {
 public:
  explicit RouteNetlinkWatch(Descriptor socket) : socket_(std::move(socket)) {}

  Outcome Wait(Event& stop, Event& wake, milliseconds timeout) override {
    const Outcome first = WaitForNotice(stop, wake, timeout);
    if (first != Outcome::Changed) return first;
    const Deadline burst(kLongestBurst);
    for (;;) {
      Drain();
      if (burst.Passed()) return Outcome::Changed;
      const Outcome next = WaitForNotice(stop, wake, kQuiet);
      if (next != Outcome::Changed) return next == Outcome::TimedOut ? Outcome::Changed : next;
    }
  }

 private:
  Outcome WaitForNotice(Event& stop, Event& wake, milliseconds timeout) const {
    const Deadline deadline(timeout);
    pollfd descriptors[] = {{stop.native().descriptor.get(), POLLIN, 0},
                            {wake.native().descriptor.get(), POLLIN, 0},
                            {socket_.get(), POLLIN, 0}};
    for (;;) {
      const timespec left = deadline.Left();
      const int ready = ppoll(descriptors, std::size(descriptors), &left, nullptr);
      if (ready < 0 && errno != EINTR) return Outcome::Failed;
      if (stop.TryWait()) return Outcome::Stopped;
      if (wake.TryWait()) return Outcome::Woken;
      if (ready > 0 && descriptors[2].revents != 0) return Outcome::Changed;
      if (deadline.Passed()) return Outcome::TimedOut;
    }
  }

  /// Discards the notices unread, because the caller compares the addresses as a whole. An overrun (ENOBUFS)
  /// counts as a change too.
  void Drain() const {
    char notice[8192];
    while (recv(socket_.get(), notice, sizeof notice, MSG_DONTWAIT) > 0 || errno == ENOBUFS) errno = 0;
  }

  Descriptor socket_;
};

}  // namespace

std::unique_ptr<AddressChangeWatch> WatchAddressChanges() {
  Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  if (!socket || bind(socket.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
    return nullptr;
  return std::make_unique<RouteNetlinkWatch>(std::move(socket));
}

}  // namespace kellanseek::platform
