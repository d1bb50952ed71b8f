#include "platform/critical_section.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/kernel.h"

namespace {

TEST(CriticalSection, ReentrantWithOwnerAndExcludesOthers) {
  cvplat::CriticalSection cs(1024);
  EXPECT_EQ(cs.OwnerThread(), 0u);
  cs.Enter();
  ASSERT_TRUE(cs.TryEnter()) << "the owner may enter again";
  EXPECT_EQ(cs.OwnerThread(), cvplat::CurrentThreadId());

  bool otherGot = true;
  std::thread([&] { otherGot = cs.TryEnter(); }).join();
  EXPECT_FALSE(otherGot);

  cs.Leave();
  EXPECT_EQ(cs.OwnerThread(), cvplat::CurrentThreadId()) << "still held once";
  cs.Leave();
  EXPECT_EQ(cs.OwnerThread(), 0u);

  std::thread([&] {
    otherGot = cs.TryEnter();
    if (otherGot) cs.Leave();
  }).join();
  EXPECT_TRUE(otherGot);
}

}  // namespace
