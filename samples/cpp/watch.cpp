// Prints every change of the controllers until a line is entered, then lists the known controllers.
// From this folder: cl /std:c++17 /EHsc /I ..\..\include watch.cpp ole32.lib oleaut32.lib uuid.lib
#include <iostream>

#include <kellanseek/client.hpp>

namespace kel = kellanseek::client;

int main() try {
#ifdef _WIN32
  SetConsoleOutputCP(CP_UTF8);
#endif
  const kel::Apartment apartment;
  const kel::Client client = kel::Client::create();
  kel::Subscription subscription = client.subscribe([&client](const kel::Event& event) {
    const auto now = client.read(event.id);  // Not there if the controller is gone.
    std::cout << "event " + std::to_string(event.id) + " " + to_string(event.reason) + " " +
                     (now ? kel::printable(now->name) : "") + "\n"
              << std::flush;
  });
  std::cout << "Listening; a line ends it.\n" << std::flush;
  std::cin.get();
  subscription.reset();  // From here on no event is printed.
  for (const kel::Controller& controller : client.controllers())
    std::cout << controller.id << ' ' << kel::printable(controller.name) << '\n';
} catch (const kel::Error& error) {
  return std::cerr << error.what() << '\n', 1;
}
