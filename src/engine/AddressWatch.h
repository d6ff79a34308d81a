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

/// Is told, on the address-change thread, that the usable interfaces differ from the interface table.
class InterfaceChangeListener {
 public:
  virtual ~InterfaceChangeListener() = default;
  virtual void OnInterfacesChanged() = 0;
};

/// Compares the host's interfaces with the interface table at every notice of an address change that has made
/// them others, and every two minutes. Has the network side rebuilt when they differ, and when it is asked
/// to.
class AddressWatch {
 public:
  using WatchMaker = std::function<std::unique_ptr<platform::AddressChangeWatch>()>;

  /// `stopWatch` is set for good, once, when the engine stops, and
  /// `rebuildWanted` (auto reset) by whoever needs a rebuild.
  AddressWatch(const network::HostInterfaces& host, CtrlTable& table, RunInterfaces& interfaces,
               const CKelLanSeekConfigSettings& settings, InterfaceChangeListener& listener,
               WatchMaker makeWatch, platform::Event& stopWatch, platform::Event& rebuildWanted,
               platform::DebugOutput& debugOutput);

  /// Watches from now on. To be called before the interface table is built, so that no change after that is
  /// missed.
  void Begin();

  /// The thread body: returns when the stop event is set.
  void NotifyAddrChangeLoop();

 private:
  using Occasion = RunInterfaces::Occasion;
  using Outcome = platform::AddressChangeWatch::Outcome;
  /// Waits for the next occasion to compare; Stopped or Failed when there is none any more.
  Outcome WaitWith(platform::AddressChangeWatch& watch);
  void Check(Occasion occasion);
  bool InterfacesChanged(Occasion occasion);

  const network::HostInterfaces& host_;
  CtrlTable& table_;
  RunInterfaces& interfaces_;
  const CKelLanSeekConfigSettings& settings_;
  InterfaceChangeListener& listener_;
  WatchMaker makeWatch_;
  std::unique_ptr<platform::AddressChangeWatch> watch_;  ///< From Begin() to the start of the loop.
  platform::Event& stopWatch_;
  platform::Event& rebuildWanted_;
  diagnostics::Tracer trace_;
  diagnostics::StepTrace failed_;
  bool rebuildOwed_ = false;  ///< Asked for, or a check has begun and has not come to its end.
};

}  // namespace kellanseek::engine
