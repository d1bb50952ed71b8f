// The built module as a host meets it: loaded from its file, its five entries looked up by name, a device
// made through the class factory and a few frames read from it, and the module's answer to "may I unload
// you" before, during and after.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "CVDeviceSCR.h"
#include "platform/dynamic_library.h"
#include "server/module_exports.h"

namespace {

constexpr int64_t kSecond = 10000000;
constexpr CLSID CLSID_Other = {0x5b0e9d7a, 0x3c41, 0x4f86, {0x9a, 0x2e, 0x71, 0xd4, 0x0b, 0x6c, 0x58, 0xe4}};

class ModuleLoadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(module.Open(CV_MODULE_FILE), S_OK) << module.Error();
    canUnloadNow = reinterpret_cast<DllCanUnloadNowFn>(module.Symbol("DllCanUnloadNow"));
    getClassObject = reinterpret_cast<DllGetClassObjectFn>(module.Symbol("DllGetClassObject"));
    registerServer = reinterpret_cast<DllRegisterServerFn>(module.Symbol("DllRegisterServer"));
    unregisterServer = reinterpret_cast<DllRegisterServerFn>(module.Symbol("DllUnregisterServer"));
    install = reinterpret_cast<DllInstallFn>(module.Symbol("DllInstall"));
    ASSERT_TRUE(canUnloadNow && getClassObject && registerServer && unregisterServer && install)
        << "an entry is missing or exported under a decorated name";
  }

  IClassFactory* Factory() {
    void* factory = nullptr;
    EXPECT_EQ(getClassObject(CLSID_CoCVCaptureSCR, IID_IClassFactory, &factory), S_OK);
    return static_cast<IClassFactory*>(factory);
  }

  cvplat::DynamicLibrary module;
  DllCanUnloadNowFn canUnloadNow = nullptr;
  DllGetClassObjectFn getClassObject = nullptr;
  DllRegisterServerFn registerServer = nullptr;
  DllRegisterServerFn unregisterServer = nullptr;
  DllInstallFn install = nullptr;
};

TEST_F(ModuleLoadTest, ServesOnlyItsClass) {
  EXPECT_EQ(canUnloadNow(), S_OK) << "a freshly loaded module holds nothing";
  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(getClassObject(CLSID_Other, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);

  IClassFactory* factory = Factory();
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(1), S_OK);
  factory->Release();
  EXPECT_EQ(canUnloadNow(), S_FALSE) << "LockServer keeps the module";
  factory = Factory();
  EXPECT_EQ(factory->LockServer(0), S_OK);
  factory->Release();
  EXPECT_EQ(canUnloadNow(), S_OK);
}

TEST_F(ModuleLoadTest, MakesADeviceThatDeliversFramesAndLetsTheModuleGoAfterwards) {
#if !defined(_WIN32)
  // The frames are shots of the X display; without one there is no picture to deliver.
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
#endif
  IClassFactory* factory = Factory();
  ASSERT_NE(factory, nullptr);
  IUnknown* outer = factory;  // any unknown will do: the refusal comes before it is used
  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(factory->CreateInstance(outer, IID_ICVSource_I, &object), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);

  ICVSource_I* source = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_ICVSource_I, reinterpret_cast<void**>(&source)), S_OK);
  factory->Release();
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(canUnloadNow(), S_FALSE) << "a live device keeps the module";

  int64_t reader = 0;
  int64_t lastStart = INT64_MIN;
  for (int i = 0; i < 3; ++i) {
    ICVFrame_I* frame = nullptr;
    ASSERT_EQ(source->SourceFrameGetEx_I(&reader, &frame, 5 * kSecond, nullptr), S_OK) << "frame " << i;
    ASSERT_NE(frame, nullptr);
    EXPECT_NE(reader, 0);
    TAvProps props{};
    EXPECT_EQ(frame->FormatGet(&props, nullptr), S_OK);
    EXPECT_GT(props.video.width, 0);
    TFrameTime time{};
    EXPECT_EQ(frame->TimeGet(&time), S_OK);
    EXPECT_GT(time.startTime, lastStart);
    lastStart = time.startTime;
    frame->Release();
  }
  EXPECT_EQ(source->SourceReaderClose(reader), S_OK);
  source->Release();
  EXPECT_EQ(canUnloadNow(), S_OK) << "the released device left a lock behind";
  // The fixture unloads the module now: under the sanitizers anything it left allocated shows as a leak.
}

// Without a component runtime there is nothing to register: the entries succeed and change nothing.
#if !defined(_WIN32)
TEST_F(ModuleLoadTest, RegistrationEntriesSucceedWithoutAnythingToWrite) {
  EXPECT_EQ(registerServer(), S_OK);
  EXPECT_EQ(install(1, L"user"), S_OK);
  EXPECT_EQ(install(0, L"user"), S_OK);
  EXPECT_EQ(unregisterServer(), S_OK);
}
#endif

}  // namespace
