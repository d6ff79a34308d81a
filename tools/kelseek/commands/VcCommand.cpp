#include "commands/VcCommand.h"

#include <algorithm>
#include <cwchar>
#include <string_view>

#include "client/Component.h"
#include "client/CountedObject.h"
#include "client/Text.h"
#include "commands/Command.h"
#include "output/Output.h"
#include "platform/Process.h"

namespace kellanseek::kelseek {
namespace {

/// The virtual controller's object. Its interface has no methods and merely identifies it.
class ControllerObject final : public CountedObject<IUnknown> {
 public:
  ControllerObject() : CountedObject(IID_KelVirtualController) {}
};

void AppendField(std::wstring& fields, const wchar_t* tag, const std::string& text) {
  if (text.empty()) return;
  const std::wstring wide = FromUtf8(text);
  const auto separates = [](wchar_t character) { return character == L';' || character < L' '; };
  if (wide.find_first_not_of(L' ') == std::wstring::npos ||
      std::any_of(wide.begin(), wide.end(), separates)) {
    throw CommandError(kWrongUse, "\"" + Printable(text) +
                                      "\" cannot be part of a message: it is blank, or contains a "
                                      "semicolon or a control character");
  }
  fields += std::wstring(tag) + L":" + wide + L";";
}

void AppendVersion(std::wstring& fields, const std::string& version) {
  if (version.empty()) return;
  static constexpr const wchar_t* kTags[] = {L"7", L"8", L"f"};
  std::size_t part = 0;
  for (std::size_t start = 0; start <= version.size(); ++part) {
    const std::size_t end = std::min(version.find('.', start), version.size());
    const std::string number = version.substr(start, end - start);
    const bool digits =
        !number.empty() && number.size() < 6 && number.find_first_not_of("0123456789") == number.npos;
    if (part == std::size(kTags) || !digits) {
      throw CommandError(kWrongUse, "\"" + Printable(version) + "\" is not a version like 6.10.2");
    }
    AppendField(fields, kTags[part], number);
    start = end + 1;
  }
}

/// Registers the controller at construction and withdraws it at destruction.
class Registration {
 public:
  Registration(const Component& component, const VirtualController& controller)
      : registrar_(component.Get<IKelVCLanSeek2>()), systemID_(FromUtf8(controller.systemID)) {
    const auto object = KelComPtr<ControllerObject>::Attach(new ControllerObject);
    GUID iid = IID_KelVirtualController;
    VCInterface own = {&iid, object.Get()};
    const auto publication = controller.publish ? RemoteVCPublication_True : RemoteVCPublication_False;
    component.Check(registrar_->Register2(KelBstr(FromUtf8(controller.path)).Get(), systemID_.Get(),
                                          platform::CurrentProcessId(), publication, &own),
                    "registering " + Printable(controller.name));
  }
  ~Registration() {
    registrar_->PreUnRegister(systemID_.Get());
    registrar_->UnRegister(systemID_.Get());
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  HRESULT Forward(const std::wstring& message) { return registrar_->ForwardMessage(KelBstr(message).Get()); }

 private:
  KelComPtr<IKelVCLanSeek2> registrar_;
  KelBstr systemID_;
};

int RunController(Session& session, const VirtualController& controller) {
  const std::wstring identity = IdentityMessage(controller);
  const Component component(session);
  Registration registration(component, controller);
  component.Check(registration.Forward(identity), "answering discovery");
  ULONG id = 0;
  component.Check(component.Seek().GetCtrlFromSystemID(KelBstr(FromUtf8(controller.systemID)).Get(), &id),
                  "looking the controller up");
  const std::string name = Printable(controller.name);
  const bool written =
      Write(name + " (" + Printable(controller.systemID) + ") runs in process " +
            std::to_string(platform::CurrentProcessId()) +
            (controller.publish ? ", published to other hosts" : ", known in this process only") +
            ". Ctrl-C withdraws it.\n");
  if (!written) return kComponentFailed;
  session.stop.Wait();
  Write(name + " is withdrawn.\n");
  return kFound;
}

}  // namespace

std::wstring IdentityMessage(const VirtualController& controller) {
  std::wstring fields;
  AppendField(fields, L"1", controller.name);
  AppendField(fields, L"3", controller.systemName);
  AppendField(fields, L"4", controller.systemID);
  AppendVersion(fields, controller.software);
  fields += L"11:2;";
  // The length includes its own digits, of which there are at least two.
  const std::wstring_view head = L"Lanseek;";
  const std::wstring rest = L";1;" + fields;
  std::size_t digits = 2;
  while ((head.size() + digits + rest.size()) >> (4 * digits) != 0) ++digits;
  wchar_t length[20];
  std::swprintf(length, std::size(length), L"%0*x", static_cast<int>(digits),
                static_cast<unsigned>(head.size() + digits + rest.size()));
  return std::wstring(head) + length + rest;
}

void AddVcCommands(CLI::App& app, Session& session) {
  CLI::App& vc = *app.add_subcommand("vc", "Virtual controllers of this host");
  vc.require_subcommand(1);
  AddCommand<VirtualController>(
      vc, session, "run", "Run a virtual controller until Ctrl-C",
      [](CLI::App& command, VirtualController& controller) {
        command.add_option("--name", controller.name, "Its name")->required();
        command.add_option("--system-id", controller.systemID, "Its system identity, which must be unique")
            ->required();
        command.add_option("--path", controller.path, "Its system path, listed in place of an address")
            ->default_str("/virtual/NAME");
        command.add_option("--system-name", controller.systemName, "The name of its system");
        command.add_option("--software", controller.software, "Its software version, for example 6.10.2");
        command.add_flag("--publish", controller.publish, "Publish it to other hosts");
      },
      [&session](VirtualController& controller) {
        if (controller.path.empty()) controller.path = "/virtual/" + controller.name;
        return RunController(session, controller);
      });
}

}  // namespace kellanseek::kelseek
