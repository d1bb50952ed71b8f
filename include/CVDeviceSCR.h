// The public interface of the screen-capture component: what a host includes, and nothing else.
// Interfaces are reference counted; an interface pointer handed out through an out argument holds one
// reference for the caller. Every operation returns a status (S_OK, S_FALSE, or a failure).
#pragma once

#include <cstdint>

#include "media/av_props.h"
#include "platform/com_types.h"

// ---------------------------------------------------------------------------------------------------
// Frames and their factory.
// ---------------------------------------------------------------------------------------------------

inline constexpr IID IID_ICVFrame = {0xe41bd341, 0x70e7, 0x4c04, {0x87, 0x66, 0x5c, 0xfa, 0xe7, 0xbd, 0xb4, 0xa3}};
inline constexpr IID IID_ICVFrame_I = {0xda05f679, 0x778d, 0x42dc, {0x99, 0xbf, 0x29, 0x0f, 0xd3, 0xe1, 0xe4, 0x41}};
inline constexpr IID IID_ICVNamedValues = {
    0xcabb154b, 0x5913, 0x427c, {0xb0, 0x85, 0x94, 0xf1, 0xcc, 0x80, 0xac, 0xcf}};
inline constexpr IID IID_ICVFactory = {0x91dcdca1, 0xa3ed, 0x49e3, {0xbd, 0x76, 0x5e, 0x71, 0x26, 0xe7, 0x9d, 0xf7}};

// Mode words of FrameClone and FrameDuplicate.
inline constexpr uint32_t kFrameCloneOwned = 0x312;     // a frame that the caller owns alone
inline constexpr uint32_t kFrameDuplicateRepeat = 2;    // the same content again, e.g. a repeated frame
inline constexpr uint32_t kFrameDuplicateWork = 0x311;  // the same content, to be worked on

// Mode of AudioChannelGet: the samples will be written; AudioCommit ends the write.
inline constexpr int32_t kAudioChannelRead = 0;
inline constexpr int32_t kAudioChannelWrite = 1;

// Where Overlay puts its source, in pixels of the target frame.
struct TOverlayRect {
  double x;
  double y;
  double width;
  double height;
};

// Where TextDraw places its line: fractions of the picture when `relative` is 1.
struct TTextPlacement {
  double x;
  double y;
  double width;
  double height;
  int32_t relative;
};

// The host's view of a frame. Pictures of the RGB colours with a positive height lie bottom-up in
// memory, with a negative height top-down; all other colours lie top-down.
struct ICVFrame : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE FormatGet(TAvProps* props) = 0;
  virtual HRESULT STDMETHODCALLTYPE TimeGet(TFrameTime* time) = 0;
  // The picture: its size in bytes and its first byte (null and 0 without a picture; then S_FALSE).
  virtual HRESULT STDMETHODCALLTYPE BytesGet(int64_t* size, uint8_t** bytes) = 0;
  // A number carried with the frame, such as "AFPT" or "WAIT"; 0x80070490 when the frame has none.
  virtual HRESULT STDMETHODCALLTYPE LabelGet(const wchar_t* name, int64_t* value) = 0;

 protected:
  ~ICVFrame() = default;
};

