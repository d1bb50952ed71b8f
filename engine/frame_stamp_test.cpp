#include "engine/frame_stamp.h"

#include <gtest/gtest.h>

#include "framelib/frame_factory.h"
#include "media/timecode.h"
#include "props/xml_node.h"

namespace {

TRefPtr<ICVFrame_I> EmptyFrame() {
  ICVFactory* factory = GetFrameFactory();
  ICVFrame_I* frame = nullptr;
  EXPECT_EQ(factory->FrameAlloc(0, &frame), S_OK);
  factory->Release();
  return TRefPtr<ICVFrame_I>::Adopt(frame);
}

TFrameTime Stamped(double rate, int64_t n, XMLParse::CoXMLNode* props = nullptr) {
  TRefPtr<ICVFrame_I> frame = EmptyFrame();
  EXPECT_EQ(StampFrame(rate, props, frame.Get(), n), S_OK);
  TFrameTime t{};
  EXPECT_EQ(frame->TimeGet(&t), S_OK);
  return t;
}

TEST(FrameStamp, NoFrameIsNoFailure) { EXPECT_EQ(StampFrame(30.0, nullptr, nullptr, 5), S_FALSE); }

TEST(FrameStamp, ThirtyFramesPerSecondUsesTheExactThirdOfAMillion) {
  const TFrameTime t3 = Stamped(30.0, 3);
  EXPECT_EQ(t3.startTime, 1'000'000);
  EXPECT_EQ(t3.endTime, 1'333'333);
  // A thousand seconds in, the stamps have not drifted by a unit.
  const TFrameTime late = Stamped(30.0, 30'000);
  EXPECT_EQ(late.startTime, 1000 * kTimeUnitsPerSecond);
  EXPECT_EQ(late.endTime, 1000 * kTimeUnitsPerSecond + 333'333);
  for (int64_t n : {0, 1, 2, 29, 1000}) {
    const TFrameTime a = Stamped(30.0, n);
    const TFrameTime b = Stamped(30.0, n + 1);
    EXPECT_EQ(a.endTime, b.startTime) << "frames meet without gap at " << n;
  }
}

TEST(FrameStamp, NtscRateUsesTheExactDurationOf1001Over30000) {
  EXPECT_DOUBLE_EQ(FrameDuration(29.97), 10'010'000.0 / 30.0);
  EXPECT_DOUBLE_EQ(FrameDuration(30000.0 / 1001.0), 10'010'000.0 / 30.0);
  const TFrameTime t1 = Stamped(29.97, 1);
  EXPECT_EQ(t1.startTime, 333'667);
  EXPECT_EQ(t1.endTime, 667'333);
  const TFrameTime t30 = Stamped(29.97, 30'000);
  EXPECT_EQ(t30.startTime, 1001 * kTimeUnitsPerSecond);
  EXPECT_EQ(t30.endTime, 1001 * kTimeUnitsPerSecond + 333'667);
  // Without a rate a frame lasts as long as at 29.97.
  EXPECT_DOUBLE_EQ(FrameDuration(0.0), FrameDuration(29.97));
  EXPECT_EQ(Stamped(0.0, 3).startTime, 1'001'000);
}

TEST(FrameStamp, FirstFrameOfARunCarriesTheGapFlag) {
  const TFrameTime t0 = Stamped(25.0, 0);
  EXPECT_EQ(t0.startTime, 0);
  EXPECT_EQ(t0.endTime, 400'000);
  EXPECT_EQ(t0.frameFlags, 0x101u);
  const TFrameTime t1 = Stamped(25.0, 1);
  EXPECT_EQ(t1.startTime, 400'000);
  EXPECT_EQ(t1.frameFlags, 0x100u);
  EXPECT_EQ(t1.reserved0, 0);
  EXPECT_EQ(t1.reserved1, 0);
}

TEST(FrameStamp, TimecodeFollowsTheNumberAndTheDropFrameKey) {
  // Frame 1800 at 29.97 is 00:01:00;02 in drop frame, 00:01:00:00 without.
  TFrameTime dropped{};
  TimecodeFromFrame(1800, 29.97, true, dropped);
  TFrameTime plain{};
  TimecodeFromFrame(1800, 29.97, false, plain);
  ASSERT_NE(dropped.frames, plain.frames) << "the two timecodes differ at this frame";

  const TFrameTime byDefault = Stamped(29.97, 1800);
  EXPECT_EQ(byDefault.frames, dropped.frames) << "drop frame is the default";
  EXPECT_EQ(byDefault.timecodeFlags, dropped.timecodeFlags);

  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(L"t-props");
  props->SetString(L"timecode.drop_frame", L"false");
  const TFrameTime off = Stamped(29.97, 1800, props.Get());
  EXPECT_EQ(off.minutes, plain.minutes);
  EXPECT_EQ(off.frames, plain.frames);
  EXPECT_EQ(off.timecodeFlags, plain.timecodeFlags);

  // The timecode takes the low 32 bits of the number.
  TFrameTime low{};
  TimecodeFromFrame(7, 25.0, true, low);
  const TFrameTime wrapped = Stamped(25.0, (int64_t{1} << 32) + 7);
  EXPECT_EQ(wrapped.seconds, low.seconds);
  EXPECT_EQ(wrapped.frames, low.frames);
}

}  // namespace
