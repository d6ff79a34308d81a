#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "doctor/Facts.h"
#include "platform/WireTap.h"

namespace kellanseek::kelseek {

/// Watches the networks of this host beside the component, if the user has the right, from its construction
/// until it is stopped.
class Watch {
 public:
  /// Of what comes in on `responsePort` it notes the senders; what other programs have asked for goes to
  /// other ports. With `keep`, keeps the datagrams of all ports for a capture file.
  Watch(const std::vector<std::uint16_t>& ports, std::uint16_t responsePort, bool keep);

  /// Ends the watching and returns what was seen.
  WireFacts Stop();
  /// A capture file of everything seen, after Stop(); empty if nothing could be watched.
  std::string TakeCapture() { return std::move(capture_); }

 private:
  void Run(const std::stop_token& stop);
  void Keep(const platform::WireDatagram& datagram);
  void Note(const platform::WireDatagram& datagram);

  const std::uint16_t responsePort_;
  const bool keep_;
  std::unique_ptr<platform::WireTap> tap_;
  WireFacts facts_;
  std::string capture_;
  std::jthread thread_;  ///< Last, because it uses the others.
};

}  // namespace kellanseek::kelseek
