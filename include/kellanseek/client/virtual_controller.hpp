#pragma once

// Virtual controllers of this host. Part of kellanseek/client.hpp.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <kellanseek/client/component.hpp>

namespace kellanseek::client {

/// A virtual controller to register.
struct VirtualController {
  std::string name;      ///< Its name.
  std::string identity;  ///< Its system identity: not empty, and unique among all controllers.
  std::string path;      ///< The path of its system, listed in place of an address.
  std::string system_name;
  std::optional<Version> version;
  bool publish = false;  ///< Also known on other hosts of the local networks.
  std::uint32_t process =
      0;  ///< When this process ends, the controller is removed. 0 is the calling process.
  /// The object that GetVCInterface() returns to its clients, as IID_KelVirtualController. If null, one
  /// without methods is made.
  KelComPtr<IUnknown> object;
};

namespace detail {

class VirtualObject final : public Counted<IUnknown> {
 public:
  VirtualObject() : Counted(IID_KelVirtualController) {}
};

/// Appends a field to a discovery message. Throws Error with E_INVALIDARG for a text that would break it.
inline void AppendField(std::wstring& fields, const wchar_t* tag, std::string_view text) {
  if (text.empty()) return;
  const std::wstring wide = to_wide(text);
  bool blank = true;
  bool separates = false;
  for (const wchar_t character : wide) {
    blank = blank && character == L' ';
    separates = separates || character == L';' || character < L' ';
  }
  if (blank || separates) {
    throw Error(E_INVALIDARG, "\"" + std::string(text) +
                                  "\" cannot be part of a message: it is blank, or contains a semicolon or a "
                                  "control character");
  }
  fields.append(tag).append(L":").append(wide).append(L";");
}

inline std::wstring Hexadecimal(std::size_t number, std::size_t digits) {
  std::wstring text(digits, L'0');
  for (; digits > 0; number >>= 4) text[--digits] = L"0123456789abcdef"[number & 0xF];
  return text;
}

}  // namespace detail

/// The message with which a virtual controller describes itself, for VirtualRegistration::forward(). Throws
/// Error with E_INVALIDARG for a text that is blank, or contains a semicolon or a control character.
inline std::string identity_message(const VirtualController& controller) {
  std::wstring fields;
  detail::AppendField(fields, L"1", controller.name);
  detail::AppendField(fields, L"3", controller.system_name);
  detail::AppendField(fields, L"4", controller.identity);
  if (const std::optional<Version>& version = controller.version) {
    detail::AppendField(fields, L"7", std::to_string(version->major));
    detail::AppendField(fields, L"8", std::to_string(version->minor));
    if (version->revision) detail::AppendField(fields, L"f", std::to_string(*version->revision));
  }
  // The length is that of the whole message, with its own digits, of which there are at least two.
  const std::wstring head = L"Lanseek;";
  const std::wstring rest = L";1;" + fields + L"11:2;";
  std::size_t digits = 2;
  while ((head.size() + digits + rest.size()) >> (4 * digits) != 0) ++digits;
  return to_utf8(head + detail::Hexadecimal(head.size() + digits + rest.size(), digits) + rest);
}

/// A registered virtual controller; see Client::register_virtual(). Withdraws it and removes it with its
/// destruction. Keeps the component object alive. Movable; not thread-safe, but for forward() and announce().
class VirtualRegistration {
 public:
  /// No registration.
  VirtualRegistration() noexcept = default;
  /// Registers the controller. Throws Error.
  VirtualRegistration(std::shared_ptr<const detail::Component> component, const VirtualController& controller)
      : component_(std::move(component)),
        registrar_(component_->Query<IKelVCLanSeek2>("IKelVCLanSeek2")),
        identity_(to_wide(controller.identity)),
        message_(identity_message(controller)) {
    const KelComPtr<IUnknown> object =
        controller.object
            ? controller.object
            : KelComPtr<IUnknown>(KelComPtr<detail::VirtualObject>::Attach(new detail::VirtualObject));
    GUID iid = IID_KelVirtualController;
    VCInterface own = {&iid, object.Get()};
    const ULONG process = controller.process == 0 ? GetCurrentProcessId() : controller.process;
    const HRESULT result = registrar_->Register2(
        KelBstr(to_wide(controller.path)).Get(), identity_.Get(), process,
        controller.publish ? RemoteVCPublication_True : RemoteVCPublication_False, &own);
    component_->Check(result, "registering ", controller.name);
  }
  VirtualRegistration(VirtualRegistration&&) noexcept = default;
  /// Ends the present registration first.
  VirtualRegistration& operator=(VirtualRegistration&& other) noexcept {
    if (this == &other) return *this;
    reset();
    component_ = std::move(other.component_);
    registrar_ = std::move(other.registrar_);
    identity_ = std::move(other.identity_);
    message_ = std::move(other.message_);
    return *this;
  }
  ~VirtualRegistration() { reset(); }

  /// Lets the controller describe itself with identity_message(): from the first time on it is listed. Must
  /// not be called without a registration. Throws Error.
  void announce() const { forward(message_); }
  /// Hands over a discovery message of the controller as if it had come from the network. Must not be called
  /// without a registration. Throws Error; a malformed message is ignored.
  void forward(std::string_view message) const {
    component_->Check(registrar_->ForwardMessage(KelBstr(to_wide(message)).Get()), "forwarding a message");
  }

  /// Withdraws the controller from the list, then removes it. Failures are ignored: the controller may be
  /// gone already, because its process has ended.
  void reset() noexcept {
    if (!registrar_) return;
    registrar_->PreUnRegister(identity_.Get());
    registrar_->UnRegister(identity_.Get());
    registrar_.Reset();
    component_.reset();
  }

 private:
  std::shared_ptr<const detail::Component> component_;
  KelComPtr<IKelVCLanSeek2> registrar_;
  KelBstr identity_;
  std::string message_;
};

}  // namespace kellanseek::client
