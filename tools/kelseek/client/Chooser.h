#pragma once

#include <kellanseek/client.hpp>

#include <chrono>
#include <cstdint>
#include <vector>

#include "client/Selection.h"

namespace kellanseek::kelseek {

/// A selection among the controllers of one component object, whose report it reads as far as the selection
/// needs it. Not thread-safe.
class Chooser {
 public:
  /// Throws CommandError for options that are wrong whatever the component knows.
  explicit Chooser(const SelectionOptions& options);

  /// Takes the controllers of this component object, which also asks the addresses of --add. Throws
  /// CommandError for an interface that the host does not have.
  void Start(const client::Client& client);

  /// Whether everybody that --add names has answered.
  bool AddedAnswered() const;

  bool Wants(const client::Controller& controller);
  /// The wanted ones of these, in the wanted order.
  std::vector<client::Controller> Choose(std::vector<client::Controller> controllers);
  /// The wanted ones of the controllers that are configured or added and have never answered. None if the
  /// component is too old to tell.
  std::vector<client::Controller> NeverHeard();
  /// Whether it leaves anything out.
  bool Narrows() const { return selection_.Narrows(); }

 private:
  void Read();

  const SelectionOptions& options_;
  Selection selection_;
  const client::Client* client_ = nullptr;
  std::vector<std::uint32_t> added_;
  std::chrono::steady_clock::time_point read_;  ///< When the report was read.
};

}  // namespace kellanseek::kelseek
