// Wide strings of the interfaces to and from UTF-8, the tool's own text on every platform. wchar_t is
// UTF-16 on Windows and UTF-32 on Linux; both are handled.
#pragma once

#include <string>

std::string ToUtf8(const std::wstring& text);
std::string ToUtf8(const wchar_t* text);  // null reads as empty
std::wstring FromUtf8(const std::string& text);
