#include "audio/capture_wasapi.h"

#include <gtest/gtest.h>

#include <atomic>

#include "audio/inserter_test_support.h"
#include "platform/sim/audio_sim.h"

namespace {

using cvplat::AudioFlow;
using cvplat::SimAudio;
using cvplat::WaveEncoding;
using cvplat::WaveFormat;

using inserter_test::kMs;
using inserter_test::kMixFloat;
using inserter_test::kRequest;

class CaptureWasapiThread : public ::testing::Test {
 protected:
  std::shared_ptr<SimAudio> sim = SimAudio::Create();
  std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  std::wstring speakers = sim->AddEndpoint(AudioFlow::kRender, L"Speakers", kMixFloat);
  TCaptureWASAPI capture{sim};
};

struct Delivered {
  std::atomic<int64_t> bytes{0};
  static HRESULT Count(void* context, const TAudioProps& format, const uint8_t*, uint32_t bytes) {
    EXPECT_EQ(format.bitsPerSample, -32);
    static_cast<Delivered*>(context)->bytes += bytes;
    return S_OK;
  }
};

TEST_F(CaptureWasapiThread, QuietLoopbackHasNoDataAfter33EmptyPollsAndAPacketClearsIt) {
  sim->AddStall(speakers, 0, 1000 * kMs);  // nothing plays for a second
  sim->HoldEmptyPoll(speakers, 33);
  Delivered delivered;
  ASSERT_EQ(capture.StartCapture(kDefaultLoopbackName, kRequest, nullptr, &Delivered::Count, &delivered), S_OK);
  ASSERT_TRUE(sim->WaitHeld(speakers, 10000));
  EXPECT_FALSE(capture.NoData()) << "32 empty polls";
  EXPECT_EQ(sim->Counters(speakers).emptyPolls, 33);
  sim->ReleaseHeld(speakers, 34);
  ASSERT_TRUE(sim->WaitHeld(speakers, 10000));
  EXPECT_TRUE(capture.NoData()) << "33 empty polls";

  sim->Advance(1010 * kMs);  // two packets end in the second that follows: at 1000 and 1010 ms
  sim->ReleaseHeld(speakers, 1);
  ASSERT_TRUE(sim->WaitHeld(speakers, 10000));
  EXPECT_FALSE(capture.NoData());
  EXPECT_EQ(delivered.bytes.load(), 2 * 480 * 8);
  sim->ReleaseHeld(speakers);
  capture.StopCapture(false);
  EXPECT_FALSE(capture.Capturing());
  EXPECT_EQ(sim->Counters(speakers).liveStreams, 0);
}

TEST_F(CaptureWasapiThread, RecordingEndpointThatStopsDeliveringHasNoDataAfter129EmptyPolls) {
  sim->AddStall(mic, 20 * kMs, cvplat::kSimForever);
  sim->HoldEmptyPoll(mic, 129);
  Delivered delivered;
  ASSERT_EQ(capture.StartCapture(L"Mic", kRequest, nullptr, &Delivered::Count, &delivered), S_OK);
  ASSERT_TRUE(sim->WaitStarted(mic, 10000));
  sim->Advance(15 * kMs);  // one packet
  ASSERT_TRUE(sim->WaitDrained(10000));
  sim->Advance(10 * kMs);  // a period that brings nothing wakes the thread, which polls from then on
  ASSERT_TRUE(sim->WaitHeld(mic, 10000));
  EXPECT_FALSE(capture.NoData()) << "128 empty polls";
  sim->ReleaseHeld(mic, 130);
  ASSERT_TRUE(sim->WaitHeld(mic, 10000));
  EXPECT_TRUE(capture.NoData()) << "129 empty polls";
  EXPECT_EQ(delivered.bytes.load(), 480 * 8);
  sim->ReleaseHeld(mic);
  capture.StopCapture(true);
  EXPECT_EQ(capture.OpenName(), L"");
}

}  // namespace
