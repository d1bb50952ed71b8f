// ITSourceImpl: the reading faces of the device object (ICVSource_I, and the inner ITSource_I) over one
// TFrameSource, and the inner ICVExternal that ties the source to client processes. The object class T
// supplies IUnknown and hands in the host that the source calls back.
#pragma once

#include "CVDeviceSCR.h"
#include "device/external_impl.h"
#include "device/frame_source.h"
#include "platform/device_platform.h"

template <class T>
class ITSourceImpl : public ICVSource_I, public ITSource_I, public ICVExternalImpl {
 public:
  // `platform` outlives the source: the device holds it for its whole life. Its process seam is needed.
  ITSourceImpl(ISourceHost* host, const cvplat::DevicePlatform& platform)
      : ICVExternalImpl(platform.processes), source_(host) {}
  virtual ~ITSourceImpl() = default;

  // ---- ICVSource_I ----
  HRESULT STDMETHODCALLTYPE SourceFrameGet_I(ICVFrame_I** frame, int64_t timeout, LPCOLESTR hints) override {
    return source_.SourceFrameGet_I(frame, timeout, hints);
  }
  HRESULT STDMETHODCALLTYPE SourceFrameGetEx_I(int64_t* readerId, ICVFrame_I** frame, int64_t timeout,
                                               LPCOLESTR hints) override {
    return source_.SourceFrameGetEx_I(readerId, frame, timeout, hints);
  }
  // One body serves the slot of both faces.
  HRESULT STDMETHODCALLTYPE SourceReaderOpen(int64_t* readerId) override { return source_.SourceReaderOpen(readerId); }
  HRESULT STDMETHODCALLTYPE SourceReaderClose(int64_t readerId) override {
    return source_.SourceReaderClose(readerId);
  }
  HRESULT STDMETHODCALLTYPE SourceProcessAttach(uint32_t processId) override { return ProcessAttach(processId); }
  HRESULT STDMETHODCALLTYPE SourceProcessDetach(uint32_t processId) override { return ProcessDetach(processId); }
  HRESULT STDMETHODCALLTYPE SourceProcessCheck(int64_t* event) override { return ProcessCheck(event); }
  HRESULT STDMETHODCALLTYPE SourceLastFormatGet(TAvProps* props) override {
    return source_.SourceLastFormatGet(props);
  }

  // ---- ITSource ----
  HRESULT STDMETHODCALLTYPE SourceFrameGet(int64_t timeout, ICVFrame** frame, uint32_t flags) override {
    return source_.SourceFrameGet(timeout, frame, flags);
  }
  HRESULT STDMETHODCALLTYPE SourceFrameGetEx(int64_t* readerId, int64_t timeout, ICVFrame** frame,
                                             uint32_t flags) override {
    return source_.SourceFrameGetEx(readerId, timeout, frame, flags);
  }

  // ---- For the device: the frame callback's delivery ----
  HRESULT Source_PutFrame(ICVFrame_I* frame, int32_t defaultPutWait, int64_t maxWait, int32_t* readerCount,
                          int32_t* waitCount) {
    return source_.Source_PutFrame(frame, defaultPutWait, maxWait, readerCount, waitCount);
  }
  ITSource_I* InnerSource() { return this; }
  ICVExternal* InnerExternal() { return this; }

 protected:
  TFrameSource& Source() { return source_; }

 private:
  TFrameSource source_;
};
