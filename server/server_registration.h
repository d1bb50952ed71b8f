// What the module's registration entries do, apart from the keys themselves: which root the keys go
// to, the switch to per-user registration, the undo of a failed install, and the locale the writing
// runs under.
#pragma once

#include <atomic>
#include <string>

#include "platform/com_registration.h"

namespace cvserver {

// Writes and removes the keys of the module's classes.
class IClassRegistrar {
 public:
  virtual HRESULT Register(cvplat::ComRegistrationScope scope) = 0;
  virtual HRESULT Unregister(cvplat::ComRegistrationScope scope) = 0;

 protected:
  ~IClassRegistrar() = default;
};

class ServerRegistration {
 public:
  explicit ServerRegistration(IClassRegistrar& registrar) : registrar_(registrar) {}

  // DllRegisterServer and DllUnregisterServer: machine-wide, or per user once Install switched.
  HRESULT Register();
  HRESULT Unregister();
  // DllInstall: a command line of "user" (any letter case) makes this and every later registration of
  // the process go per user. Installing undoes a failed registration and returns the failure.
  HRESULT Install(bool install, const wchar_t* commandLine);

  cvplat::ComRegistrationScope Scope() const;

 private:
  IClassRegistrar& registrar_;
  std::atomic<bool> perUser_{false};
};

// The registrar of this module's one class, CoCVCaptureSCR, served by the module's own file.
IClassRegistrar& CaptureClassRegistrar();

// The class keys that CaptureClassRegistrar writes.
cvplat::ComClassKeys CaptureClassKeys(std::wstring modulePath);

}  // namespace cvserver
