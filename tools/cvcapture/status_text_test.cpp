#include "tools/cvcapture/status_text.h"

#include <gtest/gtest.h>

namespace {

TEST(StatusText, HexCodeAndMeaning) {
  EXPECT_EQ(StatusText(E_INVALIDARG), "0x80070057 (bad argument)");
  EXPECT_EQ(StatusText(CV_E_TIMEOUT), "0x800705B4 (time-out)");
  EXPECT_EQ(StatusText(CV_E_DEVICE_NOT_AVAILABLE), "0x800710D2 (device not available or empty)");
  EXPECT_EQ(StatusText(S_FALSE), "0x00000001 (nothing changed or nothing there)");
  EXPECT_EQ(StatusText(static_cast<HRESULT>(0x80091234u)), "0x80091234 (unknown status)");
  EXPECT_EQ(StatusMeaning(static_cast<HRESULT>(0x80091234u)), nullptr);
}

}  // namespace
