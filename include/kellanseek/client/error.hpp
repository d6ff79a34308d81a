#pragma once

// The exception of the client layer. Part of kellanseek/client.hpp.

#include <stdexcept>
#include <string>
#include <utility>

#include <kellanseek/client/text.hpp>

namespace kellanseek::client {

/// A failure of the component, or an argument that it cannot take. The only exception that the layer throws
/// itself; the standard library adds std::bad_alloc and std::system_error.
class Error : public std::runtime_error {
 public:
  Error(HRESULT code, std::string attempted, std::string reason = {})
      : std::runtime_error(attempted + (reason.empty() ? "" : ": " + reason) + " (" + code_text(code) + ")"),
        code_(code),
        attempted_(std::move(attempted)),
        reason_(std::move(reason)) {}

  /// The result code, such as KEL_E_NOT_FOUND or E_INVALIDARG.
  HRESULT code() const noexcept { return code_; }
  /// What was attempted, such as "adding 10.20.1.15".
  const std::string& attempted() const noexcept { return attempted_; }
  /// The component's text or, if there is no object yet, the system's; empty if there is none. It contains
  /// what came from the network, and control characters with it. The component keeps one text for all
  /// threads: after failures on two threads at a time it may be that of the other.
  const std::string& reason() const noexcept { return reason_; }
  // what(): "adding 10.20.1.15: the reason (0x80070057)".

 private:
  HRESULT code_;
  std::string attempted_;
  std::string reason_;
};

}  // namespace kellanseek::client
