#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "controllers/CtrlInfo.h"
#include "diagnostics/Trace.h"
#include "protocol/Message.h"

namespace kellanseek::protocol {

/// Reads datagrams. Pure and bounded: nothing but the record's texts is allocated. Callable from any thread.
class MessageReader {
 public:
  explicit MessageReader(const diagnostics::Tracer& trace) : trace_(trace) {}

  /// Where the fields of one message go.
  struct Message {
    std::uint32_t type = 0;     ///< As sent, whatever its value.
    CtrlInfo& pattern;          ///< Reset by the caller; gets the fields.
    AddressText* ownAddress;    ///< Gets tag e; null when that tag is to be ignored.
    AddressText targetAddress;  ///< Gets tag a.
    bool hasTarget = false;     ///< Tag a was seen.
  };

  /// Reads a datagram of `receivedLength` bytes, of which `text` is all that counts (it ends at a NUL byte
  /// all the same). False for a datagram that is to be dropped: no header, a claimed length that is not the
  /// received one (traced), or an address longer than can be genuine. Other malformed fields are skipped.
  bool ParseMessage(std::string_view text, std::size_t receivedLength, Message& message) const;

 private:
  static bool TakeField(std::string_view piece, Message& message);

  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::protocol
