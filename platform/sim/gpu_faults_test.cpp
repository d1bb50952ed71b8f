#include "platform/sim/gpu_faults.h"

#include <gtest/gtest.h>

#include "platform/cpu_gpu/gpu_test_support.h"

namespace cvplat::gputest {
namespace {

TEST(GpuFaults, FailsExactlyTheScriptedCallsOfAKind) {
  GpuFaults faults;
  faults.Fail(GpuCall::Texture, 2);
  faults.Fail(GpuCall::Map, 1, E_OUTOFMEMORY);
  GpuRig rig(faults.Factory());

  const Picture picture = Picture::Filled(2, 2, kRed);
  EXPECT_TRUE(rig.Texture(picture));
  GpuTexture2DDesc desc;
  desc.width = desc.height = 2;
  TRefPtr<IGpuTexture2D> refused;
  EXPECT_EQ(rig.device->CreateTexture2D(&desc, nullptr, refused.Receive()), E_FAIL);
  EXPECT_FALSE(refused);
  const TRefPtr<IGpuTexture2D> third = rig.Texture(picture);
  EXPECT_TRUE(third);
  EXPECT_EQ(faults.Calls(GpuCall::Texture), 3);

  // The first mapping is refused and leaves nothing mapped; the readback after it works.
  desc.usage = GpuUsage::Staging;
  desc.cpuAccessFlags = kGpuCpuAccessRead;
  TRefPtr<IGpuTexture2D> staging;
  ASSERT_EQ(rig.device->CreateTexture2D(&desc, nullptr, staging.Receive()), S_OK);
  GpuMappedSubresource mapped;
  EXPECT_EQ(rig.context->Map(staging.Get(), 0, GpuMapType::Read, 0, &mapped), E_OUTOFMEMORY);
  EXPECT_EQ(mapped.data, nullptr);
  EXPECT_EQ(rig.Read(third.Get()).pixels, picture.pixels);
  EXPECT_EQ(faults.Calls(GpuCall::Map), 2);
}

TEST(GpuFaults, RefusesTheDeviceAProgramByIdAndReportsALowFeatureLevel) {
  GpuFaults faults;
  faults.Fail(GpuCall::CreateDevice, 1);
  faults.FailProgram(GpuProgramId::Hdyc, 1, E_FAIL, 0);  // every HDYC program
  faults.Fail(GpuCall::MultithreadProtection, 1, E_NOINTERFACE);
  faults.ReportFeatureLevel(kGpuFeatureLevel9_3);

  IGpuDevice* device = reinterpret_cast<IGpuDevice*>(1);
  IGpuContext* context = reinterpret_cast<IGpuContext*>(1);
  UINT level = 1;
  EXPECT_EQ(faults.CreateDevice(&device, &level, &context), E_FAIL);
  EXPECT_EQ(device, nullptr);
  EXPECT_EQ(context, nullptr);

  ASSERT_EQ(faults.CreateDevice(&device, &level, &context), S_OK);
  EXPECT_EQ(level, kGpuFeatureLevel9_3);
  EXPECT_EQ(device->GetFeatureLevel(), kGpuFeatureLevel9_3);
  EXPECT_EQ(device->SetMultithreadProtected(1), E_NOINTERFACE);
  EXPECT_EQ(device->SetMultithreadProtected(1), S_OK);
  EXPECT_TRUE(device->GetMultithreadProtected());

  IGpuProgram* program = nullptr;
  EXPECT_EQ(device->CreateProgram(GpuProgramId::Hdyc, &program), E_FAIL);
  EXPECT_EQ(device->CreateProgram(GpuProgramId::Hdyc, &program), E_FAIL);
  EXPECT_EQ(program, nullptr);
  ASSERT_EQ(device->CreateProgram(GpuProgramId::Argb, &program), S_OK);
  program->Release();
  EXPECT_EQ(faults.ProgramCalls(GpuProgramId::Hdyc), 2);
  EXPECT_EQ(faults.Calls(GpuCall::Program), 3);
  context->Release();
  device->Release();
  EXPECT_EQ(faults.LiveObjects(), 0);
}

// A final pass through the wrapper without its constant buffer, as the pipeline goes on when that one
// fails: the program reads zeros, so every pixel lies off a `screen` of (0, 0, 0, 0) and is transparent
// black. Afterwards nothing the pass made is left.
TEST(GpuFaults, CountsLiveObjectsAndAFailedPassLeavesNoneBehind) {
  GpuFaults faults;
  faults.Fail(GpuCall::ConstantBuffer, 1);
  {
    GpuRig rig(faults.Factory());
    const int setUp = faults.LiveObjects();  // device, context, vertex program, layout, blend, 2 samplers
    EXPECT_EQ(setUp, 7);
    const float whole[4] = {0, 0, 1, 1};
    const Picture out = rig.FinalPass(Picture::Filled(4, 2, kWhite), GpuProgramId::Argb, rig.point.Get(),
                                      Constants(whole, whole, whole, 4, 2), 4, 2);
    EXPECT_EQ(out.pixels, Picture::Filled(4, 2, {}).pixels);
    EXPECT_EQ(faults.Calls(GpuCall::ConstantBuffer), 1);
    EXPECT_EQ(faults.Calls(GpuCall::Draw), 1);
    EXPECT_EQ(faults.LiveObjects(), setUp);
  }
  EXPECT_EQ(faults.LiveObjects(), 0);
}

}  // namespace
}  // namespace cvplat::gputest