// The frame as the component works on it.
struct ICVFrame_I : IUnknown {
  // `audioBytes` (may be null) gets the bytes of each audio channel.
  virtual HRESULT STDMETHODCALLTYPE FormatGet(TAvProps* props, int32_t* audioBytes) = 0;
  // Replaces the format. The picture buffer is kept while it is large enough, so pixels written after
  // FrameAlloc survive; the audio samples go when the sound format changes.
  virtual HRESULT STDMETHODCALLTYPE FormatSet(const TAvProps* props, const wchar_t* hints) = 0;
  virtual HRESULT STDMETHODCALLTYPE TimeGet(TFrameTime* time) = 0;
  virtual HRESULT STDMETHODCALLTYPE TimeSet(const TFrameTime* time) = 0;
  // The samples of one channel (planar), writable with kAudioChannelWrite until AudioCommit.
  virtual HRESULT STDMETHODCALLTYPE AudioChannelGet(int32_t channel, int32_t mode, int32_t* bytes,
                                                    uint8_t** samples) = 0;
  virtual HRESULT STDMETHODCALLTYPE AudioCommit() = 0;
  // Gives the frame `bytes` of silence per channel in the format `props`; a null or all-zero record with
  // 0 bytes removes the audio.
  virtual HRESULT STDMETHODCALLTYPE AudioSet(const TAudioProps* props, int32_t bytes, int32_t reserved1,
                                             int32_t reserved2) = 0;
  // The picture, writable; `plane` is 0 (planar colours keep their chroma below the luma lines).
  virtual HRESULT STDMETHODCALLTYPE PixelsGet(int32_t plane, uint8_t** pixels) = 0;
  virtual HRESULT STDMETHODCALLTYPE FrameDuplicate(ICVFrame_I** frame, uint32_t mode, int32_t reserved) = 0;
  virtual HRESULT STDMETHODCALLTYPE MarkupFill(int32_t reserved1, int32_t reserved2, int32_t x, int32_t y,
                                               double opacity, const wchar_t* markup, int32_t reserved3) = 0;
  // The frame in another colour format and size; the time, labels and named values go over to the new
  // frame. `options` is the scale option text in the attribute form ("scale-type='letter-box'"), null or
  // empty for the defaults; `hints` names the kind of picture ("screen-cap").
  virtual HRESULT STDMETHODCALLTYPE FrameConvert(uint32_t colourFormat, int32_t width, int32_t height,
                                                 int32_t reserved, ICVFrame_I** frame, const wchar_t* options,
                                                 const wchar_t* hints) = 0;
  virtual HRESULT STDMETHODCALLTYPE LabelSet(const wchar_t* name, int32_t reserved, int64_t value) = 0;
  virtual HRESULT STDMETHODCALLTYPE TextDraw(const wchar_t* text, double size, const TTextPlacement* placement,
                                             int32_t alignment, const wchar_t* style) = 0;
  virtual HRESULT STDMETHODCALLTYPE Overlay(ICVFrame_I* source, int32_t reserved1, const TOverlayRect* rect,
                                            int32_t flags, double opacity, int32_t reserved2,
                                            int32_t reserved3) = 0;

 protected:
  ~ICVFrame_I() = default;
};

// Integers by name that travel with a frame apart from its labels: "dup" is 1 on a repeated frame.
struct ICVNamedValues : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE ValueSet(const wchar_t* name, int64_t value) = 0;
  // 0x80070490 when there is no value of that name.
  virtual HRESULT STDMETHODCALLTYPE ValueGet(const wchar_t* name, int64_t* value) = 0;
  // S_FALSE when there was none.
  virtual HRESULT STDMETHODCALLTYPE ValueRemove(const wchar_t* name) = 0;

 protected:
  ~ICVNamedValues() = default;
};

// Makes frames. One per process, made on first use and kept until the process ends.
struct ICVFactory : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE FrameClone(ICVFrame_I* source, ICVFrame_I** frame, uint32_t mode,
                                               int32_t reserved) = 0;
  // A frame of the format `props` with a copy of the picture at `pixels` (0: a black picture), whose
  // lines are `props->rowBytes` apart when that is above the least a line needs.
  virtual HRESULT STDMETHODCALLTYPE FrameCreate(const TVideoProps* props, uint64_t pixels, int32_t reserved1,
                                                int32_t reserved2, int32_t reserved3, ICVFrame_I** frame,
                                                const wchar_t* hints) = 0;
  // A frame with the 32-bit picture of a bitmap of the platform's graphics interface.
  virtual HRESULT STDMETHODCALLTYPE FrameFromBitmap(uint64_t bitmap, ICVFrame_I** frame, int32_t reserved) = 0;
  // A frame without a format whose picture buffer holds `bytes` bytes, all zero.
  virtual HRESULT STDMETHODCALLTYPE FrameAlloc(int64_t bytes, ICVFrame_I** frame) = 0;
  virtual HRESULT STDMETHODCALLTYPE FrameDuplicate(ICVFrame_I* source, ICVFrame_I** frame, uint32_t mode) = 0;

 protected:
  ~ICVFactory() = default;
};

// ---------------------------------------------------------------------------------------------------
// The capture device: one component object answering ICVProps, ICVSource_I, ICVDevice and ICVFormat.
// ---------------------------------------------------------------------------------------------------

inline constexpr CLSID CLSID_CoCVCaptureSCR = {
    0x5b0e9d7a, 0x3c41, 0x4f86, {0x9a, 0x2e, 0x71, 0xd4, 0x0b, 0x6c, 0x58, 0xe3}};
