#include "server/server_registration.h"

#include <cwctype>

#include "include/CVDeviceSCR.h"
#include "server/server_ids.h"

namespace cvserver {
namespace {

// Keeps the thread's locale at the system default while registration writes, so that nothing written
// depends on the language of the user who runs it.
class SystemLocaleScope {
 public:
  SystemLocaleScope() : saved_(cvplat::ThreadLocaleGet()) { cvplat::ThreadLocaleSet(cvplat::kLocaleSystemDefault); }
  SystemLocaleScope(const SystemLocaleScope&) = delete;
  SystemLocaleScope& operator=(const SystemLocaleScope&) = delete;
  ~SystemLocaleScope() { cvplat::ThreadLocaleSet(saved_); }

 private:
  uint32_t saved_;
};

bool IsUserSwitch(const wchar_t* text) {
  if (!text) return false;
  static constexpr wchar_t kUser[] = L"user";
  for (size_t i = 0; i < 4; ++i)
    if (std::towlower(static_cast<wint_t>(text[i])) != static_cast<wint_t>(kUser[i])) return false;
  return text[4] == L'\0';
}

class CaptureRegistrar final : public IClassRegistrar {
 public:
  HRESULT Register(cvplat::ComRegistrationScope scope) override {
    const std::wstring path = cvplat::OwnModulePath();
    if (path.empty()) return E_FAIL;
    return cvplat::RegisterComClass(CaptureClassKeys(path), scope);
  }
  HRESULT Unregister(cvplat::ComRegistrationScope scope) override {
    return cvplat::UnregisterComClass(CLSID_CoCVCaptureSCR, scope);
  }
};

}  // namespace

cvplat::ComRegistrationScope ServerRegistration::Scope() const {
  return perUser_.load(std::memory_order_acquire) ? cvplat::ComRegistrationScope::kUser
                                                  : cvplat::ComRegistrationScope::kMachine;
}

// The module's own script is empty, so only the class's keys are written: the module's part comes
// first on the way in and last on the way out, and has nothing to do either way.
HRESULT ServerRegistration::Register() {
  SystemLocaleScope locale;
  return registrar_.Register(Scope());
}

HRESULT ServerRegistration::Unregister() {
  SystemLocaleScope locale;
  return registrar_.Unregister(Scope());
}

HRESULT ServerRegistration::Install(bool install, const wchar_t* commandLine) {
  if (IsUserSwitch(commandLine)) perUser_.store(true, std::memory_order_release);
  if (!install) return Unregister();
  const HRESULT hr = Register();
  if (FAILED(hr)) (void)Unregister();  // the registration's failure is the one the caller hears of
  return hr;
}

IClassRegistrar& CaptureClassRegistrar() {
  static CaptureRegistrar registrar;
  return registrar;
}

cvplat::ComClassKeys CaptureClassKeys(std::wstring modulePath) {
  return cvplat::ComClassKeys{CLSID_CoCVCaptureSCR, kCaptureClassName, std::move(modulePath),
                              kCaptureThreadingModel, kTypeLibId, kTypeLibVersion};
}

}  // namespace cvserver
