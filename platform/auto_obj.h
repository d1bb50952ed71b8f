// AutoObjBase: the light reference-counted base of every object that is not a component object
// (engine, readers, clocks, buffers). TRefPtr: an owning interface pointer for one thread's use.
#pragma once

#include <atomic>
#include <utility>

#include "platform/com_types.h"

template <class T, class Itf = IUnknown>
class AutoObjBase : public Itf {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown)) {
      *object = static_cast<IUnknown*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }
  // The deleting destructor follows the three operations, as the slot order of the base requires.
  virtual ~AutoObjBase() = default;

 protected:
  AutoObjBase() = default;
  AutoObjBase(const AutoObjBase&) = delete;
  AutoObjBase& operator=(const AutoObjBase&) = delete;

 private:
  std::atomic<ULONG> refs_{0};
};

// Holds one reference. Not for sharing between threads: that is TLockedPtr's job.
template <class T>
class TRefPtr {
 public:
  TRefPtr() = default;
  TRefPtr(T* p) : p_(p) {  // NOLINT: implicit by design, as for the system's smart pointers
    if (p_) p_->AddRef();
  }
  TRefPtr(const TRefPtr& o) : TRefPtr(o.p_) {}
  TRefPtr(TRefPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  ~TRefPtr() { Reset(); }
  TRefPtr& operator=(TRefPtr o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }

  // Takes over a reference that the caller already holds.
  static TRefPtr Adopt(T* p) {
    TRefPtr r;
    r.p_ = p;
    return r;
  }
  // Hands the reference to the caller.
  T* Detach() { return std::exchange(p_, nullptr); }
  // The slot for an out argument through which a call hands over a reference; the old one goes first.
  T** Receive() {
    Reset();
    return &p_;
  }
  void Reset() {
    if (T* p = std::exchange(p_, nullptr)) p->Release();
  }

  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }

 private:
  T* p_ = nullptr;
};

template <class T, class... Args>
TRefPtr<T> MakeRef(Args&&... args) {
  return TRefPtr<T>(new T(std::forward<Args>(args)...));
}
