// The class factory and the object map over a small aggregatable test class that, like every object of
// the module, holds a module lock while it lives.
#include "server/class_factory.h"

#include <gtest/gtest.h>

#include <atomic>

#include "media/module_lock.h"
#include "server/class_map.h"

namespace cvserver {
namespace {

constexpr IID IID_ITestValue = {0x0f1e2d3c, 0x4b5a, 0x6978, {0x87, 0x96, 0xa5, 0xb4, 0xc3, 0xd2, 0xe1, 0xf0}};
constexpr CLSID CLSID_TestClass = {0x11223344, 0x5566, 0x7788, {0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff, 0x00}};
constexpr CLSID CLSID_Unknown = {0x11223344, 0x5566, 0x7788, {0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff, 0x01}};

struct ITestValue : IUnknown {
  virtual int STDMETHODCALLTYPE Value() = 0;

 protected:
  ~ITestValue() = default;
};

std::atomic<int> liveObjects{0};

class TestObject final : public ITestValue {
 public:
  static HRESULT Create(IUnknown* outer, REFIID riid, void** object) {
    auto* created = new TestObject(outer);
    const HRESULT hr = created->inner_.QueryInterface(riid, object);
    created->inner_.Release();  // the creation reference; the object goes here when QueryInterface failed
    return hr;
  }

  // ITestValue's own IUnknown belongs to the controlling unknown.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    return controller_->QueryInterface(riid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return controller_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return controller_->Release(); }
  int STDMETHODCALLTYPE Value() override { return 42; }

 private:
  class Inner final : public IUnknown {
   public:
    explicit Inner(TestObject* owner) : owner_(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
      if (!object) return E_POINTER;
      if (IsEqualIID(riid, IID_IUnknown)) {
        *object = static_cast<IUnknown*>(this);
      } else if (IsEqualIID(riid, IID_ITestValue)) {
        *object = static_cast<ITestValue*>(owner_);
      } else {
        *object = nullptr;
        return E_NOINTERFACE;
      }
      static_cast<IUnknown*>(*object)->AddRef();
      return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
      const ULONG left = --refs_;
      if (left == 0) delete owner_;
      return left;
    }

   private:
    TestObject* owner_;
    std::atomic<ULONG> refs_{1};
  };

  explicit TestObject(IUnknown* outer) : inner_(this), controller_(outer ? outer : &inner_) {
    ModuleLock();
    ++liveObjects;
  }
  ~TestObject() {
    --liveObjects;
    ModuleUnlock();
  }

  Inner inner_;
  IUnknown* controller_;
};

// A controlling unknown that only counts its references.
class CountingOuter final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }
  ULONG refs = 1;
};

HRESULT FailingCreate(IUnknown*, REFIID, void** object) {
  *object = reinterpret_cast<void*>(0x1);  // a creator that leaves rubbish behind on failure
  return E_OUTOFMEMORY;
}

constinit ClassFactory testFactory(&TestObject::Create);
constinit ClassFactory failingFactory(&FailingCreate);
constexpr ServedClass kClasses[] = {{&CLSID_TestClass, &testFactory}};

IClassFactory* GetFactory() {
  void* object = nullptr;
  EXPECT_EQ(GetClassObject(kClasses, CLSID_TestClass, IID_IClassFactory, &object), S_OK);
  return static_cast<IClassFactory*>(object);
}

class ClassFactoryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ModuleLockCount(), 0) << "an earlier test left a lock behind"; }
  void TearDown() override {
    EXPECT_EQ(liveObjects.load(), 0);
    EXPECT_EQ(ModuleLockCount(), 0);
  }
};

TEST_F(ClassFactoryTest, ModuleCanUnloadOnlyWhileNothingHoldsIt) {
  EXPECT_EQ(CanUnloadNow(), S_OK);
  IClassFactory* factory = GetFactory();
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(CanUnloadNow(), S_FALSE) << "a held factory keeps the module";

  ITestValue* value = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_ITestValue, reinterpret_cast<void**>(&value)), S_OK);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->Value(), 42);
  factory->Release();
  EXPECT_EQ(liveObjects.load(), 1);
  EXPECT_EQ(CanUnloadNow(), S_FALSE) << "a live object keeps the module";

  value->Release();
  EXPECT_EQ(liveObjects.load(), 0);
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST_F(ClassFactoryTest, LockServerCountsLikeAnObject) {
  IClassFactory* factory = GetFactory();
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(factory->LockServer(1), S_OK);
  EXPECT_EQ(factory->LockServer(1), S_OK);
  factory->Release();
  EXPECT_EQ(ModuleLockCount(), 2);
  EXPECT_EQ(CanUnloadNow(), S_FALSE);
  EXPECT_EQ(testFactory.LockServer(0), S_OK);
  EXPECT_EQ(CanUnloadNow(), S_FALSE) << "one lock is still held";
  EXPECT_EQ(testFactory.LockServer(0), S_OK);
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST_F(ClassFactoryTest, AggregationNeedsTheOuterToAskForIUnknown) {
  IClassFactory* factory = GetFactory();
  ASSERT_NE(factory, nullptr);
  CountingOuter outer;

  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(factory->CreateInstance(&outer, IID_ITestValue, &object), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(liveObjects.load(), 0) << "a refused aggregation makes no object";

  IUnknown* inner = nullptr;
  ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&inner)), S_OK);
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(liveObjects.load(), 1);
  // The interfaces of the inner object count on the outer object.
  ITestValue* value = nullptr;
  ASSERT_EQ(inner->QueryInterface(IID_ITestValue, reinterpret_cast<void**>(&value)), S_OK);
  EXPECT_EQ(outer.refs, 2u);
  EXPECT_EQ(value->Value(), 42);
  value->Release();
  EXPECT_EQ(outer.refs, 1u);

  inner->Release();
  factory->Release();
}

TEST_F(ClassFactoryTest, FailedCreationLeavesNothing) {
  EXPECT_EQ(testFactory.CreateInstance(nullptr, IID_ITestValue, nullptr), E_POINTER);

  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(testFactory.CreateInstance(nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(liveObjects.load(), 0) << "the object that didn't answer is gone";

  object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(failingFactory.CreateInstance(nullptr, IID_IUnknown, &object), E_OUTOFMEMORY);
  EXPECT_EQ(object, nullptr);
}

TEST_F(ClassFactoryTest, FactoryIsOneCachedObject) {
  IClassFactory* first = GetFactory();
  IUnknown* unknown = nullptr;
  ASSERT_EQ(first->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
  EXPECT_EQ(static_cast<void*>(unknown), static_cast<void*>(first));
  void* other = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(first->QueryInterface(IID_ITestValue, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  unknown->Release();
  EXPECT_EQ(first->Release(), 1u) << "the module keeps its own reference";

  // Released by every caller, the factory still serves the next one.
  IClassFactory* second = GetFactory();
  EXPECT_EQ(second, first);
  ITestValue* value = nullptr;
  ASSERT_EQ(second->CreateInstance(nullptr, IID_ITestValue, reinterpret_cast<void**>(&value)), S_OK);
  value->Release();
  second->Release();
}

TEST_F(ClassFactoryTest, ObjectMapAnswersOnlyForItsClasses) {
  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(GetClassObject(kClasses, CLSID_Unknown, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(GetClassObject(kClasses, CLSID_TestClass, IID_ITestValue, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(GetClassObject(kClasses, CLSID_TestClass, IID_IClassFactory, nullptr), E_POINTER);
  EXPECT_EQ(CanUnloadNow(), S_OK) << "no failed look-up holds the module";
}

}  // namespace
}  // namespace cvserver
