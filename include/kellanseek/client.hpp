#pragma once

// The client layer of KelLanSeek: the list of controllers as C++ values, on the interfaces of KelLanSeek.h.
// Header-only, C++17, nothing but the standard library; Linux and Windows.
//
//   #include <kellanseek/client.hpp>
//   #include <iostream>
//
//   int main() {
//     namespace kel = kellanseek::client;
//     const kel::Apartment apartment;
//     const kel::Client client = kel::Client::create();
//     const auto found = client.subscribe([&](const kel::Event& event) {
//       if (const auto now = client.read(event.id))
//         std::cout << kel::printable(now->name) + ": " + to_string(event.reason) + "\n";
//     });
//     client.wait_until_synced(std::chrono::seconds(10));
//     std::cout << client.controllers().size() << " controllers\n";
//   }
//
// docs/clients.md is the guide. The following holds unless stated otherwise.
//
// Texts are UTF-8. What is not a character becomes U+FFFD, in both directions. Texts from the network are as
// they were sent; printable() makes them safe for a terminal.
//
// Failures are exceptions of type Error. That a controller is not there, or no longer, is no failure but an
// empty optional or false: controllers come and go at any time.
//
// Threads. All calls may be made by any thread at any time, and inside a handler too, where they may end the
// subscription and destroy the last Client. None waits for the network, but for wait_until_synced().
//
// Lifetime. The component object lives as long as a Client, a copy of it, a Subscription, a ChangeStream or a
// VirtualRegistration that it made. Destroying the last of these stops it, which waits for a handler running
// on another thread and for a reverse host name look-up in progress. A handler may hold a Client: the
// subscription owns the handler, not the component. Only a handler that holds its own Subscription stays.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <kellanseek/client/changes.hpp>
#include <kellanseek/client/component.hpp>
#include <kellanseek/client/controller.hpp>
#include <kellanseek/client/error.hpp>
#include <kellanseek/client/filter.hpp>
#include <kellanseek/client/subscription.hpp>
#include <kellanseek/client/text.hpp>
#include <kellanseek/client/virtual_controller.hpp>

namespace kellanseek::client {

/// Whether an added controller was known before.
enum class AddOutcome {
  Added,
  AlreadyDynamic,     ///< It was found on the network.
  AlreadyConfigured,  ///< It was configured, or added before.
};

struct AddResult {
  std::uint32_t id = 0;  ///< Of the new record, or of the existing one.
  AddOutcome outcome = AddOutcome::Added;
};

/// A component object. Copies share it, like copies of a std::shared_ptr; a moved-from client may only be
/// assigned or destroyed. One copy is not to be assigned while another thread uses that same copy.
class Client {
 public:
  /// An object of the registered component. Throws Error: REGDB_E_CLASSNOTREG if it is not registered.
  static Client create() { return from_object(*detail::CreateRegistered()); }
  /// An object of the component in the module at `path`, which need not be registered and is never unloaded.
  /// The system searches its libraries for a path without a separator. Throws Error.
  static Client from_module(const std::string& path) { return from_object(*detail::CreateFromModule(path)); }
  /// A client of an existing object, which it references. Throws Error if it is no KelLanSeek object.
  static Client from_object(IUnknown& object) { return Client(std::make_shared<detail::Component>(object)); }

  /// The listed controllers that match, in the order in which they became known.
  std::vector<Controller> controllers(const Filter& filter = {}) const {
    return Read(detail::ListIds(*component_), filter);
  }
  /// The virtual controllers of this host that have registered but are not, or no longer, listed.
  std::vector<Controller> unpublished_controllers(const Filter& filter = {}) const {
    const auto seek = component_->Query<IKelLanSeek2>("IKelLanSeek2");
    return Read(detail::ListIds(*component_, *seek, &IKelLanSeek2::GetUnpublishedVCList), filter);
  }

  /// The properties of a controller; nullopt if it is gone or the id was never given.
  std::optional<Controller> read(std::uint32_t id) const { return detail::ReadController(*component_, id); }

  /// A listed controller by its dotted IPv4 address, or by the path of a virtual controller on this host;
  /// compared as text. Never a virtual controller of another host, which has the address of its host: filter
  /// the list for these. Quick, as the following: the list is not read.
  std::optional<Controller> find_by_address(std::string_view address) const {
    return LookUp(component_->Seek(), &IKelLanSeek::GetCtrlFromIPAddress, address);
  }
  /// A listed controller by its system identity. The case of A to Z is ignored.
  std::optional<Controller> find_by_identity(std::string_view identity) const {
    return LookUp(component_->Seek(), &IKelLanSeek::GetCtrlFromSystemID, identity);
  }
  /// A listed controller by "host", "/host", "host/anything" or "/host/anything", where the host is an
  /// address or a system identity.
  std::optional<Controller> find_by_url(std::string_view url) const {
    return LookUp(component_->Seek(), &IKelLanSeek::GetCtrlFromURL, url);
  }
  /// One of unpublished_controllers() by its system identity.
  std::optional<Controller> find_unpublished(std::string_view identity) const {
    return LookUp(*component_->Query<IKelLanSeek2>("IKelLanSeek2"),
                  &IKelLanSeek2::GetUnpublishedVCFromSystemID, identity);
  }
  /// The listed controllers with exactly this name: names need not be unique. Reads the list.
  std::vector<Controller> find_by_name(std::string_view name) const {
    std::vector<Controller> named = controllers();
    named.erase(std::remove_if(named.begin(), named.end(),
                               [name](const Controller& controller) { return controller.name != name; }),
                named.end());
    return named;
  }

