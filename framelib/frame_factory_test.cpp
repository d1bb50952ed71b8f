#include "framelib/frame_factory.h"

#include <gtest/gtest.h>

#include <vector>

#include "framelib/frame_test_helpers.h"
#include "framelib/picture_layout.h"
#include "platform/bitmap.h"

namespace {

TEST(FrameFactory, IsOneObjectForTheProcess) {
  ICVFactory* a = GetFrameFactory();
  ICVFactory* b = GetFrameFactory();
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a, b);
  auto unknown = Query<IUnknown>(a, IID_IUnknown);
  auto again = Query<ICVFactory>(unknown.Get(), IID_ICVFactory);
  EXPECT_EQ(again.Get(), a);
  void* none = reinterpret_cast<void*>(1);
  EXPECT_EQ(a->QueryInterface(IID_ICVFrame, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  a->Release();
  b->Release();
}

TEST(FrameFactory, FrameAllocGivesAZeroedBufferWithoutFormat) {
  auto factory = Factory();
  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(factory->FrameAlloc(4096, &raw), S_OK);
  FramePtr frame = FramePtr::Adopt(raw);
  int64_t size = 0;
  uint8_t* bytes = nullptr;
  ASSERT_EQ(Query<ICVFrame>(frame.Get(), IID_ICVFrame)->BytesGet(&size, &bytes), S_OK);
  EXPECT_EQ(size, 4096);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), std::vector<uint8_t>(4096, 0));
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  EXPECT_EQ(props.video.colourFormat, 0u);

  ASSERT_EQ(factory->FrameAlloc(0, &raw), S_OK);
  FramePtr empty = FramePtr::Adopt(raw);
  EXPECT_EQ(empty->PixelsGet(0, &bytes), S_FALSE);

  raw = reinterpret_cast<ICVFrame_I*>(1);
  EXPECT_EQ(factory->FrameAlloc(-1, &raw), E_INVALIDARG);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(factory->FrameAlloc(int64_t{1} << 40, &raw), E_OUTOFMEMORY);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(factory->FrameAlloc(16, nullptr), E_POINTER);
}

TEST(FrameFactory, FrameCreateCopiesPixelsAlongTheirOwnRowSize) {
  auto factory = Factory();
  // 4 x 3 RGB32 with 24-byte lines: 8 bytes of padding each that must come along.
  std::vector<uint8_t> source(24 * 3);
  for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i + 1);
  TVideoProps v{};
  v.colourFormat = kColourRGB32;
  v.width = 4;
  v.height = 3;  // bottom-up, as a device-independent bitmap
  v.rowBytes = 24;
  v.frameRate = 30;
  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(factory->FrameCreate(&v, reinterpret_cast<uintptr_t>(source.data()), 0, 0, 0, &raw, nullptr), S_OK);
  FramePtr frame = FramePtr::Adopt(raw);

  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  EXPECT_TRUE(SameBytes(&props.video, &v, sizeof(v)));
  uint8_t* pixels = nullptr;
  ASSERT_EQ(frame->PixelsGet(0, &pixels), S_OK);
  ASSERT_NE(pixels, source.data());
  EXPECT_TRUE(SameBytes(pixels, source.data(), source.size()));
  // The top line of a bottom-up picture is the last one in memory.
  TPictureLayout layout{};
  ASSERT_EQ(PictureLayoutOf(props.video, &layout), TPictureKind::Picture);
  EXPECT_EQ(pixels[PictureLineOffset(layout, 0)], 49);
  source[0] = 0;
  EXPECT_EQ(pixels[0], 1) << "a copy, not a view of the caller's memory";
}

TEST(FrameFactory, FrameCreateWithoutPixelsIsBlackAndPlanarCarriesItsChroma) {
  TVideoProps v{};
  v.colourFormat = kColourNV12;
  v.width = 8;
  v.height = 4;
  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(Factory()->FrameCreate(&v, 0, 0, 0, 0, &raw, nullptr), S_OK);
  FramePtr frame = FramePtr::Adopt(raw);
  int64_t size = 0;
  uint8_t* bytes = nullptr;
  Query<ICVFrame>(frame.Get(), IID_ICVFrame)->BytesGet(&size, &bytes);
  EXPECT_EQ(size, 8 * 4 * 3 / 2);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), std::vector<uint8_t>(48, 0));
}

TEST(FrameFactory, FrameCreateRefusesWhatIsNoPicture) {
  auto factory = Factory();
  TVideoProps v{};
  v.width = 8;
  v.height = 8;  // no colour
  ICVFrame_I* raw = reinterpret_cast<ICVFrame_I*>(1);
  EXPECT_EQ(factory->FrameCreate(&v, 0, 0, 0, 0, &raw, nullptr), E_INVALIDARG);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(factory->FrameCreate(nullptr, 0, 0, 0, 0, &raw, nullptr), E_POINTER);
  v.colourFormat = kColourRGB32;
  EXPECT_EQ(factory->FrameCreate(&v, 0, 0, 0, 0, nullptr, nullptr), E_POINTER);
}

