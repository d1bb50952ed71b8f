#include "device/frame_reader.h"

#include <gtest/gtest.h>

#include "device/source_test_host.h"

namespace {

// A thread that holds a reader may still read it after its close. The take rule fails only on an empty
// queue, so what was queued before the close is handed out; then the take fails, which the read turns
// into 0x80004004.
TEST(FrameReader, ClosedReaderHandsOutWhatItHadQueued) {
  TRefPtr<TReader> reader = MakeRef<TReader>(3, false);
  reader->Offer(MakeNumberedFrame(0).Get());
  reader->Offer(MakeNumberedFrame(1).Get());
  reader->Close();
  // Both events stand set: a producer and a consumer waiting on the reader wake at once.
  EXPECT_EQ(cvplat::WaitForOne(reader->HasFramesEvent(), 0), cvplat::kWaitObject0);
  EXPECT_EQ(cvplat::WaitForOne(reader->HasRoomEvent(), 0), cvplat::kWaitObject0);
  reader->Offer(MakeNumberedFrame(2).Get());  // nothing new goes into a closed reader
  EXPECT_EQ(reader->State().length, 2u);

  TRefPtr<ICVFrame_I> frame;
  bool gap = false;
  ASSERT_TRUE(reader->Take(TReader::TakeMode::Oldest, &frame, &gap));
  EXPECT_EQ(FrameNumber(frame.Get()), 0);
  EXPECT_TRUE(gap);  // a reader's first frame
  ASSERT_TRUE(reader->Take(TReader::TakeMode::NewestAndFlush, &frame, &gap));
  EXPECT_EQ(FrameNumber(frame.Get()), 1);
  EXPECT_FALSE(gap);
  EXPECT_FALSE(reader->Take(TReader::TakeMode::Oldest, &frame, &gap));
}

}  // namespace