inline constexpr IID IID_ICVDevice = {0x2f6a41c8, 0x8e0b, 0x4d73, {0xb5, 0x19, 0xc4, 0x67, 0x3a, 0x0e, 0x92, 0x1d}};
inline constexpr IID IID_ICVProps = {0x7d3e5b90, 0x14a6, 0x4c2f, {0x8b, 0x61, 0x0a, 0xe9, 0x55, 0x3c, 0x7f, 0x84}};
inline constexpr IID IID_ICVFormat = {0xa4c81f27, 0x6d35, 0x4e9a, {0x92, 0x0b, 0x5f, 0x13, 0xe8, 0x6a, 0xc4, 0x70}};
inline constexpr IID IID_ICVExternal = {0x3e97d2b4, 0xc05a, 0x4b18, {0xa7, 0x4d, 0x26, 0x8f, 0x91, 0xb3, 0x0e, 0x5c}};

// What the device kind argument of ICVDevice selects.
inline constexpr int32_t kDeviceKindVideo = 0;       // the table of capture devices
inline constexpr int32_t kDeviceKindAudio = 1;       // "<From Video>" (sound on) and "<No Audio>" (off)
inline constexpr int32_t kDeviceKindSelection = 18;  // DeviceCurrent only: the whole selection as XML text

// Choosing and running the capture device. Texts in and out are XML of the device's dialect; an out
// string belongs to the caller, who frees it with SysFreeString.
struct ICVDevice : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE DeviceCount(int32_t deviceKind, int32_t* count) = 0;
  // busy: -1 for the selected row, else non-zero while another host uses the device.
  virtual HRESULT STDMETHODCALLTYPE DeviceDescribe(int32_t deviceKind, int32_t index, BSTR* name,
                                                   int32_t* busy) = 0;
  // Merges `props` into the properties whatever else happens; S_FALSE for the row already selected.
  virtual HRESULT STDMETHODCALLTYPE DeviceSelect(int32_t deviceKind, int32_t index, LPCOLESTR props) = 0;
  // *index -1 with no selected device.
  virtual HRESULT STDMETHODCALLTYPE DeviceCurrent(int32_t deviceKind, int32_t* index, BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE DeviceReserved1(int32_t first, int32_t second, void* third, void* fourth) = 0;
  // config: a "config" element whose attribute "video" names a device and "audio_enabled" keeps sound.
  virtual HRESULT STDMETHODCALLTYPE DeviceOpen(LPCOLESTR config, LPCOLESTR props) = 0;
  // Stops the capture; readers stay, and the next read starts it again.
  virtual HRESULT STDMETHODCALLTYPE DeviceClose() = 0;
  virtual HRESULT STDMETHODCALLTYPE DeviceReserved2(void* first, void* second) = 0;

 protected:
  ~ICVDevice() = default;
};

