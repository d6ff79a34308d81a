#include "bench/Workstation.h"

#include <stdexcept>
#include <thread>

namespace kellanseek::bench {

Workstation::Workstation(const std::string& modulePath) {
  const HRESULT result =
      KelCreateInstanceFromModule(modulePath.c_str(), CLSID_KelLanSeek, IID_IKelLanSeek, seek.PutVoid());
  if (result < 0) throw std::runtime_error("cannot create the component from " + modulePath);
  identity = seek.As<IKelCtrlIdentity>();
}

void Workstation::Subscribe(Sink& sink) {
  KelEventParams parameters{};
  parameters.pSink = &sink;
  parameters.containData = Data;
  ULONG cookie = 0;
  if (seek.As<IKelLanSeekSubscribe>()->Subscribe(&parameters, &cookie) < 0) {
    throw std::runtime_error("cannot subscribe");
  }
}

std::uint32_t Workstation::Known() {
  KelRetrievalParams page{};
  page.noOfElts = -2;
  KelComPtr<IKelEnumCtrlIdentity> list;
  if (seek->GetCtrlList(&page, list.Put()) < 0) throw std::runtime_error("cannot list");
  return static_cast<std::uint32_t>(page.noOfElts);
}

bool Workstation::WaitUntilKnown(std::uint32_t count, std::chrono::milliseconds limit) {
  const auto end = Clock::now() + limit;
  while (Known() < count) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return true;
}

std::uint32_t Workstation::FirstId() {
  KelRetrievalParams page{};
  page.noOfElts = -2;
  KelComPtr<IKelEnumCtrlIdentity> list;
  AvailableCtrlsListItem item{};
  ULONG fetched = 0;
  if (seek->GetCtrlList(&page, list.Put()) < 0 || list->RemNext(1, &item, &fetched) != S_OK) return 0;
  return item.lanSeekID;
}

}  // namespace kellanseek::bench
