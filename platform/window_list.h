// Top-level windows that a host may choose to follow, as rows for the option list of the followed
// window. Listed afresh on each call, on the host's thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cvplat {

inline constexpr size_t kWindowTextMax = 128;  // title and process name are cut to this many characters

struct TopWindow {
  uint64_t handle = 0;        // the system's window handle as a number
  uint32_t processId = 0;
  std::wstring processName;   // file name without its folder; empty when the process can't be read
  std::wstring title;
};

// Only windows big enough to be worth following, and that a person can tell apart by their title.
inline bool FollowableWindow(int64_t width, int64_t height, std::wstring_view title) {
  return width >= 210 && height >= 210 && !title.empty();
}

// The name part of a full file name, after the last "/" or "\", cut to kWindowTextMax.
std::wstring FileNamePart(std::wstring_view path);

// The machine's top-level windows that FollowableWindow accepts, in the system's order. Empty where
// the system has no windows to offer (no display).
std::vector<TopWindow> ListTopWindows();

}  // namespace cvplat
