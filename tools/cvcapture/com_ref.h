// Owning holders for what the module hands out: interface references and counted strings.
#pragma once

#include <string>
#include <utility>

#include "CVDeviceSCR.h"
#include "tools/cvcapture/module_loader.h"
#include "tools/cvcapture/wide_text.h"

template <class T>
class TRef {
 public:
  TRef() = default;
  TRef(const TRef&) = delete;
  TRef& operator=(const TRef&) = delete;
  TRef(TRef&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  TRef& operator=(TRef&& other) noexcept {
    if (this != &other) {
      Reset();
      p_ = std::exchange(other.p_, nullptr);
    }
    return *this;
  }
  ~TRef() { Reset(); }

  void Reset() {
    if (p_) std::exchange(p_, nullptr)->Release();
  }
  T** Out() {
    Reset();
    return &p_;
  }
  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }

  // The interface `iid` of `from`; empty when it has none.
  template <class U>
  static TRef Query(U* from, REFIID iid) {
    TRef ref;
    if (from && FAILED(from->QueryInterface(iid, reinterpret_cast<void**>(ref.Out())))) ref.p_ = nullptr;
    return ref;
  }

 private:
  T* p_ = nullptr;
};

class TModuleString {
 public:
  TModuleString() = default;
  TModuleString(const TModuleString&) = delete;
  TModuleString& operator=(const TModuleString&) = delete;
  ~TModuleString() { FreeModuleString(text_); }

  BSTR* Out() {
    FreeModuleString(text_);
    text_ = nullptr;
    return &text_;
  }
  const wchar_t* Get() const { return text_ ? text_ : L""; }
  std::string Utf8() const { return ToUtf8(text_); }
  bool IsNull() const { return text_ == nullptr; }

 private:
  BSTR text_ = nullptr;
};
