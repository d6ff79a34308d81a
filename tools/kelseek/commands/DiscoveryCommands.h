#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::kelseek {

/// list: the controllers known after a time.
void AddListCommand(CLI::App& app, Session& session);
/// watch: every change, as it happens.
void AddWatchCommand(CLI::App& app, Session& session);
/// show: all properties of one controller.
void AddShowCommand(CLI::App& app, Session& session);
/// add: a controller that broadcasts do not reach.
void AddAddCommand(CLI::App& app, Session& session);
/// scan: every address of a network, without a component.
void AddScanCommand(CLI::App& app, Session& session);
/// refresh: requests answers from known controllers.
void AddRefreshCommand(CLI::App& app, Session& session);

}  // namespace kellanseek::kelseek
