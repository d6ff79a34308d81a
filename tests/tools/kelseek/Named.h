#pragma once

#include <cstdint>
#include <string>

#include <kellanseek/client.hpp>

namespace kellanseek::kelseek {

/// An available controller of which little more than the name is known.
inline client::Controller Named(std::uint32_t id, const std::string& name) {
  client::Controller controller;
  controller.id = id;
  controller.availability = client::Availability::Available;
  controller.name = name;
  controller.address = "10.1.0.11";
  controller.identity = "{5A}";
  return controller;
}

}  // namespace kellanseek::kelseek
