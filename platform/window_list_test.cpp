#include "platform/window_list.h"

#include <gtest/gtest.h>

namespace {

using cvplat::FileNamePart;
using cvplat::FollowableWindow;

TEST(WindowList, FollowableWindowsAreAtLeast210SquareAndTitled) {
  EXPECT_TRUE(FollowableWindow(210, 210, L"t"));
  EXPECT_FALSE(FollowableWindow(209, 1000, L"t"));
  EXPECT_FALSE(FollowableWindow(1000, 209, L"t"));
  EXPECT_FALSE(FollowableWindow(1000, 1000, L""));
  // A window turned inside out has a negative size.
  EXPECT_FALSE(FollowableWindow(-500, 500, L"t"));
}

TEST(WindowList, FileNamePartDropsEitherKindOfFolderAndCuts) {
  EXPECT_EQ(FileNamePart(L"C:\\Program Files\\app\\host.exe"), L"host.exe");
  EXPECT_EQ(FileNamePart(L"/usr/bin/host"), L"host");
  EXPECT_EQ(FileNamePart(L"C:/mixed\\path/x.exe"), L"x.exe");
  EXPECT_EQ(FileNamePart(L"plain"), L"plain");
  EXPECT_EQ(FileNamePart(L"folder/"), L"");
  const std::wstring longName(300, L'n');
  EXPECT_EQ(FileNamePart(L"/x/" + longName), std::wstring(cvplat::kWindowTextMax, L'n'));
}

}  // namespace
