#include "engine/EngineLogic.h"

namespace kellanseek::engine {

EngineLogic::EngineLogic(const Surroundings& around)
    : hostNames(around.table, around.events, around.reverseLookup, around.stopEngine, around.debugOutput),
      lifecycle(around.interfaces, around.polling, around.events, hostNames, around.daemon,
                around.debugOutput),
      refreshCycle({around.table, around.interfaces, around.settings, around.polling, around.sender,
                    around.daemon, lifecycle, around.processes, around.pacer, around.debugOutput}),
      collisions(lifecycle, around.debugOutput),
      dispatcher({around.table, around.settings, around.polling, engineLock, collisions, lifecycle,
                  refreshCycle, hostNames, around.events, around.daemon, around.debugOutput}),
      localVCs(around.table, around.settings, lifecycle, around.processes, around.debugOutput) {}

}  // namespace kellanseek::engine