TEST(FrameFactory, CloneForAReaderCopiesEverything) {
  auto factory = Factory();
  FramePtr frame = MakeFrame(kColourHDYC, 8, 2);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  for (int i = 0; i < 32; ++i) pixels[i] = static_cast<uint8_t>(i);
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  props.passThrough[2079] = 0xEE;
  frame->FormatSet(&props, nullptr);
  const TAudioProps audio{1, 48000, -32, 4};
  frame->AudioSet(&audio, 16, 0, 0);
  TFrameTime t = Stamp(10, 20, kFrameFlagGap);
  frame->TimeSet(&t);
  frame->LabelSet(L"WAIT", 0, 12);
  Query<ICVNamedValues>(frame.Get(), IID_ICVNamedValues)->ValueSet(L"dup", 1);

  frame->FormatGet(&props, nullptr);
  ASSERT_EQ(props.passThrough[2079], 0xEE);
  ASSERT_EQ(props.audio.bitsPerSample, -32);

  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(factory->FrameClone(frame.Get(), &raw, kFrameCloneOwned, 0), S_OK);
  FramePtr clone = FramePtr::Adopt(raw);
  ASSERT_NE(clone.Get(), frame.Get());
  TAvProps cp{};
  int32_t audioBytes = 0;
  clone->FormatGet(&cp, &audioBytes);
  EXPECT_TRUE(SameBytes(&cp, &props, sizeof(props)));
  EXPECT_EQ(audioBytes, 16);
  TFrameTime ct{};
  clone->TimeGet(&ct);
  EXPECT_TRUE(SameBytes(&ct, &t, sizeof(t)));
  uint8_t* copied = nullptr;
  clone->PixelsGet(0, &copied);
  ASSERT_NE(copied, pixels);
  EXPECT_TRUE(SameBytes(copied, pixels, 32));
  int64_t v = 0;
  EXPECT_EQ(Query<ICVFrame>(clone.Get(), IID_ICVFrame)->LabelGet(L"WAIT", &v), S_OK);
  EXPECT_EQ(v, 12);
  EXPECT_EQ(Query<ICVNamedValues>(clone.Get(), IID_ICVNamedValues)->ValueGet(L"dup", &v), S_OK);

  // The reader owns it alone: the producer's later writes don't reach it.
  t.startTime = 99;
  frame->TimeSet(&t);
  pixels[0] = 0xFF;
  clone->TimeGet(&ct);
  EXPECT_EQ(ct.startTime, 10);
  EXPECT_EQ(copied[0], 0);
}

TEST(FrameFactory, CloneAndDuplicateTakeOnlyTheirModes) {
  auto factory = Factory();
  FramePtr frame = MakeFrame();
  ICVFrame_I* raw = reinterpret_cast<ICVFrame_I*>(1);
  EXPECT_EQ(factory->FrameClone(frame.Get(), &raw, kFrameDuplicateRepeat, 0), E_INVALIDARG);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(factory->FrameClone(nullptr, &raw, kFrameCloneOwned, 0), E_POINTER);
  EXPECT_EQ(factory->FrameClone(frame.Get(), nullptr, kFrameCloneOwned, 0), E_POINTER);
  EXPECT_EQ(factory->FrameDuplicate(frame.Get(), &raw, kFrameCloneOwned), E_INVALIDARG);
  for (uint32_t mode : {kFrameDuplicateRepeat, kFrameDuplicateWork}) {
    ASSERT_EQ(factory->FrameDuplicate(frame.Get(), &raw, mode), S_OK);
    FramePtr copy = FramePtr::Adopt(raw);
    EXPECT_NE(copy.Get(), frame.Get());
  }
}

TEST(FrameFactory, FrameFromBitmapReadsTheBitmapTopLineFirst) {
  auto factory = Factory();
  ICVFrame_I* raw = reinterpret_cast<ICVFrame_I*>(1);
  EXPECT_EQ(factory->FrameFromBitmap(0, &raw, 0), E_INVALIDARG);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(factory->FrameFromBitmap(1, nullptr, 0), E_POINTER);

  const uint32_t picture[] = {0x00102030, 0x00405060, 0x00708090,   // top line
                              0x00A0B0C0, 0x00D0E0F0, 0x00010203};  // bottom line
  const uint64_t bitmap = cvplat::CreateBitmap32(3, 2, picture);
  ASSERT_NE(bitmap, 0u);
  ASSERT_EQ(factory->FrameFromBitmap(bitmap, &raw, 0), S_OK);
  FramePtr frame = FramePtr::Adopt(raw);
  cvplat::DeleteBitmap(bitmap);
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  EXPECT_EQ(props.video.colourFormat, kColourARGB32);
  EXPECT_EQ(props.video.width, 3);
  EXPECT_EQ(props.video.height, -2) << "top-down";
  EXPECT_EQ(props.video.rowBytes, 12);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  for (int i = 0; i < 6; ++i) {
    uint32_t p = 0;
    std::memcpy(&p, pixels + 4 * i, 4);
    EXPECT_EQ(p & 0x00FFFFFF, picture[i]) << "pixel " << i;
  }
  // A handle that names nothing, or no longer, is refused.
  EXPECT_EQ(factory->FrameFromBitmap(bitmap, &raw, 0), E_INVALIDARG);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(factory->FrameFromBitmap(0x1234, &raw, 0), E_INVALIDARG);
}

}  // namespace
