#include "device/format_impl.h"

#include <new>
#include <string>
#include <utility>

#include "device/format_rules.h"
#include "media/audio_format.h"
#include "media/colour_formats.h"
#include "media/format_table.h"
#include "media/format_text.h"
#include "media/video_format.h"

namespace {

using Guard = CRWSynchroLiteGuard;
using EngineGuard = IDeviceCore::EngineGuard;

constexpr int32_t kKinds = 4;

bool KindInRange(int32_t kind) { return kind >= 0 && kind < kKinds; }

BSTR ToBstr(const std::wstring& text) { return SysAllocStringLen(text.data(), static_cast<UINT>(text.size())); }

// A row that can't be stored is left out: a list a little short is no reason to fail the caller.
template <class Row>
bool AppendRow(std::vector<Row>& list, const Row& row) {
  try {
    list.push_back(row);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

TVideoProps* VideoRecord(int32_t kind, TAvProps& input, TAvProps& output, TVideoProps& adjust) {
  switch (kind) {
    case kFormatKindInput: return &input.video;
    case kFormatKindOutput: return &output.video;
    case kFormatKindAdjust: return &adjust;
    default: return nullptr;
  }
}

TAudioProps* AudioRecord(int32_t kind, TAvProps& input, TAvProps& output) {
  switch (kind) {
    case kFormatKindInput: return &input.audio;
    case kFormatKindOutput: return &output.audio;
    default: return nullptr;
  }
}

}  // namespace

// ---- Lists ----

void ITFormatImpl::BuildVideoList(int32_t kind) {
  EngineGuard device(core_);
  ICaptureEngine* engine = device.Engine();
  std::vector<TVideoProps> list;
  if (kind == kFormatKindInput && engine && engine->VideoFormatList(&list)) {
    Guard lock(formatLock, Guard::Side::Write);
    videoLists[kind] = std::move(list);
    return;
  }
  for (const TVideoProps& row : StockVideoRows()) {
    if (kind != kFormatKindInput || !engine || engine->VideoFormatAccept(row)) AppendRow(list, row);
  }
  Guard lock(formatLock, Guard::Side::Write);
  videoLists[kind] = std::move(list);
}

void ITFormatImpl::BuildAudioList(int32_t kind) {
  EngineGuard device(core_);
  ICaptureEngine* engine = device.Engine();
  std::vector<TAudioProps> list;
  if (kind == kFormatKindInput && engine && engine->AudioFormatList(&list)) {
    Guard lock(formatLock, Guard::Side::Write);
    audioLists[kind] = std::move(list);
    return;
  }
  for (const TAudioProps& row : StockAudioRows()) {
    if (kind != kFormatKindInput || !engine || engine->AudioFormatAccept(row)) AppendRow(list, row);
  }
  Guard lock(formatLock, Guard::Side::Write);
  audioLists[kind] = std::move(list);
}

void ITFormatImpl::EnsureVideoList(int32_t kind) {
  {
    Guard lock(formatLock, Guard::Side::Read);
    if (!videoLists[kind].empty()) return;
  }
  BuildVideoList(kind);
}

void ITFormatImpl::EnsureAudioList(int32_t kind) {
  {
    Guard lock(formatLock, Guard::Side::Read);
    if (!audioLists[kind].empty()) return;
  }
  BuildAudioList(kind);
}

int32_t ITFormatImpl::FindVideoLocked(int32_t kind, const TVideoProps& v, bool add) {
  std::vector<TVideoProps>& list = videoLists[kind];
  for (size_t i = 0; i < list.size(); ++i) {
    if (VideoEqual(list[i], v, 0)) return static_cast<int32_t>(i);
  }
  if (!add || !AppendRow(list, v)) return -1;
  return static_cast<int32_t>(list.size() - 1);
}

int32_t ITFormatImpl::FindAudioLocked(int32_t kind, const TAudioProps& a, bool add) {
  std::vector<TAudioProps>& list = audioLists[kind];
  for (size_t i = 0; i < list.size(); ++i) {
    if (AudioEqual(list[i], a)) return static_cast<int32_t>(i);
  }
  if (!add || !AppendRow(list, a)) return -1;
  return static_cast<int32_t>(list.size() - 1);
}

HRESULT ITFormatImpl::VideoFormatCount(int32_t formatKind, int32_t* count) {
  if (!KindInRange(formatKind)) return E_INVALIDARG;
  BuildVideoList(formatKind);
  if (count) {
    Guard lock(formatLock, Guard::Side::Read);
    *count = static_cast<int32_t>(videoLists[formatKind].size());
  }
  return S_OK;
}

HRESULT ITFormatImpl::AudioFormatCount(int32_t formatKind, int32_t* count) {
  if (!KindInRange(formatKind)) return E_INVALIDARG;
  BuildAudioList(formatKind);
  if (count) {
    Guard lock(formatLock, Guard::Side::Read);
    *count = static_cast<int32_t>(audioLists[formatKind].size());
  }
  return S_OK;
}

HRESULT ITFormatImpl::VideoFormatGetByIndex(int32_t formatKind, int32_t index, TVideoProps* props, BSTR* name) {
  if (!KindInRange(formatKind)) return E_INVALIDARG;
  EnsureVideoList(formatKind);
  TVideoProps row{};
  {
    Guard lock(formatLock, Guard::Side::Read);
    const std::vector<TVideoProps>& list = videoLists[formatKind];
    if (index < 0 || static_cast<size_t>(index) >= list.size()) return S_FALSE;
    row = list[static_cast<size_t>(index)];
  }
  if (props) *props = row;
  if (name) *name = ToBstr(VideoText(row));
  return S_OK;
}

HRESULT ITFormatImpl::AudioFormatGetByIndex(int32_t formatKind, int32_t index, TAudioProps* props, BSTR* name) {
  if (!KindInRange(formatKind)) return E_INVALIDARG;
  EnsureAudioList(formatKind);
  TAudioProps row{};
  {
    Guard lock(formatLock, Guard::Side::Read);
    const std::vector<TAudioProps>& list = audioLists[formatKind];
    if (index < 0 || static_cast<size_t>(index) >= list.size()) return E_INVALIDARG;
    row = list[static_cast<size_t>(index)];
  }
  if (props) *props = row;
  if (name) *name = ToBstr(AudioText(row));
  return S_OK;
}

// ---- Setting ----

bool ITFormatImpl::EngineAcceptsVideo(const TVideoProps& v) {
  EngineGuard device(core_);
  return !device.Engine() || device.Engine()->VideoFormatAccept(v);
}

bool ITFormatImpl::EngineAcceptsAudio(const TAudioProps& a) {
  EngineGuard device(core_);
  return !device.Engine() || device.Engine()->AudioFormatAccept(a);
}

HRESULT ITFormatImpl::VideoFormatSet(int32_t formatKind, const TVideoProps* props) {
  if (formatKind == kFormatKindEffective) return E_INVALIDARG;
  // A: what is compared and listed. B: what is stored.
  TVideoProps a{};
  if (props) {
    a = *props;
    a.rowBytes = 0;
  }
  TVideoProps b = a;
  // Kind 0 is the engine's to judge; what a host may wish to see is limited to the colours frames come in.
  if (props && props->colourFormat != 0 && formatKind != kFormatKindInput &&
      !ColourIsSupported(props->colourFormat)) {
    return CV_E_FORMAT_REFUSED;
  }
  if (props && (formatKind == kFormatKindInput || formatKind == kFormatKindOutput)) {
    if (!VideoIsValid(b)) {
      if (VideoIsRequest(b)) {
        Guard lock(formatLock, Guard::Side::Read);
        a = VideoMerge(&b, &outputFormat.video);
      }
    } else {
      if (formatKind == kFormatKindOutput) {
        Guard lock(formatLock, Guard::Side::Read);
        OutputColourDefault(b, outputFormat.video.colourFormat);
      }
      VideoNormalise(b, false);
      a = b;
    }
  }
  if (props && formatKind == kFormatKindInput && !EngineAcceptsVideo(a)) return CV_E_FORMAT_REFUSED;

  TVideoProps saved{};
  {
    Guard lock(formatLock, Guard::Side::Write);
    TVideoProps* record = VideoRecord(formatKind, inputFormat, outputFormat, adjustFormat);
    if (!record) return E_INVALIDARG;
    saved = *record;
    if (VideoIsValid(a)) a = VideoMerge(&a, record);
    if (formatKind != kFormatKindAdjust && VideoEqual(a, *record, 0) && a.videoFormat != eTVF_Custom &&
        a.videoFormat != kVideoFormatDisabled) {
      record->aspectMode = a.aspectMode;
      return S_FALSE;
    }
    *record = b;
  }

  if (formatKind == kFormatKindInput) {
    EngineGuard device(core_);
    if (!EngineAcceptsVideo(a) || !FormatApply()) {
      Guard lock(formatLock, Guard::Side::Write);
      inputFormat.video = saved;
      return CV_E_FORMAT_REFUSED;
    }
  }
  EnsureVideoList(formatKind);
  Guard lock(formatLock, Guard::Side::Write);
  FindVideoLocked(formatKind, a, props != nullptr);
  return S_OK;
}

HRESULT ITFormatImpl::AudioFormatSet(int32_t formatKind, const TAudioProps* props) {
  if (formatKind == kFormatKindEffective) return E_INVALIDARG;
  TAudioProps a = props ? *props : TAudioProps{};
  if (props && formatKind == kFormatKindInput && !EngineAcceptsAudio(a)) return CV_E_FORMAT_REFUSED;

  TAudioProps saved{};
  {
    Guard lock(formatLock, Guard::Side::Write);
    TAudioProps* record = AudioRecord(formatKind, inputFormat, outputFormat);
    if (!record) return E_INVALIDARG;
    saved = *record;
    if (a.channels >= 0 && (a.channels > 0 || a.sampleRate > 0 || a.bitsPerSample != 0)) {
      a = AudioMerge(&a, record);
    }
    if (AudioEqual(a, *record) && a.channels >= 0) return S_FALSE;
    *record = a;
  }

  if (formatKind == kFormatKindInput) {
    EngineGuard device(core_);
    if (!EngineAcceptsAudio(a) || !FormatApply()) {
      Guard lock(formatLock, Guard::Side::Write);
      inputFormat.audio = saved;
      return CV_E_FORMAT_REFUSED;
    }
  }
  EnsureAudioList(formatKind);
  Guard lock(formatLock, Guard::Side::Write);
  FindAudioLocked(formatKind, a, props != nullptr);
  return S_OK;
}

bool ITFormatImpl::FormatApply() {
  EngineGuard device(core_);
  ICaptureEngine* engine = device.Engine();
  if (!engine) return true;
  const TAvProps wanted = InputFormat();
  TAvProps running{};
  engine->FormatCopy(&running);
  if (!VideoIsValid(wanted.video) && !AudioIsValid(wanted.audio)) return true;
  if (AvCompare(wanted, running, 0) >= 0) return true;
  // A closed engine takes the new format at its next open; only an open or running one is restarted.
  if (engine->State() < eEngineOpen) return true;
  core_.DeviceCloseNow();
  return SUCCEEDED(core_.DeviceOpenDefault());
}

// ---- Reading ----

HRESULT ITFormatImpl::VideoFormatGet(int32_t formatKind, TVideoProps* props, int32_t* index, BSTR* name) {
  if (!KindInRange(formatKind)) return E_INVALIDARG;
  const bool listed = index && formatKind != kFormatKindAdjust;
  if (listed) EnsureVideoList(formatKind);
  Guard lock(formatLock, Guard::Side::Write);
  TVideoProps record{};
  if (formatKind == kFormatKindEffective) {
    TAvProps effective{};
    FormatUpdate(nullptr, &effective);
    record = effective.video;
  } else {
    record = *VideoRecord(formatKind, inputFormat, outputFormat, adjustFormat);
  }
  if (props) *props = record;
  if (listed) *index = FindVideoLocked(formatKind, record, false);
  if (name) *name = ToBstr(VideoText(record));
  return VideoIsValid(record) ? S_OK : S_FALSE;
}

HRESULT ITFormatImpl::AudioFormatGet(int32_t formatKind, TAudioProps* props, int32_t* index, BSTR* name) {
  if (!KindInRange(formatKind) || formatKind == kFormatKindAdjust) return E_INVALIDARG;
  if (index) EnsureAudioList(formatKind);
  Guard lock(formatLock, Guard::Side::Write);
  TAudioProps record{};
  if (formatKind == kFormatKindEffective) {
    TAvProps effective{};
    FormatUpdate(nullptr, &effective);
    record = effective.audio;
  } else {
    record = *AudioRecord(formatKind, inputFormat, outputFormat);
  }
  if (props) *props = record;
  if (index) *index = FindAudioLocked(formatKind, record, false);
  if (name) *name = ToBstr(AudioText(record));
  return AudioIsValid(record) || record.channels < 0 ? S_OK : S_FALSE;
}

void ITFormatImpl::FormatUpdate(const TAvProps* in, TAvProps* out) {
  if (in) {
    Guard lock(formatLock, Guard::Side::Write);
    if (VideoIsValid(in->video)) inputFormat.video = in->video;
    if (AudioIsValid(in->audio)) inputFormat.audio = in->audio;
  }
  if (!out) return;
  Guard lock(formatLock, Guard::Side::Read);
  *out = EffectiveFormat(in ? *in : inputFormat, outputFormat, adjustFormat);
}

TAvProps ITFormatImpl::InputFormat() {
  Guard lock(formatLock, Guard::Side::Read);
  return inputFormat;
}

bool ITFormatImpl::InputVideoValid() {
  Guard lock(formatLock, Guard::Side::Read);
  return VideoIsValid(inputFormat.video);
}
