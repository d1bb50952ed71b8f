// The enumeration against real windows of this process: one it must find, and two it must pass over.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "platform/window_list.h"

namespace {

class TestWindows : public ::testing::Test {
 protected:
  static constexpr wchar_t kClass[] = L"CvWindowListTestClass";

  void SetUp() override {
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = kClass;
    registered_ = RegisterClassExW(&wc) != 0;
    ASSERT_TRUE(registered_);
  }
  void TearDown() override {
    for (HWND w : windows_) DestroyWindow(w);
    if (registered_) UnregisterClassW(kClass, GetModuleHandleW(nullptr));
  }
  HWND Make(const wchar_t* title, int width, int height) {
    HWND w = CreateWindowExW(0, kClass, title, WS_OVERLAPPEDWINDOW, 40, 40, width, height, nullptr, nullptr,
                             GetModuleHandleW(nullptr), nullptr);
    if (w) windows_.push_back(w);
    return w;
  }
  static const cvplat::TopWindow* Find(const std::vector<cvplat::TopWindow>& rows, HWND w) {
    for (const auto& row : rows) {
      if (row.handle == static_cast<uint64_t>(reinterpret_cast<uintptr_t>(w))) return &row;
    }
    return nullptr;
  }

  bool registered_ = false;
  std::vector<HWND> windows_;
};

TEST_F(TestWindows, ListsATitledWindowOfThisProcessAndPassesOverSmallAndUntitledOnes) {
  const std::wstring title = L"CV window list test " + std::to_wstring(GetCurrentProcessId());
  HWND big = Make(title.c_str(), 400, 300);
  HWND small = Make(L"CV small", 150, 300);
  HWND untitled = Make(L"", 400, 300);
  ASSERT_TRUE(big && small && untitled);
  ShowWindow(big, SW_SHOWNOACTIVATE);

  const std::vector<cvplat::TopWindow> rows = cvplat::ListTopWindows();
  const cvplat::TopWindow* row = Find(rows, big);
  ASSERT_NE(row, nullptr) << "of " << rows.size() << " windows";
  EXPECT_EQ(row->title, title);
  EXPECT_EQ(row->processId, GetCurrentProcessId());
  wchar_t exe[MAX_PATH] = {};
  const DWORD n = GetModuleFileNameW(nullptr, exe, MAX_PATH);
  EXPECT_EQ(row->processName, cvplat::FileNamePart(std::wstring_view(exe, n)));
  EXPECT_EQ(Find(rows, small), nullptr);
  EXPECT_EQ(Find(rows, untitled), nullptr);
  for (const auto& r : rows) EXPECT_TRUE(cvplat::FollowableWindow(210, 210, r.title));
}

TEST_F(TestWindows, LongTitlesAreCut) {
  const std::wstring title(300, L'w');
  HWND w = Make(title.c_str(), 400, 300);
  ASSERT_TRUE(w);
  const cvplat::TopWindow* row = nullptr;
  const std::vector<cvplat::TopWindow> rows = cvplat::ListTopWindows();
  row = Find(rows, w);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->title, std::wstring(cvplat::kWindowTextMax, L'w'));
}

}  // namespace
