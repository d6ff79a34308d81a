#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "doctor/Facts.h"
#include "platform/WireTap.h"
#include "protocol/Message.h"

namespace kellanseek::kelseek {

/// Watches the networks of this host beside the component, if the user has the right, from its construction
/// until it is stopped.
class Watch {
 public:
  Watch() : tap_(platform::OpenWireTap(facts_.whyNot)) { facts_.isWatched = tap_ != nullptr; }

  /// Looks at what has come since the construction and will come. The ports are known only from the
  /// component, whose first requests should not be missed. Of what comes in on `responsePort` it notes the
  /// senders; what other programs have asked for goes to other ports. With `keep`, keeps the datagrams of all
  /// ports for a capture file.
  void Start(std::vector<std::uint16_t> ports, std::uint16_t responsePort, bool keep);
  /// Ends the watching and returns what was seen.
  WireFacts Stop();
  /// A capture file of everything seen, after Stop(); empty if nothing could be watched.
  std::string TakeCapture() { return std::move(capture_); }

 private:
  void Run(const std::stop_token& stop);
  bool IsWanted(std::uint16_t port) const;
  void Keep(const platform::WireDatagram& datagram);
  void Note(const platform::WireDatagram& datagram);
  void NoteMac(const protocol::Message& message, platform::Ipv4 source);

  struct MacOwner {
    std::string name;
    std::string address;
    std::string systemId;
    bool isAlone = true;
  };

  WireFacts facts_;
  std::map<std::string, MacOwner> macOwners_;
  std::unique_ptr<platform::WireTap> tap_;
  std::vector<std::uint16_t> ports_;
  std::uint16_t responsePort_ = 0;
  bool keep_ = false;
  std::string capture_;
  std::jthread thread_;  ///< Last, because it uses the others.
};

}  // namespace kellanseek::kelseek
