#include "media/locked_ptr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

struct Item : AutoObjBase<Item> {
  static inline std::atomic<int> alive{0};
  explicit Item(int v) : value(v) { ++alive; }
  ~Item() override { --alive; }
  const int value;
};

TEST(LockedPtr, HoldsOneReferenceAndHandsOutMore) {
  {
    TLockedPtr<Item> slot;
    EXPECT_TRUE(slot.Empty());
    EXPECT_FALSE(slot.Get());
    slot.Set(MakeRef<Item>(1).Get());
    EXPECT_EQ(Item::alive.load(), 1);
    TRefPtr<Item> got = slot.Get();
    ASSERT_TRUE(got);
    EXPECT_EQ(got->value, 1);
    TRefPtr<Item> old = slot.Exchange(MakeRef<Item>(2).Get());
    EXPECT_EQ(old.Get(), got.Get());
    EXPECT_EQ(slot.Get()->value, 2);
    slot.Set(nullptr);
    EXPECT_TRUE(slot.Empty());
    EXPECT_EQ(Item::alive.load(), 1) << "only the copies held here remain";
  }
  EXPECT_EQ(Item::alive.load(), 0);
}

TEST(LockedPtr, ReadersAndAWriterShareItSafely) {
  {
    TLockedPtr<Item> slot(MakeRef<Item>(0).Get());
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r)
      readers.emplace_back([&] {
        int last = -1;
        while (!stop) {
          TRefPtr<Item> item = slot.Get();
          if (!item || item->value < last) ++bad;  // values only grow
          last = item ? item->value : last;
        }
      });
    for (int i = 1; i <= 5000; ++i) slot.Set(MakeRef<Item>(i).Get());
    stop = true;
    for (auto& t : readers) t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(slot.Get()->value, 5000);
  }
  EXPECT_EQ(Item::alive.load(), 0) << "every replaced value was released";
}

}  // namespace
