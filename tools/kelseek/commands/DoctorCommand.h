#pragma once

#include <CLI/CLI.hpp>

#include "client/Session.h"

namespace kellanseek::kelseek {

void AddDoctorCommand(CLI::App& app, Session& session);

}  // namespace kellanseek::kelseek
