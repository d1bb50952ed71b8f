// The sound's cost per frame at 30 frames a second: the packets of one frame's time put into the
// inserter (OnAudioData) and that frame's share joined to it (JoinAudio), with the endpoint at 48 kHz
// stereo and at 44.1 kHz, which the buffer resamples to the frames' 48 kHz.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "audio/audio_inserter.h"
#include "audio/inserter_test_support.h"

namespace {

using namespace inserter_test;

constexpr int64_t kFrame = 333334;  // 100 ns: each frame's share at 48 kHz is 1600 samples
const TAudioProps kFrameSound{2, 48000, -32, 0};

void BM_OnAudioDataPlusJoinAudio(benchmark::State& state) {
  const uint32_t rate = static_cast<uint32_t>(state.range(0));
  const auto sim = cvplat::SimAudio::Create();
  cvplat::WaveFormat mix = kMixFloat;
  mix.sampleRate = rate;
  sim->AddEndpoint(cvplat::AudioFlow::kCapture, L"Mic", mix);
  TRefPtr<TAudioInserter> inserter = MakeRef<TAudioInserter>(sim);
  // The sim's clock never moves: the only packets are the bench's own.
  if (SwitchAudioDevice(inserter.Get(), L"Mic", kRequest, nullptr) != S_OK) return state.SkipWithError("no device");
  const TAudioProps format{2, static_cast<int32_t>(rate), -32, 0};

  // Three 10 ms packets and a third of one: a frame's worth of a tone.
  const uint32_t perPacket = rate / 100;
  std::vector<float> packet(size_t{perPacket} * 2);
  for (size_t i = 0; i < perPacket; ++i) packet[2 * i] = packet[2 * i + 1] = float(std::sin(0.13 * double(i)));
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(packet.data());
  const uint32_t packetBytes = static_cast<uint32_t>(packet.size() * 4);

  int64_t n = 0;
  int64_t carried = 0;  // hundredths of a packet owed to the next frame
  FramePtr first = MakeFrame(0, kFrame);
  inserter->JoinAudio(first.Get(), true, nullptr, TAudioInserter::kFrameWait);
  int64_t shortFrames = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ++n;
    FramePtr frame = MakeFrame(n * kFrame, (n + 1) * kFrame);
    // A frame whose sound part says 48 kHz makes the buffer change the endpoint's rate to it.
    if (rate != 48000) frame->AudioSet(&kFrameSound, 0, 0, 0);
    state.ResumeTiming();
    carried += 333;
    for (; carried >= 100; carried -= 100) TAudioInserter::OnAudioData(inserter.Get(), format, bytes, packetBytes);
    shortFrames += inserter->JoinAudio(frame.Get(), true, nullptr, TAudioInserter::kFrameWait) != S_OK;
  }
  state.counters["short_frames"] = double(shortFrames);
  state.SetLabel(rate == 48000 ? "48 kHz stereo float" : "44.1 kHz stereo float, resampled to 48 kHz");
}

BENCHMARK(BM_OnAudioDataPlusJoinAudio)->Arg(48000)->Arg(44100)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
