#include "media/auto_obj.h"

#include <gtest/gtest.h>

namespace {

struct Counted : AutoObjBase<Counted> {
  static inline int alive = 0;
  Counted() { ++alive; }
  ~Counted() override { --alive; }
};

TEST(AutoObjBase, CountsReferencesAndDeletesAtZero) {
  auto* obj = new Counted;
  EXPECT_EQ(obj->AddRef(), 1u);
  EXPECT_EQ(obj->AddRef(), 2u);
  EXPECT_EQ(obj->Release(), 1u);
  EXPECT_EQ(Counted::alive, 1);
  EXPECT_EQ(obj->Release(), 0u);
  EXPECT_EQ(Counted::alive, 0);
}

TEST(AutoObjBase, AnswersOnlyForIUnknown) {
  TRefPtr<Counted> obj = MakeRef<Counted>();
  void* out = reinterpret_cast<void*>(1);
  EXPECT_EQ(obj->QueryInterface(IID_IClassFactory, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(obj->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  ASSERT_EQ(obj->QueryInterface(IID_IUnknown, &out), S_OK);
  EXPECT_EQ(out, static_cast<IUnknown*>(obj.Get()));
  static_cast<IUnknown*>(out)->Release();
  obj.Reset();
  EXPECT_EQ(Counted::alive, 0);
}

TEST(RefPtr, CopiesMovesAndDetaches) {
  {
    TRefPtr<Counted> a = MakeRef<Counted>();
    TRefPtr<Counted> b = a;
    TRefPtr<Counted> c = std::move(a);
    EXPECT_FALSE(a);
    EXPECT_EQ(b.Get(), c.Get());
    Counted* raw = c.Detach();
    EXPECT_EQ(raw->Release(), 1u) << "b still holds one";
  }
  EXPECT_EQ(Counted::alive, 0);
}

}  // namespace
