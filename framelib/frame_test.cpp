#include "framelib/frame.h"

#include <gtest/gtest.h>

#include <vector>

#include "framelib/frame_test_helpers.h"

namespace {

TEST(Frame, StartsWithoutFormatTimeOrPicture) {
  TFrame* raw = TFrame::New();
  ASSERT_NE(raw, nullptr);
  FramePtr frame = FramePtr::Adopt(raw);

  TAvProps props;
  std::memset(&props, 0xAB, sizeof(props));
  int32_t audioBytes = -1;
  ASSERT_EQ(frame->FormatGet(&props, &audioBytes), S_OK);
  const TAvProps zero{};
  EXPECT_TRUE(SameBytes(&props, &zero, sizeof(props)));
  EXPECT_EQ(audioBytes, 0);

  TFrameTime time{};
  ASSERT_EQ(frame->TimeGet(&time), S_OK);
  EXPECT_EQ(time.startTime, kNoTime);
  EXPECT_EQ(time.endTime, kNoTime);
  EXPECT_EQ(time.frameFlags, 0u);

  uint8_t* pixels = reinterpret_cast<uint8_t*>(1);
  EXPECT_EQ(frame->PixelsGet(0, &pixels), S_FALSE);
  EXPECT_EQ(pixels, nullptr);
  auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
  int64_t size = -1;
  EXPECT_EQ(host->BytesGet(&size, &pixels), S_FALSE);
  EXPECT_EQ(size, 0);
}

TEST(Frame, AnswersItsThreeInterfacesAsOneObject) {
  FramePtr frame = MakeFrame();
  auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
  auto values = Query<ICVNamedValues>(frame.Get(), IID_ICVNamedValues);
  auto inner = Query<ICVFrame_I>(host.Get(), IID_ICVFrame_I);
  ASSERT_TRUE(host && values && inner);
  EXPECT_EQ(inner.Get(), frame.Get());
  // One identity: IUnknown from every interface is the same pointer.
  auto a = Query<IUnknown>(frame.Get(), IID_IUnknown);
  auto b = Query<IUnknown>(host.Get(), IID_IUnknown);
  auto c = Query<IUnknown>(values.Get(), IID_IUnknown);
  EXPECT_EQ(a.Get(), b.Get());
  EXPECT_EQ(a.Get(), c.Get());

  void* none = reinterpret_cast<void*>(1);
  EXPECT_EQ(frame->QueryInterface(IID_ICVFactory, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(frame->QueryInterface(IID_ICVFrame, nullptr), E_POINTER);

  // frame, host, values, inner, a, b, c: seven references; AddRef and Release count on the same object.
  EXPECT_EQ(values->AddRef(), 8u);
  EXPECT_EQ(host->Release(), 7u);
}

TEST(Frame, FormatSetLaysOutThePictureAndHonoursWiderLines) {
  FramePtr frame = MakeFrame(kColourRGB32, 16, -8);
  TAvProps props{};
  ASSERT_EQ(frame->FormatGet(&props, nullptr), S_OK);
  EXPECT_EQ(props.video.rowBytes, 64) << "the least a line needs is filled in";
  EXPECT_EQ(props.video.height, -8) << "the sign says the line order and is kept";
  auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
  int64_t size = 0;
  uint8_t* bytes = nullptr;
  ASSERT_EQ(host->BytesGet(&size, &bytes), S_OK);
  EXPECT_EQ(size, 64 * 8);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), std::vector<uint8_t>(64 * 8, 0)) << "a new picture is black";

  props.video.rowBytes = 80;
  ASSERT_EQ(frame->FormatSet(&props, nullptr), S_OK);
  ASSERT_EQ(host->BytesGet(&size, &bytes), S_OK);
  EXPECT_EQ(size, 80 * 8);
  TAvProps back{};
  frame->FormatGet(&back, nullptr);
  EXPECT_EQ(back.video.rowBytes, 80);
}

TEST(Frame, FormatSetKeepsPixelsWrittenIntoAnAllocatedBuffer) {
  // The shot path: allocate, fill, then say what the bytes are.
  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(Factory()->FrameAlloc(64 * 8, &raw), S_OK);
  FramePtr frame = FramePtr::Adopt(raw);
  uint8_t* pixels = nullptr;
  ASSERT_EQ(frame->PixelsGet(0, &pixels), S_OK);
  for (int i = 0; i < 64 * 8; ++i) pixels[i] = static_cast<uint8_t>(i * 7);

  TAvProps props{};
  props.video.colourFormat = kColourARGB32;
  props.video.width = 16;
  props.video.height = -8;
  ASSERT_EQ(frame->FormatSet(&props, nullptr), S_OK);
  uint8_t* after = nullptr;
  frame->PixelsGet(0, &after);
  EXPECT_EQ(after, pixels);
  for (int i = 0; i < 64 * 8; ++i) ASSERT_EQ(after[i], static_cast<uint8_t>(i * 7)) << i;

  // A larger picture gets a larger buffer with the old bytes at its start and black after them.
  props.video.height = -10;
  ASSERT_EQ(frame->FormatSet(&props, nullptr), S_OK);
  frame->PixelsGet(0, &after);
  for (int i = 0; i < 64 * 8; ++i) ASSERT_EQ(after[i], static_cast<uint8_t>(i * 7)) << i;
  for (int i = 64 * 8; i < 64 * 10; ++i) ASSERT_EQ(after[i], 0) << i;
}

TEST(Frame, RefusedFormatLeavesTheFrameAsItWas) {
  FramePtr frame = MakeFrame(kColourRGB32, 16, -8);
  TAvProps before{};
  frame->FormatGet(&before, nullptr);
  TAvProps bad = before;
  bad.video.colourFormat = kColourI420;  // known, but not one the library lays out
  EXPECT_EQ(frame->FormatSet(&bad, nullptr), E_INVALIDARG);
  bad = before;
  bad.video.width = -16;
  EXPECT_EQ(frame->FormatSet(&bad, nullptr), E_INVALIDARG);
  EXPECT_EQ(frame->FormatSet(nullptr, nullptr), E_POINTER);
  TAvProps after{};
  frame->FormatGet(&after, nullptr);
  EXPECT_TRUE(SameBytes(&before, &after, sizeof(before)));
}

TEST(Frame, FormatWithoutPictureKeepsTheBufferAndPassThroughBytes) {
  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(Factory()->FrameAlloc(1000, &raw), S_OK);
  FramePtr frame = FramePtr::Adopt(raw);
  TAvProps props{};
  props.video.videoFormat = 12;  // a table format, but no size or colour written out
  for (size_t i = 0; i < sizeof(props.passThrough); ++i) props.passThrough[i] = static_cast<uint8_t>(i);
  ASSERT_EQ(frame->FormatSet(&props, nullptr), S_OK);
  auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
  int64_t size = 0;
  uint8_t* bytes = nullptr;
  ASSERT_EQ(host->BytesGet(&size, &bytes), S_OK);
  EXPECT_EQ(size, 1000);
  TAvProps back{};
  ASSERT_EQ(host->FormatGet(&back), S_OK);
  EXPECT_TRUE(SameBytes(&props, &back, sizeof(props)));
}

TEST(Frame, TimeRoundTripsWhole) {
  FramePtr frame = MakeFrame();
  TFrameTime t = Stamp(123456789, 123856789, 0x7F000131);
  t.hours = 1;
  t.minutes = 2;
  t.seconds = 3;
  t.frames = 4;
  t.timecodeFlags = 1;
  ASSERT_EQ(frame->TimeSet(&t), S_OK);
  TFrameTime back{};
  auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
  ASSERT_EQ(host->TimeGet(&back), S_OK);
  EXPECT_TRUE(SameBytes(&t, &back, sizeof(t)));
  EXPECT_EQ(frame->TimeSet(nullptr), E_POINTER);
  EXPECT_EQ(frame->TimeGet(nullptr), E_POINTER);
}

TEST(Frame, LabelsAndValuesAreSeparateSetsOfNumbersByName) {
  FramePtr frame = MakeFrame();
  auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
  auto values = Query<ICVNamedValues>(frame.Get(), IID_ICVNamedValues);

  EXPECT_EQ(frame->LabelSet(L"AFPT", 0, 40), S_OK);
  EXPECT_EQ(frame->LabelSet(L"WAIT", 0, -5), S_OK);
  EXPECT_EQ(frame->LabelSet(L"crtm", 0, INT64_MIN), S_OK);
  EXPECT_EQ(frame->LabelSet(L"AFPT", 0, INT64_MAX), S_OK) << "a label is replaced";
  int64_t v = 0;
  ASSERT_EQ(host->LabelGet(L"AFPT", &v), S_OK);
  EXPECT_EQ(v, INT64_MAX);
  ASSERT_EQ(host->LabelGet(L"WAIT", &v), S_OK);
  EXPECT_EQ(v, -5);
  ASSERT_EQ(host->LabelGet(L"crtm", &v), S_OK);
  EXPECT_EQ(v, INT64_MIN);
  EXPECT_EQ(host->LabelGet(L"afpt", &v), CV_E_NOT_FOUND) << "names compare exactly";

  EXPECT_EQ(frame->LabelSet(nullptr, 0, 1), E_INVALIDARG);
  EXPECT_EQ(frame->LabelSet(L"", 0, 1), E_INVALIDARG);
  EXPECT_EQ(host->LabelGet(L"AFPT", nullptr), E_POINTER);

  ASSERT_EQ(values->ValueSet(L"dup", 1), S_OK);
  ASSERT_EQ(values->ValueGet(L"dup", &v), S_OK);
  EXPECT_EQ(v, 1);
  EXPECT_EQ(host->LabelGet(L"dup", &v), CV_E_NOT_FOUND) << "a value is not a label";
  EXPECT_EQ(values->ValueGet(L"AFPT", &v), CV_E_NOT_FOUND) << "a label is not a value";
  EXPECT_EQ(values->ValueRemove(L"dup"), S_OK);
  EXPECT_EQ(values->ValueRemove(L"dup"), S_FALSE);
  EXPECT_EQ(values->ValueGet(L"dup", &v), CV_E_NOT_FOUND);
  EXPECT_EQ(values->ValueSet(L"", 1), E_INVALIDARG);
}

TEST(Frame, DuplicateIsADeepCopyInItsTwoModes) {
  FramePtr frame = MakeFrame(kColourRGB32, 4, -2);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  for (int i = 0; i < 32; ++i) pixels[i] = static_cast<uint8_t>(100 + i);
  TFrameTime t = Stamp(400000, 800000, kFrameFlagCounterStamps);
  frame->TimeSet(&t);
  frame->LabelSet(L"AFPT", 0, 3);
  Query<ICVNamedValues>(frame.Get(), IID_ICVNamedValues)->ValueSet(L"dup", 1);
  TAudioProps audio{2, 48000, 16, 3};
  ASSERT_EQ(frame->AudioSet(&audio, 8, 0, 0), S_OK);
  uint8_t* samples = nullptr;
  frame->AudioChannelGet(1, kAudioChannelWrite, nullptr, &samples);
  samples[7] = 0x5A;
  frame->AudioCommit();

  for (uint32_t mode : {kFrameDuplicateRepeat, kFrameDuplicateWork}) {
    ICVFrame_I* raw = nullptr;
    ASSERT_EQ(frame->FrameDuplicate(&raw, mode, 0), S_OK);
    FramePtr copy = FramePtr::Adopt(raw);
    ASSERT_NE(copy.Get(), frame.Get());

    TAvProps a{}, b{};
    frame->FormatGet(&a, nullptr);
    int32_t audioBytes = 0;
    copy->FormatGet(&b, &audioBytes);
    EXPECT_TRUE(SameBytes(&a, &b, sizeof(a)));
    EXPECT_EQ(audioBytes, 8);
    TFrameTime ct{};
    copy->TimeGet(&ct);
    EXPECT_TRUE(SameBytes(&t, &ct, sizeof(t)));
    uint8_t* copied = nullptr;
    copy->PixelsGet(0, &copied);
    ASSERT_NE(copied, pixels);
    EXPECT_TRUE(SameBytes(copied, pixels, 32));
    uint8_t* copiedSamples = nullptr;
    copy->AudioChannelGet(1, kAudioChannelRead, nullptr, &copiedSamples);
    ASSERT_NE(copiedSamples, samples);
    EXPECT_EQ(copiedSamples[7], 0x5A);
    int64_t v = 0;
    EXPECT_EQ(Query<ICVFrame>(copy.Get(), IID_ICVFrame)->LabelGet(L"AFPT", &v), S_OK);
    EXPECT_EQ(v, 3);
    EXPECT_EQ(Query<ICVNamedValues>(copy.Get(), IID_ICVNamedValues)->ValueGet(L"dup", &v), S_OK);
    EXPECT_EQ(v, 1);

    // Writing the copy leaves the original alone.
    copied[0] = 0;
    copy->LabelSet(L"AFPT", 0, 99);
    EXPECT_EQ(pixels[0], 100);
    Query<ICVFrame>(frame.Get(), IID_ICVFrame)->LabelGet(L"AFPT", &v);
    EXPECT_EQ(v, 3);
  }

  // A duplicate shares the picture until one of the two is written to; either side's write leaves the
  // other as it was.
  {
    ICVFrame_I* raw = nullptr;
    ASSERT_EQ(frame->FrameDuplicate(&raw, kFrameDuplicateRepeat, 0), S_OK);
    FramePtr repeat = FramePtr::Adopt(raw);
    uint8_t* fresh = nullptr;
    ASSERT_EQ(frame->PixelsGet(0, &fresh), S_OK);
    fresh[1] = 7;
    uint8_t* repeated = nullptr;
    ASSERT_EQ(repeat->PixelsGet(0, &repeated), S_OK);
    EXPECT_NE(repeated, fresh);
    EXPECT_EQ(repeated[1], 101);
    int64_t size = 0;
    uint8_t* bytes = nullptr;
    ASSERT_EQ(Query<ICVFrame>(repeat.Get(), IID_ICVFrame)->BytesGet(&size, &bytes), S_OK);
    EXPECT_EQ(bytes, repeated);
  }

  ICVFrame_I* none = reinterpret_cast<ICVFrame_I*>(1);
  EXPECT_EQ(frame->FrameDuplicate(&none, kFrameCloneOwned, 0), E_INVALIDARG);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(frame->FrameDuplicate(nullptr, kFrameDuplicateRepeat, 0), E_POINTER);
}

TEST(Frame, PixelsGetChecksItsArguments) {
  FramePtr frame = MakeFrame();
  uint8_t* pixels = nullptr;
  EXPECT_EQ(frame->PixelsGet(0, nullptr), E_POINTER);
  EXPECT_EQ(frame->PixelsGet(1, &pixels), E_INVALIDARG);
  EXPECT_EQ(pixels, nullptr);
  EXPECT_EQ(Query<ICVFrame>(frame.Get(), IID_ICVFrame)->BytesGet(nullptr, nullptr), E_POINTER);
}

}  // namespace
