#pragma once

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/RemoteVCPublisher.h"
#include "diagnostics/Journal.h"
#include "engine/Collisions.h"
#include "engine/CtrlLifecycle.h"
#include "engine/Dispatcher.h"
#include "engine/EngineLock.h"
#include "engine/HostNames.h"
#include "engine/LocalVCs.h"
#include "engine/RefreshCycle.h"
#include "engine/RequestQueue.h"
#include "engine/RunInterfaces.h"
#include "events/EventQueue.h"
#include "network/AddressPolling.h"
#include "network/InterfaceTable.h"
#include "platform/DebugOutput.h"
#include "platform/Event.h"
#include "platform/Process.h"
#include "platform/ReverseLookup.h"

namespace kellanseek::engine {

/// All decision-making classes of the engine, wired together, without threads, clocks or sockets. The engine
/// calls it from its threads; tests, benchmarks and fuzz targets call it from one.
struct EngineLogic {
  /// Its collaborators. They must outlive it.
  struct Surroundings {
    controllers::CtrlTable& table;
    const config::CKelLanSeekConfigSettings& settings;
    const network::AddressPolling& polling;
    daemon::RemoteVCPublisher& daemon;
    events::EventQueue& events;
    platform::ReverseLookup& reverseLookup;
    platform::ProcessTable& processes;
    platform::Event& stopEngine;  ///< Ends the host-name thread.
    diagnostics::Journal& journal;
    platform::DebugOutput& debugOutput;
  };
  explicit EngineLogic(const Surroundings& around);

  /// Switches to the host's usable interfaces, for the next run of the network side.
  void UseInterfaces(controllers::CtrlTable::Access& table, network::InterfaceTable usable);
  /// Keeps only the interfaces that the run could open.
  void NarrowInterfaces(controllers::CtrlTable::Access& table, network::InterfaceTable opened);

  EngineLock engineLock;
  RunInterfaces interfaces;
  HostNames hostNames;
  CtrlLifecycle lifecycle;
  RefreshCycle refreshCycle;
  Collisions collisions;
  Dispatcher dispatcher;
  LocalVCs localVCs;

 private:
  const config::CKelLanSeekConfigSettings& settings_;
};

}  // namespace kellanseek::engine
