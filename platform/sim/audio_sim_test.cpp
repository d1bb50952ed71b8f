#include "platform/sim/audio_sim.h"

#include <gtest/gtest.h>

#include <cstring>

namespace cvplat {
namespace {

constexpr int64_t kMs = 10000;
const WaveFormat kMixFloat{WaveEncoding::kFloat, 2, 48000, 32, 32, 3};

struct Stream {
  std::unique_ptr<IAudioStream> stream;
  KHandle event = CreateEventObject(false, false);
  ~Stream() {
    stream.reset();
    CloseKernelHandle(event);
  }
};

// An event-driven stream on the first endpoint of `flow`, started.
void Open(SimAudio& sim, AudioFlow flow, Stream& s, const WaveFormat& format = kMixFloat) {
  AudioEndpointList list;
  ASSERT_EQ(sim.Endpoints(flow, &list), S_OK);
  ASSERT_FALSE(list.empty());
  ASSERT_EQ(list[0]->Activate(&s.stream), S_OK);
  ASSERT_EQ(s.stream->Initialize(AudioShareMode::kShared, kStreamEventCallback, 100000, 100000, format), S_OK);
  ASSERT_EQ(s.stream->SetEventHandle(s.event), S_OK);
  ASSERT_EQ(s.stream->Start(), S_OK);
}

// Takes every ready packet; returns how many there were, with their flags and first samples.
int Drain(IAudioStream& stream, std::vector<uint32_t>* flags = nullptr, std::vector<float>* first = nullptr) {
  int n = 0;
  uint32_t frames = 0;
  while (stream.NextPacketSize(&frames) == S_OK && frames > 0) {
    AudioPacket p;
    EXPECT_EQ(stream.GetBuffer(&p), S_OK);
    if (flags) flags->push_back(p.flags);
    if (first) {
      float v = 0;
      std::memcpy(&v, p.data, 4);
      first->push_back(v);
    }
    EXPECT_EQ(stream.ReleaseBuffer(p.frames), S_OK);
    ++n;
  }
  return n;
}

TEST(SimAudio, PacketsFollowTheEndpointClockAndCarryAContinuousTone) {
  for (double drift : {0.0, 0.005, -0.005}) {
    auto sim = SimAudio::Create();
    const std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
    sim->SetDrift(mic, drift);
    Stream s;
    Open(*sim, AudioFlow::kCapture, s);
    EXPECT_EQ(WaitForOne(s.event, 0), kWaitTimeout) << "nothing is due before the clock moves";

    sim->Advance(15 * kMs);
    EXPECT_EQ(WaitForOne(s.event, 0), kWaitObject0);
    AudioPacket p;
    ASSERT_EQ(s.stream->GetBuffer(&p), S_OK);
    ASSERT_EQ(p.frames, 480u) << "one default period of 10 ms";
    const auto* samples = reinterpret_cast<const float*>(p.data);
    for (uint32_t j = 0; j < p.frames; ++j)
      for (int c = 0; c < 2; ++c)
        ASSERT_NEAR(samples[2 * j + c], SimAudio::ToneAt(1000, 0.5, 48000, c, j), 1e-6) << j;
    EXPECT_EQ(s.stream->GetBuffer(&p), kAudioOutOfOrder);
    ASSERT_EQ(s.stream->ReleaseBuffer(480), S_OK);

    // 100 s and 5 ms of the simulation hold 100 x 100 x (1 + drift) whole periods of the endpoint.
    sim->Advance(100 * 1000 * kMs - 10 * kMs);
    const int expected = drift > 0 ? 10050 : drift < 0 ? 9950 : 10000;
    EXPECT_EQ(1 + Drain(*s.stream), expected) << drift;
    EXPECT_EQ(sim->Counters(mic).frames, int64_t{expected} * 480);
  }
}

TEST(SimAudio, StallsLosePacketsAndSilenceZeroesThem) {
  auto sim = SimAudio::Create();
  const std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  sim->SetTone(mic, 1000, 0.5);
  sim->AddStall(mic, 100 * kMs, 200 * kMs);
  sim->AddSilence(mic, 300 * kMs, 350 * kMs);
  Stream s;
  Open(*sim, AudioFlow::kCapture, s);
  sim->Advance(400 * kMs);
  std::vector<uint32_t> flags;
  std::vector<float> first;
  // Packets end every 10 ms: those ending at 100..190 ms are lost, 300..340 ms are silent.
  ASSERT_EQ(Drain(*s.stream, &flags, &first), 30);
  EXPECT_EQ(sim->Counters(mic).lostPackets, 10);
  for (int i = 0; i < 30; ++i) {
    const int endMs = (i < 9 ? i + 1 : i + 11) * 10;
    const bool silent = endMs >= 300 && endMs < 350;
    EXPECT_EQ(flags[i], (silent ? kPacketSilent : 0u) | (endMs == 200 ? kPacketDiscontinuity : 0u)) << endMs;
    // The packet ending at endMs starts at sample 48 x (endMs - 10); at 1 kHz that is phase 0.
    EXPECT_EQ(first[i], 0.0f);
  }

  sim->AddStall(mic, 400 * kMs, kSimForever);
  sim->Advance(50 * kMs);
  EXPECT_EQ(WaitForOne(s.event, 0), kWaitObject0) << "a stalled endpoint still ticks";
  EXPECT_EQ(Drain(*s.stream), 0);
  EXPECT_TRUE(sim->WaitDrained(0));
}

TEST(SimAudio, AVanishedEndpointLeavesTheListsAndInvalidatesItsStreams) {
  auto sim = SimAudio::Create();
  const std::wstring speakers = sim->AddEndpoint(AudioFlow::kRender, L"Speakers", kMixFloat);
  Stream s;
  Open(*sim, AudioFlow::kRender, s);
  std::shared_ptr<IAudioEndpoint> held;
  ASSERT_EQ(sim->DefaultRender(&held), S_OK);
  EXPECT_EQ(held->Id(), speakers);

  sim->Vanish(speakers);
  EXPECT_EQ(WaitForOne(s.event, 0), kWaitObject0) << "a last wake-up, so the reader learns of it";
  uint32_t frames = 1;
  EXPECT_EQ(s.stream->NextPacketSize(&frames), kAudioDeviceInvalidated);
  EXPECT_EQ(frames, 0u);
  std::unique_ptr<IAudioStream> again;
  EXPECT_EQ(held->Activate(&again), kAudioDeviceInvalidated);
  AudioEndpointList list;
  EXPECT_EQ(sim->Endpoints(AudioFlow::kRender, &list), S_OK);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(sim->DefaultRender(&held), CV_E_NOT_FOUND);
}

}  // namespace
}  // namespace cvplat
