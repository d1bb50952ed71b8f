#include "device/format_impl.h"

namespace {
using Guard = CRWSynchroLiteGuard;
}  // namespace

HRESULT ITFormatImpl::VideoFormatCount(int32_t, int32_t*) { return E_NOTIMPL; }
HRESULT ITFormatImpl::VideoFormatGetByIndex(int32_t, int32_t, TVideoProps*, BSTR*) { return E_NOTIMPL; }
HRESULT ITFormatImpl::VideoFormatSet(int32_t, const TVideoProps*) { return E_NOTIMPL; }
HRESULT ITFormatImpl::AudioFormatCount(int32_t, int32_t*) { return E_NOTIMPL; }
HRESULT ITFormatImpl::AudioFormatGetByIndex(int32_t, int32_t, TAudioProps*, BSTR*) { return E_NOTIMPL; }
HRESULT ITFormatImpl::AudioFormatSet(int32_t, const TAudioProps*) { return E_NOTIMPL; }

HRESULT ITFormatImpl::VideoFormatGet(int32_t formatKind, TVideoProps* props, int32_t* index, BSTR*) {
  if (formatKind != kFormatKindInput) return E_NOTIMPL;
  Guard lock(formatLock, Guard::Side::Read);
  if (props) *props = inputFormat.video;
  if (index) *index = -1;
  return S_OK;
}

HRESULT ITFormatImpl::AudioFormatGet(int32_t formatKind, TAudioProps* props, int32_t* index, BSTR*) {
  if (formatKind != kFormatKindInput) return E_NOTIMPL;
  Guard lock(formatLock, Guard::Side::Read);
  if (props) *props = inputFormat.audio;
  if (index) *index = -1;
  return S_OK;
}

TAvProps ITFormatImpl::InputFormat() {
  Guard lock(formatLock, Guard::Side::Read);
  return inputFormat;
}

bool ITFormatImpl::InputVideoValid() {
  Guard lock(formatLock, Guard::Side::Read);
  return VideoIsValid(inputFormat.video);
}

void ITFormatImpl::InputFormatSeen(const TAvProps& seen) {
  Guard lock(formatLock, Guard::Side::Write);
  if (VideoIsValid(seen.video)) inputFormat.video = seen.video;
  if (AudioIsValid(seen.audio)) inputFormat.audio = seen.audio;
}
