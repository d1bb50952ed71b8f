// TLockedPtr: an interface pointer that several threads read and replace. Readers take the slim lock
// shared just long enough to add a reference; a writer swaps under the exclusive lock and releases the
// old value after leaving it, so a destructor that runs on release never runs under the lock.
#pragma once

#include <mutex>
#include <shared_mutex>

#include "media/auto_obj.h"

template <class T>
class TLockedPtr {
 public:
  TLockedPtr() = default;
  explicit TLockedPtr(T* p) : p_(p) {
    if (p_) p_->AddRef();
  }
  ~TLockedPtr() {
    if (p_) p_->Release();
  }
  TLockedPtr(const TLockedPtr&) = delete;
  TLockedPtr& operator=(const TLockedPtr&) = delete;

  TRefPtr<T> Get() const {
    std::shared_lock lock(lock_);
    return TRefPtr<T>(p_);
  }

  void Set(T* p) { Exchange(p).Reset(); }

  // Puts p in and gives the previous value back with its reference.
  TRefPtr<T> Exchange(T* p) {
    if (p) p->AddRef();
    T* old;
    {
      std::unique_lock lock(lock_);
      old = p_;
      p_ = p;
    }
    return TRefPtr<T>::Adopt(old);
  }

  bool Empty() const {
    std::shared_lock lock(lock_);
    return p_ == nullptr;
  }

 private:
  mutable std::shared_mutex lock_;
  T* p_ = nullptr;
};
