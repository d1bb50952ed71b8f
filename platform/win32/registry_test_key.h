// What the tests over the real registry share: a key of its own for each test, and a fixture that keeps
// that key open through the registry's own calls, to plant values and look at what the store wrote.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "platform/settings_store_test.h"

namespace cvplat {

inline constexpr const wchar_t* kRegistryTestRoot = L"Software\\CVDeviceSCR-tests";

// A key path below the common test root that no other test, in this run or another, uses.
inline std::wstring RandomRegistryTestPath() {
  std::random_device seed;
  std::mt19937_64 random((static_cast<uint64_t>(seed()) << 32) ^ seed() ^ GetCurrentProcessId());
  return std::wstring(kRegistryTestRoot) + L"\\" + std::to_wstring(random());
}

// A key of its own for one test, deleted with everything below it at the end; the common parent goes
// too once no test uses it.
class RegistryHarness final : public SettingsStoreHarness {
 public:
  ~RegistryHarness() override {
    RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    RegDeleteKeyW(HKEY_CURRENT_USER, kRegistryTestRoot);  // fails while another run has keys below it
  }
  ISettingsStore* store() override { return store_.get(); }
  std::wstring keyPath() override { return path_; }

 private:
  std::unique_ptr<ISettingsStore> store_ = CreateUserSettingsStore();
  std::wstring path_ = RandomRegistryTestPath();
};

inline std::unique_ptr<SettingsStoreHarness> MakeRegistryHarness() { return std::make_unique<RegistryHarness>(); }

// The harness's key, made and held open by the test itself.
class RegistryKeyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, harness_.keyPath().c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &raw_, nullptr),
              ERROR_SUCCESS);
  }
  void TearDown() override {
    if (raw_) RegCloseKey(raw_);
  }

  void Plant(const wchar_t* name, DWORD type, const void* data, DWORD bytes) {
    ASSERT_EQ(RegSetValueExW(raw_, name, 0, type, static_cast<const BYTE*>(data), bytes), ERROR_SUCCESS);
  }

  RegistryHarness harness_;
  HKEY raw_ = nullptr;
};

}  // namespace cvplat
