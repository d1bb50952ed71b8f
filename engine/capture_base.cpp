#include "engine/capture_base.h"

namespace {

// One slot per thread: only a capture thread ever fills it, for the life of its body.
thread_local cvplat::KHandle t_captureStopSignal = nullptr;

}  // namespace

cvplat::KHandle CaptureStopSignal() { return t_captureStopSignal; }

TCaptureStopScope::TCaptureStopScope(cvplat::KHandle signal) : previous_(t_captureStopSignal) {
  t_captureStopSignal = signal;
}

TCaptureStopScope::~TCaptureStopScope() { t_captureStopSignal = previous_; }
