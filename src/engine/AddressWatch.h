#pragma once

#include <functional>
#include <memory>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "engine/RunInterfaces.h"
#include "network/HostInterfaces.h"
#include "platform/Event.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::engine {

/// Called on the address-watch thread when the usable interfaces differ from the interface table.
class InterfaceChangeListener {
 public:
  virtual ~InterfaceChangeListener() = default;
  virtual void OnInterfacesChanged() = 0;
};

/// Compares the host's interfaces with the interface table: after notices of address changes that changed the
/// usable addresses, and every two minutes. Has the network side rebuilt if they differ, and on request.
class AddressWatch {
 public:
  using WatchMaker = std::function<std::unique_ptr<platform::AddressChangeWatch>()>;

  /// `stopWatch` is set once, when the engine stops; `rebuildWanted` (auto-reset) is set to request a
  /// rebuild.
  AddressWatch(const network::HostInterfaces& host, controllers::CtrlTable& table, RunInterfaces& interfaces,
               const config::CKelLanSeekConfigSettings& settings, InterfaceChangeListener& listener,
               WatchMaker makeWatch, platform::Event& stopWatch, platform::Event& rebuildWanted,
               platform::DebugOutput& debugOutput);

  /// Starts watching. Call it before building the interface table, so that no later change is missed.
  void Begin();

  /// The thread's body. Returns when the stop event is set.
  void NotifyAddrChangeLoop();

 private:
  using Occasion = RunInterfaces::Occasion;
  using Outcome = platform::AddressChangeWatch::Outcome;
  /// Waits for the next occasion to compare. Returns Stopped or Failed to end the loop.
  Outcome WaitWith(platform::AddressChangeWatch& watch);
  void Check(Occasion occasion);
  bool InterfacesChanged(Occasion occasion);

  const network::HostInterfaces& host_;
  controllers::CtrlTable& table_;
  RunInterfaces& interfaces_;
  const config::CKelLanSeekConfigSettings& settings_;
  InterfaceChangeListener& listener_;
  WatchMaker makeWatch_;
  std::unique_ptr<platform::AddressChangeWatch> watch_;  ///< Set between Begin() and the start of the loop.
  platform::Event& stopWatch_;
  platform::Event& rebuildWanted_;
  diagnostics::Tracer trace_;
  diagnostics::StepTrace failed_;
  bool rebuildOwed_ = false;  ///< A rebuild was requested, or a check has begun but not succeeded.
};

}  // namespace kellanseek::engine
