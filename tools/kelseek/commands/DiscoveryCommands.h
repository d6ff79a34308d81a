#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::tools {

/// list: the controllers that are there.
void AddListCommand(CLI::App& app, Session& session);
/// watch: the controllers as they come, change and go.
void AddWatchCommand(CLI::App& app, Session& session);
/// show: everything known of one.
void AddShowCommand(CLI::App& app, Session& session);
/// add: one that broadcasts do not reach.
void AddAddCommand(CLI::App& app, Session& session);
/// refresh: asks them whether they are still there.
void AddRefreshCommand(CLI::App& app, Session& session);

}  // namespace kellanseek::tools
