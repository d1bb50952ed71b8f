// XMLTextStream: where the writers put their text, one UTF-16 unit after the other, in memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace XMLParse {

class XMLTextStream {
 public:
  void Put(wchar_t c) { text_.push_back(c); }
  void Put(std::wstring_view s) { text_.append(s); }
  // At most 64 tabs, however deep the element.
  void PutTabs(int32_t count) {
    if (count > 64) count = 64;
    if (count > 0) text_.append(static_cast<size_t>(count), L'\t');
  }
  // "<", ">" and "&" as entities; quotes stay.
  void PutEscaped(std::wstring_view s);
  // The text written, without the NUL that a terminated write ends with.
  std::wstring Take();
  const std::wstring& Text() const { return text_; }

 private:
  std::wstring text_;
};

}  // namespace XMLParse
