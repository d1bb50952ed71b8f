#include <windows.h>

#include "platform/window_list.h"

namespace cvplat {

namespace {

// The executable's name without its folder; empty when the process can't be opened or read.
std::wstring ProcessFileName(DWORD processId) {
  HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId);
  if (!process) process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId);
  if (!process) return {};
  wchar_t path[MAX_PATH + 1] = {};
  DWORD size = MAX_PATH;
  std::wstring name;
  if (QueryFullProcessImageNameW(process, 0, path, &size)) name = FileNamePart(std::wstring_view(path, size));
  CloseHandle(process);
  return name;
}

BOOL CALLBACK AddWindow(HWND window, LPARAM context) {
  auto* rows = reinterpret_cast<std::vector<TopWindow>*>(context);
  RECT rect{};
  if (!GetWindowRect(window, &rect)) return TRUE;
  wchar_t title[kWindowTextMax + 1] = {};
  const int length = GetWindowTextW(window, title, static_cast<int>(kWindowTextMax + 1));
  const std::wstring_view titleText(title, length > 0 ? static_cast<size_t>(length) : 0);
  if (!FollowableWindow(int64_t{rect.right} - rect.left, int64_t{rect.bottom} - rect.top, titleText)) return TRUE;
  TopWindow row;
  // Handles are written as numbers; the value of the pointer is all that is kept.
  row.handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(window));
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  row.processId = processId;
  row.processName = ProcessFileName(processId);
  row.title = std::wstring(titleText);
  rows->push_back(std::move(row));
  return TRUE;
}

}  // namespace

std::vector<TopWindow> ListTopWindows() {
  std::vector<TopWindow> rows;
  EnumWindows(AddWindow, reinterpret_cast<LPARAM>(&rows));
  return rows;
}

}  // namespace cvplat
