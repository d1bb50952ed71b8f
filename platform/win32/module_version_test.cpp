// Linked with a version resource of its own (module_version_test.rc).
#include <gtest/gtest.h>

#include "platform/module_info.h"

namespace {

TEST(ModuleVersionResource, WordsComeFromTheModulesOwnResource) {
  const cvplat::ModuleInfo info = cvplat::CurrentModuleInfo();
  EXPECT_EQ(info.fileVersion, (cvplat::VersionWords{2, 3, 4, 5}));
  EXPECT_EQ(info.productVersion, (cvplat::VersionWords{6, 7, 8, 9}));
  EXPECT_EQ(info.buildDate, cvplat::BuildDate());
}

}  // namespace
