#include "device/props_options.h"

#include "props/value_codecs.h"

std::vector<std::wstring> SplitOptionValues(std::wstring_view values) {
  std::vector<std::wstring> rows;
  if (values.empty()) return rows;
  if (values.find(L'|') != std::wstring_view::npos) {
    SplitBy(values, rows, L'|');
  } else {
    SplitNames(values, rows);
  }
  return rows;
}

std::wstring HexNumberText(uint64_t value) {
  if (value == 0) return L"0";
  wchar_t digits[16];
  size_t n = 0;
  for (; value; value >>= 4) digits[n++] = L"0123456789abcdef"[value & 0xF];
  std::wstring text = L"0x";
  while (n) text += digits[--n];
  return text;
}

std::vector<TOptionRow> WindowOptionRows(const std::vector<cvplat::TopWindow>& windows) {
  std::vector<TOptionRow> rows;
  rows.reserve(windows.size() + 1);
  rows.push_back({L"none", L"None"});
  for (const cvplat::TopWindow& window : windows) {
    // A handle is written whole, so that one beyond 32 bits still names its window when read back.
    const std::wstring handle = HexNumberText(window.handle);
    std::wstring text = window.title + L" [" + window.processName + L" PID = " + HexNumberText(window.processId) +
                        L" HWND = " + handle + L"]";
    if (text.size() > kOptionTextMax) text.resize(kOptionTextMax);
    rows.push_back({handle.substr(0, kOptionValueMax), std::move(text)});
  }
  return rows;
}
