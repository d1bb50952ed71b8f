// ITFormatImpl: the device's format store behind ICVFormat. It holds what the host asked for and what
// the device has seen, offers lists to choose from, and restarts a running capture when the format to
// capture in changes; the record of kind 0 is the one the device hands to its engine at open.
// IUnknown comes from the object class.
//
// Lock order: deviceLock (through the core), then formatLock, then the engine's lock. A list is built
// under deviceLock before formatLock is taken, and formatLock is let go before the engine is asked to
// accept a format or the capture is restarted.
#pragma once

#include <vector>

#include "CVDeviceSCR.h"
#include "device/device_core.h"
#include "media/rw_lock.h"

class ITFormatImpl : public ICVFormat {
 public:
  explicit ITFormatImpl(IDeviceCore& core) : core_(core) {}
  virtual ~ITFormatImpl() = default;

  HRESULT STDMETHODCALLTYPE VideoFormatCount(int32_t formatKind, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE VideoFormatGetByIndex(int32_t formatKind, int32_t index, TVideoProps* props,
                                                  BSTR* name) override;
  HRESULT STDMETHODCALLTYPE VideoFormatSet(int32_t formatKind, const TVideoProps* props) override;
  HRESULT STDMETHODCALLTYPE VideoFormatGet(int32_t formatKind, TVideoProps* props, int32_t* index,
                                           BSTR* name) override;
  HRESULT STDMETHODCALLTYPE AudioFormatCount(int32_t formatKind, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE AudioFormatGetByIndex(int32_t formatKind, int32_t index, TAudioProps* props,
                                                  BSTR* name) override;
  HRESULT STDMETHODCALLTYPE AudioFormatSet(int32_t formatKind, const TAudioProps* props) override;
  HRESULT STDMETHODCALLTYPE AudioFormatGet(int32_t formatKind, TAudioProps* props, int32_t* index,
                                           BSTR* name) override;

  // ---- For the device ----
  // A copy of the record of kind 0, the format the engine is started with.
  TAvProps InputFormat();
  // Whether the video part of kind 0 is a valid format; while it isn't, the device reports what arrives.
  bool InputVideoValid();
  // The format of a frame that arrived while kind 0 held no valid video: its valid parts become kind 0.
  void InputFormatSeen(const TAvProps& seen) { FormatUpdate(&seen, nullptr); }
  // The valid parts of `in` (may be null) become kind 0; `out` (may be null) gets the effective format
  // of `in`, or of kind 0 without it. Never takes deviceLock, so the capture thread may call it.
  void FormatUpdate(const TAvProps* in, TAvProps* out);

 private:
  // Rebuild the list of a kind (0 to 3) under deviceLock; the engine may supply the list of kind 0.
  void BuildVideoList(int32_t kind);
  void BuildAudioList(int32_t kind);
  void EnsureVideoList(int32_t kind);
  void EnsureAudioList(int32_t kind);
  // The first row equal to `v`, or -1; with `add` a missing record is appended. formatLock held as writer.
  int32_t FindVideoLocked(int32_t kind, const TVideoProps& v, bool add);
  int32_t FindAudioLocked(int32_t kind, const TAudioProps& a, bool add);
  // Makes a running capture follow kind 0; false when the reopen failed.
  bool FormatApply();
  // The engine's say on a kind 0 record, under deviceLock; true without an engine.
  bool EngineAcceptsVideo(const TVideoProps& v);
  bool EngineAcceptsAudio(const TAudioProps& a);

  IDeviceCore& core_;
  CRWSynchroLiteRW formatLock;
  std::vector<TVideoProps> videoLists[4];
  std::vector<TAudioProps> audioLists[4];
  TAvProps inputFormat{};
  TAvProps outputFormat{};
  TVideoProps adjustFormat{};
};
