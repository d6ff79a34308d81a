// Lists the controllers once everything on the networks has been asked. The argument is the path of the
// component.
#include <iostream>

#include <kellanseek/client.hpp>

namespace kel = kellanseek::client;

int main(int argc, char** argv) try {
  if (argc != 2) return std::cerr << "usage: list MODULE\n", 1;
#ifdef _WIN32
  SetConsoleOutputCP(CP_UTF8);
#endif
  const kel::Apartment apartment;
  const kel::Client client = kel::Client::from_module(argv[1]);
  client.wait_until_synced(std::chrono::seconds(10));
  for (const kel::Controller& controller : client.controllers())
    std::cout << kel::printable(controller.address + "  " + controller.name) << '\n';
} catch (const kel::Error& error) {
  return std::cerr << error.what() << '\n', 1;
}