  /// Calls `handler` for every change of every controller, or of the one with this id, until the subscription
  /// ends. One call at a time, on a thread of the component, and all clients of the object wait meanwhile, so
  /// return soon. An exception is dropped. Controllers listed before are not told: for the list and its
  /// changes in one, use changes().
  [[nodiscard]] Subscription subscribe(EventHandler handler, std::uint32_t id = 0) const {
    return detail::Subscribe(component_, std::move(handler), id);
  }
  /// The list, then its changes; at most `capacity` changes wait for the reader.
  [[nodiscard]] ChangeStream changes(std::size_t capacity = 4096) const {
    return ChangeStream(std::make_unique<detail::ChangeQueue>(component_, capacity));
  }

  /// Adds a controller that broadcasts do not reach by its dotted IPv4 address. Returns at once; the
  /// controller is listed when it answers. Throws Error with E_INVALIDARG for what is no such address.
  AddResult add(std::string_view address) const {
    const auto configuration = component_->Query<IKelLanSeekConfig>("IKelLanSeekConfig");
    ULONG id = 0;
    const HRESULT result = configuration->AddRemoteController(KelBstr(to_wide(address)).Get(), &id);
    component_->Check(result, "adding ", address);
    return {id, result == KEL_S_ALREADY_DYNAMIC      ? AddOutcome::AlreadyDynamic
                : result == KEL_S_ALREADY_CONFIGURED ? AddOutcome::AlreadyConfigured
                                                     : AddOutcome::Added};
  }
  /// Asks a controller for an answer now. Returns at once; what is new arrives as events. False if the
  /// controller is gone. Throws Error with E_INVALIDARG for an id that was never given.
  bool refresh(std::uint32_t id) const {
    const HRESULT result = component_->Seek().RefreshForID(id);
    if (result == KEL_E_LANSEEKID_NOT_IN_USE) return false;
    component_->Check(result, "refreshing the controller ", std::to_string(id));
    return true;
  }

  /// How often everything has been asked and the time for answers has passed: from 1 on, the list is
  /// complete. Throws Error with E_NOINTERFACE if the component is older than IKelLanSeekDiagnostics, as do
  /// the following two.
  std::uint32_t sweeps() const { return detail::Sweeps(*component_); }
  /// Waits until the list is complete. Returns false if it is not in time.
  bool wait_until_synced(std::chrono::milliseconds timeout) const {
    constexpr std::chrono::milliseconds kPoll(20);
    const auto begin = std::chrono::steady_clock::now();
    while (sweeps() == 0) {
      const auto passed = std::chrono::steady_clock::now() - begin;
      if (passed >= timeout) return false;
      std::this_thread::sleep_for(
          (std::min)(std::chrono::nanoseconds(kPoll), std::chrono::nanoseconds(timeout - passed)));
    }
    return true;
  }
  /// What the component knows of itself, its networks and its controllers, as JSON; see docs/diagnostics.md.
  std::string report() const {
    if (component_->Diagnostics() == nullptr)
      throw detail::Component::Missing(E_NOINTERFACE, "IKelLanSeekDiagnostics");
    KelBstr text;
    component_->Check(component_->Diagnostics()->GetReport(text.Put()), "reading the report");
    return to_utf8(text.View());
  }

  /// Registers a virtual controller. It is listed after VirtualRegistration::announce(). Throws Error:
  /// KEL_E_SYSTEMID_PRESENT if a controller has its identity; E_INVALIDARG without an identity, and for a
  /// text that identity_message() refuses.
  [[nodiscard]] VirtualRegistration register_virtual(const VirtualController& controller) const {
    return VirtualRegistration(component_, controller);
  }

  /// The component object, for what the layer does not offer. Never null.
  KelComPtr<IKelLanSeek> object() const { return KelComPtr<IKelLanSeek>(&component_->Seek()); }

 private:
  explicit Client(std::shared_ptr<const detail::Component> component) : component_(std::move(component)) {}

  std::vector<Controller> Read(const std::vector<std::uint32_t>& ids, const Filter& filter) const {
    std::vector<Controller> controllers;
    for (const std::uint32_t id : ids) {
      std::optional<Controller> controller = read(id);
      if (controller && filter.matches(*controller)) controllers.push_back(*std::move(controller));
    }
    return controllers;
  }

  template <typename Interface>
  std::optional<Controller> LookUp(Interface& seek,
                                   HRESULT (STDMETHODCALLTYPE Interface::*find)(BSTR, ULONG*),
                                   std::string_view text) const {
    if (text.empty()) return std::nullopt;
    ULONG id = 0;
    const HRESULT result = (seek.*find)(KelBstr(to_wide(text)).Get(), &id);
    if (result == KEL_E_NOT_FOUND) return std::nullopt;
    component_->Check(result, "looking up ", text);
    return read(id);
  }

  std::shared_ptr<const detail::Component> component_;
};

}  // namespace kellanseek::client
