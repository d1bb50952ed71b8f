#include "platform/module_info.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "platform/device_platform.h"

namespace {

using cvplat::ModuleInfo;
using cvplat::VersionWords;

bool DateShaped(const std::wstring& date) {
  static const std::wregex shape(
      L"(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 1-3][0-9] [0-9]{4} [0-2][0-9]:[0-5][0-9]:[0-6][0-9]");
  return std::regex_match(date, shape);
}

TEST(ModuleInfo, BuildRecordsTheProjectVersionAndACompileTime) {
  EXPECT_EQ(cvplat::BuildVersion(), (VersionWords{1, 0, 0, 1}));
  EXPECT_TRUE(DateShaped(cvplat::BuildDate())) << std::filesystem::path(cvplat::BuildDate()).string();
}

TEST(ModuleInfo, DateShapeCheckRejectsOtherForms) {
  EXPECT_TRUE(DateShaped(L"Jan  2 2025 03:04:05"));
  EXPECT_TRUE(DateShaped(L"Dec 31 1999 23:59:59"));
  EXPECT_FALSE(DateShaped(L"2025-01-02 03:04:05"));
  EXPECT_FALSE(DateShaped(L"Jan 2 2025 03:04:05"));
  EXPECT_FALSE(DateShaped(L"Jan  2 2025"));
}

// This test program links the code statically, so the module that holds it is the program itself.
TEST(ModuleInfo, NativeModuleIsThisProgramWithBuildVersionsAndDate) {
  const ModuleInfo info = cvplat::CurrentModuleInfo();
  ASSERT_FALSE(info.path.empty());
  const std::filesystem::path path(info.path);
  EXPECT_TRUE(path.is_absolute()) << path.string();
  EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path.string();
  EXPECT_EQ(info.path, info.processPath);
  EXPECT_NE(info.processId, 0u);
  // The program carries no version resource: the words are the build's.
  EXPECT_EQ(info.productVersion, (VersionWords{1, 0, 0, 1}));
  EXPECT_EQ(info.fileVersion, (VersionWords{1, 0, 0, 1}));
  EXPECT_TRUE(DateShaped(info.buildDate)) << std::filesystem::path(info.buildDate).string();
}

TEST(ModuleInfo, DevicePlatformsCarryTheirModule) {
  const auto native = cvplat::NativeDevicePlatform();
  EXPECT_EQ(native->module.path, cvplat::CurrentModuleInfo().path);
  ASSERT_TRUE(native->listWindows);

  const auto sim = cvplat::SimDevicePlatform();
  EXPECT_EQ(sim->module.path, L"C:\\Sim\\CVDeviceSCR.dll");
  EXPECT_EQ(sim->module.fileVersion, (VersionWords{1, 0, 0, 2}));
  EXPECT_EQ(sim->module.processId, 0x1234u);
  EXPECT_TRUE(DateShaped(sim->module.buildDate));
  ASSERT_TRUE(sim->listWindows);
  EXPECT_EQ(sim->listWindows().size(), 2u);

  // Every capture seam is there on both, and the sim's is the simulated desktop.
  for (const cvplat::CapturePlatform* capture : {&native->capture, static_cast<const cvplat::CapturePlatform*>(&sim->capture)}) {
    EXPECT_TRUE(capture->system && capture->monitors && capture->windows && capture->pointer &&
                capture->makeGrabber && capture->duplication && capture->gpu);
  }
  const std::vector<cvplat::MonitorInfo> monitors = sim->capture.monitors->List();
  ASSERT_EQ(monitors.size(), 1u);
  EXPECT_EQ(monitors[0].rect.right, 1920);
}

}  // namespace
