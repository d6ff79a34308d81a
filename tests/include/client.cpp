// Uses the parts of the headers that the samples do not use. Compiled with every supported language version.
#include <type_traits>

#include <kellanseek/KelLanSeek.h>
#include <kellanseek/client.hpp>

static_assert(std::is_convertible_v<KelComPtr<IKelLanSeek2>, KelComPtr<IKelLanSeek>>);
static_assert(std::is_convertible_v<const KelComPtr<IKelLanSeek2>&, KelComPtr<IKelLanSeek>>);
static_assert(!std::is_convertible_v<KelComPtr<IKelLanSeek>, KelComPtr<IKelLanSeek2>>);
static_assert(KelInterfaceId<IKelLanSeek> == &IID_IKelLanSeek);
static_assert(CLSID_KelLanSeek.Data1 == 0x2B474DCE && CLSID_KelLanSeek.Data4[7] == 0x2F);

struct IOwn;
KEL_DECLARE_INTERFACE(IOwn, "00000000-1111-2222-3333-444444444444");

namespace kel = kellanseek::client;
static_assert(std::is_copy_constructible_v<kel::Client> && std::is_nothrow_move_constructible_v<kel::Client>);
static_assert(!std::is_copy_constructible_v<kel::Subscription> &&
              std::is_nothrow_move_assignable_v<kel::Subscription>);
static_assert(std::is_nothrow_move_assignable_v<kel::ChangeStream>);
static_assert(std::is_nothrow_move_assignable_v<kel::VirtualRegistration>);

int main() {
  const KelComPtr<IKelLanSeek> none;
  const KelComPtr<IKelLanSeek> other;
  IKelLanSeek* const raw = none.Get();
  const bool equal = none == other && none == raw && raw == none && none == nullptr && nullptr == none;
  const bool differs = none != other || none != raw || raw != none || none != nullptr || nullptr != none;
  return equal && !differs && none.As<IKelBase>() == nullptr && KelBstr(L"text").View() == L"text" ? 0 : 1;
}