// The device's settings, every value as text. Names are paths such as "capture.fps_limit" or
// "node::child[1]::attribute". S_FALSE from PropsSet: the value was already there.
struct ICVProps : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE PropsSet(LPCOLESTR name, LPCOLESTR value) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsGet(LPCOLESTR name, BSTR* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsCount(LPCOLESTR path, int32_t* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsGetByIndex(LPCOLESTR path, int32_t index, BSTR* name, BSTR* value,
                                                    int32_t* isNode) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsRemove(LPCOLESTR name) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsInfo(LPCOLESTR name, int32_t field, BSTR* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsOptionsCount(LPCOLESTR name, int32_t* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsOptionsGetByIndex(LPCOLESTR name, int32_t index, BSTR* option,
                                                           BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE PropsOptionsSet(LPCOLESTR name, int32_t index) = 0;
  // `reserved` is neither read nor written.
  virtual HRESULT STDMETHODCALLTYPE PropsOptionsGet(LPCOLESTR name, int32_t* index, BSTR* reserved,
                                                    BSTR* text) = 0;

 protected:
  ~ICVProps() = default;
};

// What the format kind argument of ICVFormat selects.
inline constexpr int32_t kFormatKindInput = 0;      // what the device captures in
inline constexpr int32_t kFormatKindOutput = 1;     // what the host wishes to see
inline constexpr int32_t kFormatKindAdjust = 2;     // adjustments asked for (video only)
inline constexpr int32_t kFormatKindEffective = 3;  // computed on each read; cannot be set

// Formats to choose from and the formats chosen. Every out argument may be null.
struct ICVFormat : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE VideoFormatCount(int32_t formatKind, int32_t* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE VideoFormatGetByIndex(int32_t formatKind, int32_t index, TVideoProps* props,
                                                          BSTR* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE VideoFormatSet(int32_t formatKind, const TVideoProps* props) = 0;
  virtual HRESULT STDMETHODCALLTYPE VideoFormatGet(int32_t formatKind, TVideoProps* props, int32_t* index,
                                                   BSTR* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE AudioFormatCount(int32_t formatKind, int32_t* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE AudioFormatGetByIndex(int32_t formatKind, int32_t index, TAudioProps* props,
                                                          BSTR* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE AudioFormatSet(int32_t formatKind, const TAudioProps* props) = 0;
  virtual HRESULT STDMETHODCALLTYPE AudioFormatGet(int32_t formatKind, TAudioProps* props, int32_t* index,
                                                   BSTR* name) = 0;

 protected:
  ~ICVFormat() = default;
};

// Ties a source to client processes: the event is set while none of the attached processes lives.
// Reached through ICVSource_I's SourceProcessAttach, SourceProcessDetach and SourceProcessCheck.
struct ICVExternal : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE ProcessIdGet(uint32_t* processId) = 0;
  // S_FALSE when the id was attached already.
  virtual HRESULT STDMETHODCALLTYPE ProcessAttach(uint32_t processId) = 0;
  virtual HRESULT STDMETHODCALLTYPE ProcessDetach(uint32_t processId) = 0;
  // S_FALSE when no attached process is left; *allGoneEvent: the event's handle widened to 64 bits.
  virtual HRESULT STDMETHODCALLTYPE ProcessCheck(int64_t* allGoneEvent) = 0;

 protected:
  ~ICVExternal() = default;
};

inline constexpr IID IID_ICVSource_I = {0x81c97d56, 0xb18c, 0x4642, {0x96, 0xd5, 0x3d, 0x73, 0x37, 0x74, 0x6f, 0xd1}};
inline constexpr IID IID_ITSource = {0x8294f79d, 0x3b8a, 0x4d5e, {0xa1, 0x55, 0x03, 0xb8, 0xce, 0xa1, 0x0d, 0xbb}};
inline constexpr IID IID_ITSource_I = {0xdf8f77c6, 0xf7ff, 0x4ced, {0xaa, 0xb9, 0xd6, 0x65, 0xcf, 0x79, 0xdf, 0xcb}};

// Reading frames. Each reader has an id (signed 64-bit); a null id stands for the reader shared by all
// callers without one, and an id of 0 asks for a new reader whose id comes back. Timeouts are in 100 ns:
// 0 polls, a negative one waits up to a second. The hints are free text: "remove_reader" (the whole
// text) closes the reader; "flush_reader" takes the newest frame and empties the queue; "sync_reader" and
// "buffers=N" shape a reader made by the call. A returned frame is the caller's own copy, labelled with
// "AFPT" (age of the newest delivery) and "WAIT" (how long the call waited).
struct ICVSource_I : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SourceFrameGet_I(ICVFrame_I** frame, int64_t timeout, LPCOLESTR hints) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceFrameGetEx_I(int64_t* readerId, ICVFrame_I** frame, int64_t timeout,
                                                       LPCOLESTR hints) = 0;
  // Makes a reader when *readerId is 0 and starts the capture.
  virtual HRESULT STDMETHODCALLTYPE SourceReaderOpen(int64_t* readerId) = 0;
  // S_FALSE while other readers are left; the last reader's close closes the capture.
  virtual HRESULT STDMETHODCALLTYPE SourceReaderClose(int64_t readerId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceProcessAttach(uint32_t processId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceProcessDetach(uint32_t processId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceProcessCheck(int64_t* allGoneEvent) = 0;
  // The format of the frame delivered last; 0x800710D2 when none came since the last open.
  virtual HRESULT STDMETHODCALLTYPE SourceLastFormatGet(TAvProps* props) = 0;

 protected:
  ~ICVSource_I() = default;
};

// The same reads with a flags word instead of hints: 0x01 synchronous, 0x20 flush, bits 8 to 15 the
// buffer count of a new reader.
struct ITSource : IUnknown {
  // The shared reader; any failure comes back as S_FALSE.
  virtual HRESULT STDMETHODCALLTYPE SourceFrameGet(int64_t timeout, ICVFrame** frame, uint32_t flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceFrameGetEx(int64_t* readerId, int64_t timeout, ICVFrame** frame,
                                                     uint32_t flags) = 0;

 protected:
  ~ITSource() = default;
};

struct ITSource_I : ITSource {
  virtual HRESULT STDMETHODCALLTYPE SourceReaderOpen(int64_t* readerId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceReaderClose(int64_t readerId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceProcessAttach(uint32_t processId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceProcessDetach(uint32_t processId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SourceProcessCheck(int64_t* allGoneEvent) = 0;

 protected:
  ~ITSource_I() = default;
};
