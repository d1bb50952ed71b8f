#include "audio/capture_wasapi.h"

#include <gtest/gtest.h>

#include "audio/inserter_test_support.h"
#include "platform/sim/audio_sim.h"
#include "props/catalogue.h"

namespace {

using cvplat::AudioFlow;
using cvplat::SimAudio;
using cvplat::WaveEncoding;
using cvplat::WaveFormat;

using inserter_test::kMs;
using inserter_test::kMixFloat;
using inserter_test::kRequest;
using inserter_test::kFloatStereo;

XMLParse::XMLNodePtr Tree(int32_t bufferMsec, bool exclusive = false) {
  XMLParse::XMLNodePtr tree = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  tree->SetInt(L"ext_audio.wasapi_buffer_msec", bufferMsec);
  tree->SetBool(L"audio.exclusive_mode", exclusive);
  return tree;
}

std::vector<std::wstring> Names(const TAudioWASAPI& map) {
  std::vector<std::wstring> names;
  for (int32_t i = 0; i < map.DeviceCount(); ++i) names.push_back(map.DeviceName(i));
  return names;
}

TEST(AudioDeviceList, NamesEachEndpointOnceInEveryMode) {
  auto sim = SimAudio::Create();
  const std::wstring mic1 = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  sim->AddEndpoint(AudioFlow::kCapture, L"", kMixFloat);  // no name: left out
  sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  sim->AddEndpoint(AudioFlow::kCapture, L"Speakers", kMixFloat);
  sim->AddEndpoint(AudioFlow::kRender, L"Speakers", kMixFloat);
  const std::wstring second = sim->AddEndpoint(AudioFlow::kRender, L"Speakers", kMixFloat);
  sim->SetDefaultRender(second);

  TAudioWASAPI all;
  ASSERT_EQ(AudioDeviceList(eAudioListAll, sim.get(), all), S_OK);
  EXPECT_EQ(Names(all), (std::vector<std::wstring>{L"Mic", L"Mic (2)", L"Mic (3)", L"Speakers", kDefaultLoopbackName,
                                                   L"Speakers (Loopback)", L"Speakers (Loopback) (2)"}));
  EXPECT_EQ(all.Device(0)->Id(), mic1) << "the first device keeps the plain name";
  EXPECT_EQ(all.Device(all.FindDevice(kDefaultLoopbackName))->Id(), second)
      << "the default output, whatever its own name";
  EXPECT_EQ(all.FindDevice(L"mic"), -1) << "names compare exactly";

  TAudioWASAPI only;
  ASSERT_EQ(AudioDeviceList(eAudioListDefaultLoopback, sim.get(), only), S_OK);
  EXPECT_EQ(Names(only), std::vector<std::wstring>{kDefaultLoopbackName});

  sim->FailList(E_ACCESSDENIED);
  TAudioWASAPI failed;
  EXPECT_EQ(AudioDeviceList(eAudioListAll, sim.get(), failed), E_ACCESSDENIED);
  EXPECT_EQ(AudioDeviceList(eAudioListCapture, nullptr, failed), CV_E_DEVICE_NOT_AVAILABLE);
}

TEST(AudioDeviceList, DefaultDeviceIsTheFirstOptionAfterNoneWhenAudioIsWanted) {
  XMLParse::XMLNodePtr tree = Tree(0);
  XMLParse::SetDefaults(*tree);
  XMLParse::BuildCatalogue(*tree, {kDefaultLoopbackName, L"Mic"});
  std::wstring name = L"none";
  EXPECT_FALSE(DefaultAudioDevice(tree.Get(), false, name));
  EXPECT_EQ(name, L"none");
  EXPECT_TRUE(DefaultAudioDevice(tree.Get(), true, name));
  EXPECT_EQ(name, kDefaultLoopbackName);
  name = L"Mic";
  EXPECT_FALSE(DefaultAudioDevice(tree.Get(), true, name));
  EXPECT_EQ(name, L"Mic");

  XMLParse::BuildCatalogue(*tree, {});
  name = L"none";
  DefaultAudioDevice(tree.Get(), true, name);
  EXPECT_EQ(name, L"none") << "a list of one gives its last option";
}

TEST(AudioFormats, WaveRecordsCarryFloatsAsNegativeBitsAndMaskAllChannels) {
  const WaveFormat wave = WaveFromAudioProps(kFloatStereo, -1);
  EXPECT_EQ(wave, kMixFloat);
  const TAudioProps back = AudioPropsFromWave(wave);
  EXPECT_EQ(back.bitsPerSample, -32);
  EXPECT_EQ(back.channelMask, 0u);

  const WaveFormat six20 = WaveFromAudioProps(TAudioProps{6, 44100, 20, 0}, -1);
  EXPECT_EQ(six20, (WaveFormat{WaveEncoding::kPcm, 6, 44100, 24, 20, 0x3F}));
  EXPECT_EQ(WaveFromAudioProps(TAudioProps{32, 48000, 16, 0}, -1).channelMask, 0xFFFFFFFFu);
  EXPECT_EQ(WaveFromAudioProps(TAudioProps{2, 48000, 16, 0}, 0x4).channelMask, 0x4u);
  EXPECT_EQ(WaveFromAudioProps(TAudioProps{0, 48000, 16, 0}, -1), WaveFormat{});
}

class CaptureWasapi : public ::testing::Test {
 protected:
  std::shared_ptr<SimAudio> sim = SimAudio::Create();
  std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  std::wstring speakers = sim->AddEndpoint(AudioFlow::kRender, L"Speakers", kMixFloat);
  TCaptureWASAPI capture{sim};
};

TEST_F(CaptureWasapi, BufferTimesFallBackToTheShortestPeriodTenMsAndTheDefaultPeriod) {
  sim->SetPeriods(mic, 200000, 30000);
  for (const int64_t t : {int64_t{0}, int64_t{30000}, int64_t{100000}})
    sim->FailInitialize(mic, t, cvplat::kAudioBufferSizeError);
  XMLParse::XMLNodePtr tree = Tree(0);
  ASSERT_EQ(capture.OpenDevice(L"Mic", kRequest, tree.Get()), S_OK);
  EXPECT_EQ(sim->Counters(mic).initializeTimes, (std::vector<int64_t>{0, 30000, 100000, 200000}));

  // With every time refused, the last refusal is the result and no stream stays behind.
  sim->FailInitialize(mic, 250000, cvplat::kAudioBufferSizeError);
  sim->FailInitialize(mic, 200000, cvplat::kAudioBufferSizeNotAligned);
  capture.StopCapture(true);
  tree->SetInt(L"ext_audio.wasapi_buffer_msec", 25);
  EXPECT_EQ(capture.OpenDevice(L"Mic", kRequest, tree.Get()), cvplat::kAudioBufferSizeNotAligned);
  EXPECT_EQ(sim->Counters(mic).initializeTimes,
            (std::vector<int64_t>{0, 30000, 100000, 200000, 250000, 30000, 100000, 200000}));
  EXPECT_EQ(sim->Counters(mic).liveStreams, 0);

  tree->SetInt(L"ext_audio.wasapi_buffer_msec", -1);
  EXPECT_TRUE(FAILED(capture.OpenDevice(L"Mic", kRequest, tree.Get())));
  EXPECT_EQ(sim->Counters(mic).initializeTimes.size(), 8u) << "a negative time ends the list before any call";
}

TEST_F(CaptureWasapi, SharedModeTakesTheMixFormatAndExclusiveModeTheRequest) {
  ASSERT_EQ(capture.OpenDevice(L"Mic", kRequest, nullptr), S_OK);
  const TAudioProps shared = capture.CaptureFormat();
  EXPECT_EQ(shared.bitsPerSample, -32);
  EXPECT_EQ(shared.channels, 2);
  EXPECT_EQ(sim->Counters(mic).streamFlags, cvplat::kStreamEventCallback);
  EXPECT_EQ(sim->Counters(mic).initializeTimes, std::vector<int64_t>{0}) << "no tree: buffer time 0";

  XMLParse::XMLNodePtr exclusive = Tree(0, true);
  ASSERT_EQ(capture.OpenDevice(L"Speakers (Loopback)", kRequest, exclusive.Get()), S_OK);
  EXPECT_TRUE(capture.IsLoopback());
  EXPECT_EQ(capture.CaptureFormat().bitsPerSample, 16);
  EXPECT_EQ(sim->Counters(speakers).mode, cvplat::AudioShareMode::kExclusive);
  EXPECT_EQ(sim->Counters(speakers).streamFlags, cvplat::kStreamLoopback);
  EXPECT_EQ(sim->Counters(mic).liveStreams, 0) << "opening another name closes the first";

  // The open name again only takes the tree.
  ASSERT_EQ(capture.OpenDevice(nullptr, kRequest, nullptr), S_OK);
  EXPECT_EQ(sim->Counters(speakers).activations, 1);
}

TEST_F(CaptureWasapi, RefusedFormatsUnknownNamesAndNoNameFailWithTheirStatuses) {
  EXPECT_EQ(capture.OpenDevice(nullptr, kRequest, nullptr), E_INVALIDARG);
  EXPECT_EQ(capture.OpenDevice(L"Headset", kRequest, nullptr), kAudioNameNotFound);
  sim->RefuseFormats(mic, true);
  EXPECT_EQ(capture.StartCapture(L"Mic", kRequest, nullptr, nullptr, nullptr), cvplat::kAudioUnsupportedFormat);
  EXPECT_FALSE(capture.Capturing());
  EXPECT_EQ(sim->Counters(mic).liveStreams, 0);
  sim->FailActivate(speakers, E_ACCESSDENIED);
  EXPECT_EQ(capture.OpenDevice(kDefaultLoopbackName, kRequest, nullptr), E_ACCESSDENIED);
  EXPECT_EQ(capture.OpenName(), L"");
}

}  // namespace
