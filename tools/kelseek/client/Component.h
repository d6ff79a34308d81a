#pragma once

#include <kellanseek/KelLanSeek.h>

#include <string>

#include "client/Session.h"

namespace kellanseek::tools {

/// The module to work with: what --module or the environment variable KELLANSEEK_MODULE names, else the
/// component's file beside the program or in its library directory. Empty when there is none of these: then
/// the registered class is meant.
std::wstring ModulePath(const Session& session);

/// One object of the component, which works from here on. Throws CommandError when there is none to be had.
class Component {
 public:
  explicit Component(const Session& session);

  /// Throws CommandError with what was attempted, the object's last error text and the code, for a failure.
  void Check(HRESULT result, const std::string& attempted) const;

  IKelLanSeek& Seek() const { return *seek_; }
  IKelCtrlIdentity3& Identity() const { return *identity_; }

  /// Another interface of the object. Throws CommandError when it has none such.
  template <typename Interface>
  KelComPtr<Interface> Get() const {
    KelComPtr<Interface> other;
    Check(seek_.QueryTo(other), "asking the component for an interface");
    return other;
  }

 private:
  KelComPtr<IKelLanSeek> seek_;
  KelComPtr<IKelCtrlIdentity3> identity_;
};

}  // namespace kellanseek::tools
