// Fuzzes the settings-file reader with arbitrary bytes and checks what the store relies on: reading never
// fails or crashes, a file written from what was read reads the same and writes the same again, and
// every value written afresh comes back unchanged.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/settings_file_format.h"

namespace {

using cvplat::SettingsTable;
using cvplat::SettingValue;

void Check(bool condition) {
  if (!condition) __builtin_trap();
}

bool SameValue(const SettingValue& a, const SettingValue& b) {
  return a.name == b.name && a.kind == b.kind && a.dword == b.dword && a.qword == b.qword && a.text == b.text;
}

void CheckSameEnumeration(const SettingsTable& a, const SettingsTable& b) {
  Check(a.NamedCount() == b.NamedCount());
  for (uint32_t i = 0; i <= a.NamedCount(); ++i) {
    SettingValue va, vb;
    HRESULT ha = a.Enum(i, &va);
    HRESULT hb = b.Enum(i, &vb);
    Check(ha == hb);
    if (ha == S_OK || ha == cvplat::CV_E_SETTING_BAD_DATA) Check(SameValue(va, vb));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  SettingsTable read;
  cvplat::ParseSettingsFile(bytes, &read);

  const std::string written = cvplat::FormatSettingsFile(read);
  SettingsTable reread;
  cvplat::ParseSettingsFile(written, &reread);
  CheckSameEnumeration(read, reread);
  Check(cvplat::FormatSettingsFile(reread) == written);

  // The writer's own form of every readable value, names and texts escaped afresh.
  SettingsTable fresh;
  for (const SettingsTable::Entry& entry : read.entries())
    if (entry.type == SettingsTable::EntryType::kValue) Check(fresh.Set(entry.value) == S_OK);
  SettingsTable back;
  cvplat::ParseSettingsFile(cvplat::FormatSettingsFile(fresh), &back);
  Check(back.NamedCount() == fresh.NamedCount());
  for (size_t i = 0; i < back.entries().size(); ++i) {
    Check(back.entries()[i].type == SettingsTable::EntryType::kValue);
    Check(SameValue(back.entries()[i].value, fresh.entries()[i].value));
  }
  return 0;
}
