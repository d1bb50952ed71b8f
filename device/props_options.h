// Option lists of the properties: how a description's "values" text splits into rows, and the rows
// that offer the desktop's windows for capture.follow_window_by_handle. Pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/window_list.h"

// A text with "|" splits at "|"; any other at blanks, line ends, tabs, ";" and ",". Runs of separators
// count as one and make no empty rows.
std::vector<std::wstring> SplitOptionValues(std::wstring_view values);

struct TOptionRow {
  std::wstring value;
  std::wstring text;
};

inline constexpr size_t kOptionValueMax = 32;
inline constexpr size_t kOptionTextMax = 512;

// "none" ("None") first, then one row per window: the handle in hexadecimal as the value, and
// "title [process PID = 0x.. HWND = 0x..]" as the text, cut to kOptionValueMax and kOptionTextMax.
std::vector<TOptionRow> WindowOptionRows(const std::vector<cvplat::TopWindow>& windows);

// "0x" and lower-case hexadecimal digits; plain "0" for zero.
std::wstring HexNumberText(uint64_t value);
