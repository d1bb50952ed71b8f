#include "device/source_impl.h"

#include <gtest/gtest.h>

#include <atomic>

#include "device/source_test_host.h"

namespace {

const cvplat::DevicePlatform& TestPlatform() {
  static const auto platform = cvplat::SimDevicePlatform();
  return *platform;
}

// The smallest object that carries the reading faces: it answers for ICVSource_I alone, as the device
// does, and reaches the inner face directly.
class TSourceObject final : public ITSourceImpl<TSourceObject> {
 public:
  explicit TSourceObject(ISourceHost* host) : ITSourceImpl(host, TestPlatform()) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ICVSource_I)) {
      *object = static_cast<ICVSource_I*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs_; }

 private:
  std::atomic<ULONG> refs_{1};
};

TEST(SourceFaces, ReadsThroughBothTablesReachTheSameReaders) {
  TFakeSourceHost host;
  TSourceObject object(&host);
  ICVSource_I* outer = &object;
  ITSource_I* inner = object.InnerSource();

  int64_t id = 0;
  ASSERT_EQ(inner->SourceFrameGetEx(&id, 0, nullptr, 0x01 | (2u << 8)), S_OK);
  ASSERT_NE(id, 0);
  SourceFramePtr f = MakeNumberedFrame(9);
  EXPECT_EQ(object.Source_PutFrame(f.Get(), 0, -1, nullptr, nullptr), S_OK);

  ICVFrame_I* got = nullptr;
  ASSERT_EQ(outer->SourceFrameGetEx_I(&id, &got, 0, nullptr), S_OK);
  EXPECT_EQ(FrameNumber(got), 9);
  got->Release();

  // The inner read hands out the host's view of the frame.
  EXPECT_EQ(object.Source_PutFrame(f.Get(), 0, -1, nullptr, nullptr), S_OK);
  ICVFrame* hostFrame = nullptr;
  ASSERT_EQ(inner->SourceFrameGetEx(&id, 0, &hostFrame, 0), S_OK);
  TFrameTime t{};
  EXPECT_EQ(hostFrame->TimeGet(&t), S_OK);
  EXPECT_EQ(t.startTime, 9 * 166667);
  hostFrame->Release();

  TAvProps props{};
  EXPECT_EQ(outer->SourceLastFormatGet(&props), S_OK);
  EXPECT_EQ(inner->SourceReaderClose(id), S_OK);
  EXPECT_EQ(host.closes, 1);
  // With no reader left the shared one is made anew, and fails quietly on the inner face.
  EXPECT_EQ(inner->SourceFrameGet(0, &hostFrame, 0), S_FALSE);
}

TEST(SourceFaces, ProcessOperationsOfBothTablesReachOneWatch) {
  TFakeSourceHost host;
  TSourceObject object(&host);
  ICVSource_I* outer = &object;
  ITSource_I* inner = object.InnerSource();
  ICVExternal* external = object.InnerExternal();
  uint32_t self = 0;
  ASSERT_EQ(external->ProcessIdGet(&self), S_OK);

  int64_t outerEvent = 0;
  int64_t innerEvent = 0;
  EXPECT_EQ(outer->SourceProcessCheck(&outerEvent), S_FALSE);
  EXPECT_EQ(inner->SourceProcessCheck(&innerEvent), S_FALSE);
  EXPECT_NE(outerEvent, 0);
  EXPECT_EQ(innerEvent, outerEvent);

  EXPECT_EQ(outer->SourceProcessAttach(self), S_OK);
  EXPECT_EQ(inner->SourceProcessAttach(self), S_FALSE);
  EXPECT_EQ(external->ProcessCheck(nullptr), S_OK);
  EXPECT_EQ(inner->SourceProcessDetach(self), S_OK);
  EXPECT_EQ(outer->SourceProcessCheck(nullptr), S_OK);
  EXPECT_EQ(outer->SourceProcessDetach(self), S_OK);
  EXPECT_EQ(inner->SourceProcessDetach(self), CV_E_NOT_FOUND);
  EXPECT_EQ(outer->SourceProcessCheck(nullptr), S_FALSE);
  // The watch is inner: the object doesn't answer for it.
  void* asked = nullptr;
  EXPECT_EQ(object.QueryInterface(IID_ICVExternal, &asked), E_NOINTERFACE);
}

}  // namespace
