#include "server/module_exports.h"

#include "CVDeviceSCR.h"
#include "device/capture_device.h"
#include "platform/device_platform.h"
#include "server/class_factory.h"
#include "server/class_map.h"
#include "server/server_registration.h"

namespace {

HRESULT CreateNativeCaptureDevice(IUnknown* outer, REFIID riid, void** object) {
  return CreateCaptureDevice(outer, riid, object, cvplat::NativeDevicePlatform());
}

// Constant-initialised: a host may ask for the factory before any dynamic initialiser of the module ran.
constinit cvserver::ClassFactory captureFactory(&CreateNativeCaptureDevice);
constexpr cvserver::ServedClass kServedClasses[] = {{&CLSID_CoCVCaptureSCR, &captureFactory}};

cvserver::ServerRegistration& Registration() {
  static cvserver::ServerRegistration registration(cvserver::CaptureClassRegistrar());
  return registration;
}

}  // namespace

CV_MODULE_ENTRY DllCanUnloadNow() { return cvserver::CanUnloadNow(); }

CV_MODULE_ENTRY DllGetClassObject(REFCLSID rclsid, REFIID riid, void** object) {
  return cvserver::GetClassObject(kServedClasses, rclsid, riid, object);
}

CV_MODULE_ENTRY DllRegisterServer() { return Registration().Register(); }

CV_MODULE_ENTRY DllUnregisterServer() { return Registration().Unregister(); }

CV_MODULE_ENTRY DllInstall(BOOL install, const wchar_t* commandLine) {
  return Registration().Install(install != 0, commandLine);
}
