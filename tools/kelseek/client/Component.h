#pragma once

#include <kellanseek/KelLanSeek.h>

#include <string>

#include "client/Session.h"

namespace kellanseek::kelseek {

/// The path of the component's module: the value of --module or of the environment variable
/// KELLANSEEK_MODULE, else the component's file beside the program or in its library directory. Empty if
/// there is none of these: then use the registered class.
std::wstring ModulePath(const Session& session);

/// An object of the component, which works during the lifetime of this one. The constructor throws
/// CommandError if it cannot be created.
class Component {
 public:
  explicit Component(const Session& session);

  /// For a failure, throws CommandError with the attempted action, the object's last error text and the code.
  void Check(HRESULT result, const std::string& attempted) const;

  IKelLanSeek& Seek() const { return *seek_; }
  IKelCtrlIdentity3& Identity() const { return *identity_; }

  /// Queries the object for another interface. Throws CommandError if it is not supported.
  template <typename Interface>
  KelComPtr<Interface> Get() const {
    KelComPtr<Interface> other;
    Check(seek_.QueryTo(other), "querying an interface of the component");
    return other;
  }

 private:
  KelComPtr<IKelLanSeek> seek_;
  KelComPtr<IKelCtrlIdentity3> identity_;
};

}  // namespace kellanseek::kelseek
