// Throughput of the sample and pixel entries (on the plain path and on the SSE2 kernel where one exists), the
// 44100 -> 48000 rate change beside two peer resamplers. Before the timings it prints the SNR of every
// resampler on the same 1 kHz sine, so that speed and quality are read together.
#include <benchmark/benchmark.h>
#include <soxr.h>
#include <speex/speex_resampler.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "primitives/primitives.h"
#include "primitives/sine_analysis.h"

namespace {

constexpr int32_t kInRate = 44100;
constexpr int32_t kOutRate = 48000;
constexpr int32_t kHalf = 32;  // the system's history; the window is twice that
constexpr double kToneHz = 1000.0;

// Picks the plain path (0) or lets the library use its SSE2 kernels (1) for one benchmark run.
class PathScope {
 public:
  explicit PathScope(benchmark::State& state) : before_(PrimitivesForceScalar(state.range(0) == 0)) {
    state.SetLabel(state.range(0) == 0 ? "plain" : (PrimitivesLevel() ? "sse2" : "plain (no sse2 here)"));
  }
  ~PathScope() { PrimitivesForceScalar(before_); }

 private:
  int32_t before_;
};

void BM_Int16ToFloatPlanes(benchmark::State& state) {
  PathScope path(state);
  const int32_t frames = 48000;
  std::vector<int16_t> src(size_t(frames) * 2);
  for (size_t i = 0; i < src.size(); ++i) src[i] = int16_t(i * 7919);
  std::vector<float> left(frames), right(frames);
  float* planes[2] = {left.data(), right.data()};
  for (auto _ : state) {
    Int16ToFloatPlanes(src.data(), planes, 2, frames);
    benchmark::DoNotOptimize(left.data());
    benchmark::DoNotOptimize(right.data());
  }
  state.SetItemsProcessed(state.iterations() * int64_t(src.size()));
}
BENCHMARK(BM_Int16ToFloatPlanes)->Arg(0)->Arg(1);

void BM_Float32ToInt16(benchmark::State& state) {
  PathScope path(state);
  const std::vector<float> src = cvtest::MakeSine(kToneHz / kOutRate, 0.9, 96000);
  std::vector<int16_t> dst(src.size());
  for (auto _ : state) {
    Float32ToInt16(src.data(), dst.data(), int32_t(src.size()), kRoundNearestEven, -15);
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetItemsProcessed(state.iterations() * int64_t(src.size()));
}
BENCHMARK(BM_Float32ToInt16)->Arg(0)->Arg(1);

void BM_Mirror32s(benchmark::State& state) {
  const int32_t width = 1920, height = 1080, axis = int32_t(state.range(0));
  std::vector<uint32_t> picture(size_t(width) * height);
  for (size_t i = 0; i < picture.size(); ++i) picture[i] = uint32_t(i);
  for (auto _ : state) {
    Mirror32s(picture.data(), width * 4, width, height, axis);
    benchmark::DoNotOptimize(picture.data());
  }
  state.SetLabel(axis == 0 ? "top-bottom" : axis == 1 ? "left-right" : "both");
  state.SetItemsProcessed(state.iterations() * int64_t(picture.size()));
}
BENCHMARK(BM_Mirror32s)->Arg(kMirrorTopBottom)->Arg(kMirrorLeftRight)->Arg(kMirrorBoth)->Unit(benchmark::kMicrosecond);

// ---- Rate change: one second of stereo per iteration, in 10 ms packets as the audio path delivers it.

constexpr int32_t kPacket = kInRate / 100;
constexpr int32_t kSeconds = 1;

std::vector<float> ToneAtInputRate(double seconds) {
  return cvtest::MakeSine(kToneHz / kInRate, 0.5, size_t(seconds * kInRate));
}

// One channel through our resampler, fed packet by packet with the carried time and the history moved
// to the front after each call, as the audio buffers do.
class OwnChannel {
 public:
  explicit OwnChannel(const ResamplerState* s) : s_(s), block_(size_t(kHalf), 0.0f), time_(kHalf) {}
  void Put(const float* packet, int32_t count, std::vector<float>* out) {
    block_.insert(block_.end(), packet, packet + count);
    const int32_t length = int32_t(int64_t(block_.size()) - int64_t(time_) - kHalf);
    if (length < 1) return;
    const size_t at = out->size();
    out->resize(at + size_t(length) * kOutRate / kInRate + 4);
    int32_t made = 0;
    Resample32(s_, block_.data(), length, out->data() + at, 0.98f, &time_, &made);
    out->resize(at + size_t(made));
    const int64_t drop = int64_t(time_) - kHalf;
    block_.erase(block_.begin(), block_.begin() + drop);
    time_ -= double(drop);
  }

 private:
  const ResamplerState* s_;
  std::vector<float> block_;
  double time_;
};

ResamplerState* MakeOwn() {
  ResamplerState* s = nullptr;
  ResamplerInit32(&s, kInRate, kOutRate, 2 * kHalf, 0.95f, 9.0f, 2);
  return s;
}

std::vector<float> OwnMono(const std::vector<float>& in) {
  ResamplerState* s = MakeOwn();
  OwnChannel channel(s);
  std::vector<float> out;
  for (size_t i = 0; i + kPacket <= in.size(); i += kPacket) channel.Put(in.data() + i, kPacket, &out);
  ResamplerFree32(s);
  return out;
}

soxr_t MakeSoxr(unsigned channels, unsigned long recipe) {
  const soxr_quality_spec_t quality = soxr_quality_spec(recipe, 0);
  soxr_error_t error = nullptr;
  return soxr_create(kInRate, kOutRate, channels, &error, nullptr, &quality, nullptr);
}

std::vector<float> SoxrMono(const std::vector<float>& in, unsigned long recipe) {
  soxr_t s = MakeSoxr(1, recipe);
  std::vector<float> out, chunk(kPacket * 2 + 64);
  for (size_t i = 0; i + kPacket <= in.size(); i += kPacket) {
    size_t used = 0, made = 0;
    soxr_process(s, in.data() + i, kPacket, &used, chunk.data(), chunk.size(), &made);
    out.insert(out.end(), chunk.begin(), chunk.begin() + long(made));
  }
  soxr_delete(s);
  return out;
}

std::vector<float> SpeexMono(const std::vector<float>& in, int quality) {
  int error = 0;
  SpeexResamplerState* s = speex_resampler_init(1, kInRate, kOutRate, quality, &error);
  speex_resampler_skip_zeros(s);
  std::vector<float> out, chunk(kPacket * 2 + 64);
  for (size_t i = 0; i + kPacket <= in.size(); i += kPacket) {
    spx_uint32_t used = kPacket, made = spx_uint32_t(chunk.size());
    speex_resampler_process_interleaved_float(s, in.data() + i, &used, chunk.data(), &made);
    out.insert(out.end(), chunk.begin(), chunk.begin() + long(made));
  }
  speex_resampler_destroy(s);
  return out;
}

// SNR of one resampler on 1.5 s of the tone: the first 0.25 s of output (start-up and filter delay)
// are left out, and one second is measured.
double SnrOf(const std::vector<float>& out) {
  const size_t skip = kOutRate / 4;
  if (out.size() < skip + kOutRate) return 0.0;
  return cvtest::FitSine(out.data() + skip, kOutRate, kToneHz / kOutRate).snrDb;
}

struct Peer {
  const char* name;
  double snrDb;
};

std::vector<Peer>& Snrs() {
  static std::vector<Peer> table;
  return table;
}

double SnrNamed(const char* name) {
  for (const Peer& p : Snrs())
    if (std::string(p.name) == name) return p.snrDb;
  return 0.0;
}

void MeasureSnrs() {
  const std::vector<float> tone = ToneAtInputRate(1.5);
  Snrs() = {{"own", SnrOf(OwnMono(tone))},
            {"soxr_hq", SnrOf(SoxrMono(tone, SOXR_HQ))},
            {"soxr_vhq", SnrOf(SoxrMono(tone, SOXR_VHQ))},
            {"speex_q4", SnrOf(SpeexMono(tone, 4))},
            {"speex_q10", SnrOf(SpeexMono(tone, 10))}};
  std::printf("SNR of a 1 kHz sine at half scale, %d -> %d Hz, in 10 ms packets:\n", kInRate, kOutRate);
  for (const Peer& p : Snrs()) std::printf("  %-10s %7.2f dB\n", p.name, p.snrDb);
  std::fflush(stdout);
}

void FinishResampleRun(benchmark::State& state, const char* name) {
  state.SetItemsProcessed(state.iterations() * int64_t(2) * kInRate * kSeconds);
  state.counters["snr_db"] = SnrNamed(name);
}

// No SSE2 kernel here: the plain four-lane dot product is what the compiler vectorises.
void BM_Resample32(benchmark::State& state) {
  const std::vector<float> tone = ToneAtInputRate(kSeconds);
  ResamplerState* s = MakeOwn();
  OwnChannel left(s), right(s);
  std::vector<float> outLeft, outRight;
  for (auto _ : state) {
    outLeft.clear();
    outRight.clear();
    for (size_t i = 0; i + kPacket <= tone.size(); i += kPacket) {
      left.Put(tone.data() + i, kPacket, &outLeft);
      right.Put(tone.data() + i, kPacket, &outRight);
    }
    benchmark::DoNotOptimize(outLeft.data());
    benchmark::DoNotOptimize(outRight.data());
  }
  ResamplerFree32(s);
  FinishResampleRun(state, "own");
}
BENCHMARK(BM_Resample32)->Unit(benchmark::kMicrosecond);

std::vector<float> Interleave(const std::vector<float>& mono) {
  std::vector<float> stereo(mono.size() * 2);
  for (size_t i = 0; i < mono.size(); ++i) stereo[2 * i] = stereo[2 * i + 1] = mono[i];
  return stereo;
}

void BM_Soxr(benchmark::State& state) {
  const bool veryHigh = state.range(0) != 0;
  const std::vector<float> tone = Interleave(ToneAtInputRate(kSeconds));
  soxr_t s = MakeSoxr(2, veryHigh ? SOXR_VHQ : SOXR_HQ);
  std::vector<float> chunk(kPacket * 4 + 128);
  for (auto _ : state) {
    for (size_t i = 0; i + 2 * kPacket <= tone.size(); i += 2 * kPacket) {
      size_t used = 0, made = 0;
      soxr_process(s, tone.data() + i, kPacket, &used, chunk.data(), chunk.size() / 2, &made);
      benchmark::DoNotOptimize(chunk.data());
    }
  }
  soxr_delete(s);
  state.SetLabel(veryHigh ? "VHQ" : "HQ");
  FinishResampleRun(state, veryHigh ? "soxr_vhq" : "soxr_hq");
}
BENCHMARK(BM_Soxr)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_Speex(benchmark::State& state) {
  const int quality = int(state.range(0));
  const std::vector<float> tone = Interleave(ToneAtInputRate(kSeconds));
  int error = 0;
  SpeexResamplerState* s = speex_resampler_init(2, kInRate, kOutRate, quality, &error);
  std::vector<float> chunk(kPacket * 4 + 128);
  for (auto _ : state) {
    for (size_t i = 0; i + 2 * kPacket <= tone.size(); i += 2 * kPacket) {
      spx_uint32_t used = kPacket, made = spx_uint32_t(chunk.size() / 2);
      speex_resampler_process_interleaved_float(s, tone.data() + i, &used, chunk.data(), &made);
      benchmark::DoNotOptimize(chunk.data());
    }
  }
  speex_resampler_destroy(s);
  state.SetLabel("quality " + std::to_string(quality));
  FinishResampleRun(state, quality == 10 ? "speex_q10" : "speex_q4");
}
BENCHMARK(BM_Speex)->Arg(4)->Arg(10)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  MeasureSnrs();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
