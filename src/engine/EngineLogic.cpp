#include "engine/EngineLogic.h"

#include <utility>

namespace kellanseek::engine {

EngineLogic::EngineLogic(const Surroundings& around)
    : hostNames(around.table, around.events, around.reverseLookup, around.stopEngine, around.debugOutput),
      lifecycle(around.polling, around.events, hostNames, around.daemon, around.debugOutput),
      refreshCycle({around.table, interfaces, around.settings, around.polling, around.daemon, lifecycle,
                    around.processes, around.journal, around.debugOutput}),
      collisions(lifecycle, around.journal, around.debugOutput),
      dispatcher({around.table, around.settings, around.polling, engineLock, collisions, lifecycle,
                  refreshCycle, hostNames, around.events, around.daemon, around.journal, around.debugOutput}),
      localVCs(around.table, around.settings, lifecycle, around.processes, around.debugOutput),
      settings_(around.settings) {}

void EngineLogic::UseInterfaces(controllers::CtrlTable::Access& table, network::InterfaceTable usable) {
  interfaces.Replace(table, std::move(usable), settings_.RefreshIntervalTicks());
  lifecycle.RevalidateAfterInterfaceChange(table, interfaces.Table(table));
}

void EngineLogic::NarrowInterfaces(controllers::CtrlTable::Access& table, network::InterfaceTable opened) {
  interfaces.Narrow(table, std::move(opened), settings_.RefreshIntervalTicks());
  lifecycle.RevalidateAfterInterfaceChange(table, interfaces.Table(table));
}

}  // namespace kellanseek::engine
