// Lists the controllers that answer within two seconds. The argument is the path of the component.
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <thread>

#include <kellanseek/KelLanSeek.h>

// Prints the code of a failure and, if there is an object, the component's error text.
int Failed(const char* what, HRESULT result, const KelComPtr<IKelLanSeek>& seek) {
  KelBstr why;
  if (const auto base = seek.As<IKelBase>()) base->GetLastErrorInfo(why.Put());
  std::fprintf(stderr, "%s: 0x%08X %ls\n", what, static_cast<unsigned>(result), why.Text().c_str());
  return 1;
}

int List(const char* module) {
  KelComPtr<IKelLanSeek> seek;
  HRESULT result = KelCreateInstanceFromModule(module, CLSID_KelLanSeek, IID_IKelLanSeek, seek.PutVoid());
  if (FAILED(result)) return Failed(module, result, seek);
  std::this_thread::sleep_for(std::chrono::seconds(2));

  KelRetrievalParams all = {};
  all.noOfElts = -2;  // all controllers
  KelComPtr<IKelEnumCtrlIdentity> list;
  result = seek->GetCtrlList(&all, list.Put());
  if (FAILED(result)) return Failed("GetCtrlList", result, seek);

  const auto identity = seek.As<IKelCtrlIdentity>();
  AvailableCtrlsListItem item = {};
  while (list->RemNext(1, &item, nullptr) == S_OK) {
    KelBstr name;
    result = identity->GetCtrlName(item.lanSeekID, name.Put());
    if (result == KEL_E_LANSEEKID_NOT_IN_USE) continue;  // The controller has gone meanwhile.
    if (FAILED(result)) return Failed("GetCtrlName", result, seek);
    std::printf("%u %ls\n", static_cast<unsigned>(item.lanSeekID), name.Text().c_str());
  }
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: list MODULE\n", stderr), 1;
  // Names may contain any letters, which the C locale of an empty environment cannot print.
  const char* const locale = std::setlocale(LC_CTYPE, "");
  if (locale == nullptr || std::strcmp(locale, "C") == 0) std::setlocale(LC_CTYPE, "C.UTF-8");
  const HRESULT joined = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(joined)) return Failed("CoInitializeEx", joined, {});
  const int exitCode = List(argv[1]);  // Releases all objects before it returns.
  CoUninitialize();
  return exitCode;
}
