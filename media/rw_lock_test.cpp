#include "media/rw_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/kernel.h"

namespace {

using Side = CRWSynchroLiteGuard::Side;

TEST(RWLock, ReadersShareAndAWriterWaitsForBoth) {
  CRWSynchroLiteRW lock;
  std::atomic<int> readersIn{0};
  std::atomic<bool> releaseReaders{false};
  std::atomic<bool> writerIn{false};
  auto reader = [&] {
    ASSERT_TRUE(lock.ReadLock());
    ++readersIn;
    while (!releaseReaders) cvplat::SleepMs(1);
    lock.ReadUnlock();
  };
  std::thread r1(reader), r2(reader);
  while (readersIn < 2) cvplat::SleepMs(1);
  EXPECT_EQ(lock.State(), 2);

  std::thread writer([&] {
    ASSERT_TRUE(lock.WriteLock(true, 9));
    writerIn = true;
    EXPECT_EQ(lock.State(), -1);
    lock.WriteUnlock();
  });
  cvplat::SleepMs(30);
  EXPECT_FALSE(writerIn.load()) << "a writer must not enter while readers are inside";
  releaseReaders = true;
  r1.join();
  r2.join();
  writer.join();
  EXPECT_TRUE(writerIn.load());
  EXPECT_EQ(lock.State(), 0);
  uintptr_t tag = 0;
  ASSERT_TRUE(lock.ReadLock(false, &tag));
  EXPECT_EQ(tag, 9u) << "readers see the tag of the last writer";
  lock.ReadUnlock();
}

TEST(RWLock, WriterReentersAndReadsUnderItsOwnLock) {
  CRWSynchroLiteRW lock;
  ASSERT_TRUE(lock.WriteLock());
  ASSERT_TRUE(lock.WriteLock(false)) << "the write side is re-entrant";
  EXPECT_EQ(lock.State(), -2);
  EXPECT_EQ(lock.OwnerThread(), cvplat::CurrentThreadId());
  ASSERT_TRUE(lock.ReadLock(false)) << "reading under one's own write lock";
  ASSERT_TRUE(lock.ReadLock(true));
  lock.ReadUnlock();
  lock.ReadUnlock();
  EXPECT_EQ(lock.State(), -2) << "reads under the write lock are not counted";
  lock.WriteUnlock();
  lock.WriteUnlock();
  EXPECT_EQ(lock.State(), 0);
  EXPECT_EQ(lock.WritersWaiting(), 0);
  EXPECT_EQ(lock.OwnerThread(), 0u);
}

TEST(RWLock, TryLocksFailAgainstTheOtherSide) {
  CRWSynchroLiteRW lock;
  ASSERT_TRUE(lock.ReadLock());
  bool got = true;
  std::thread([&] { got = lock.WriteLock(false); }).join();
  EXPECT_FALSE(got) << "a try-writer fails while a reader is inside";
  EXPECT_EQ(lock.State(), 1);
  EXPECT_EQ(lock.OwnerThread(), 0u) << "the failed try left the section";
  lock.ReadUnlock();
  std::thread([&] {
    got = lock.WriteLock(false);
    if (got) lock.WriteUnlock();
  }).join();
  EXPECT_TRUE(got) << "the lock is free for the next writer";

  ASSERT_TRUE(lock.WriteLock());
  std::thread([&] { got = lock.ReadLock(false); }).join();
  EXPECT_FALSE(got) << "a try-reader fails against a writer";
  std::thread([&] { got = lock.WriteLock(false); }).join();
  EXPECT_FALSE(got);
  lock.WriteUnlock();
  EXPECT_EQ(lock.State(), 0);
}

TEST(RWLock, CriticalSectionVariantExcludesBothSides) {
  CRWSynchroLiteCS lock;
  ASSERT_TRUE(lock.ReadLock());
  ASSERT_TRUE(lock.WriteLock()) << "re-entrant";
  bool got = true;
  std::thread([&] { got = lock.ReadLock(false); }).join();
  EXPECT_FALSE(got) << "no parallel readers";
  lock.WriteUnlock();
  lock.ReadUnlock();
  std::thread([&] {
    got = lock.ReadLock(false);
    if (got) lock.ReadUnlock();
  }).join();
  EXPECT_TRUE(got);
}

TEST(RWLock, GuardReleasesTheSideItTook) {
  CRWSynchroLiteRW lock;
  {
    CRWSynchroLiteGuard read(lock, Side::Read);
    EXPECT_TRUE(read.Locked());
    EXPECT_EQ(lock.State(), 1);
    CRWSynchroLiteGuard tryWrite(lock, Side::Write, false);
    EXPECT_FALSE(tryWrite.Locked());
  }
  EXPECT_EQ(lock.State(), 0);
  {
    CRWSynchroLiteGuard write(lock, Side::Write);
    EXPECT_EQ(lock.State(), -1);
    write.Unlock();
    EXPECT_EQ(lock.State(), 0);
  }
  EXPECT_EQ(lock.State(), 0);
}

// Writers keep two counters equal; readers must never see them differ. Runs under ThreadSanitizer too.
TEST(RWLock, ReadersNeverSeeAHalfWrite) {
  CRWSynchroLiteRW lock;
  long a = 0, b = 0;
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 3000; ++i) {
        if ((i + t) % 5 == 0) {
          CRWSynchroLiteGuard w(lock, Side::Write);
          ++a;
          CRWSynchroLiteGuard nested(lock, Side::Read);  // reads inside a write, as tree operations do
          ++b;
        } else {
          CRWSynchroLiteGuard r(lock, Side::Read);
          if (a != b) ++torn;
        }
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(torn.load(), 0);
  EXPECT_EQ(a, 4 * 600);
  EXPECT_EQ(lock.State(), 0);
}

}  // namespace
