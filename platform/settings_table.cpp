#include "platform/settings_table.h"

#include <cstddef>
#include <utility>

namespace cvplat {

HRESULT TableSettingsKey::SetDword(const wchar_t* name, uint32_t value) {
  SettingValue v;
  v.kind = SettingKind::kDword;
  v.dword = value;
  return SetValue(name, std::move(v));
}

HRESULT TableSettingsKey::SetQword(const wchar_t* name, uint64_t value) {
  SettingValue v;
  v.kind = SettingKind::kQword;
  v.qword = value;
  return SetValue(name, std::move(v));
}

HRESULT TableSettingsKey::SetString(const wchar_t* name, const wchar_t* text) {
  if (!text) return E_POINTER;
  SettingValue v;
  v.kind = SettingKind::kString;
  v.text = text;
  return SetValue(name, std::move(v));
}

std::wstring FoldSettingName(const std::wstring& name) {
  std::wstring folded(name);
  for (wchar_t& c : folded)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return folded;
}

void SettingsTable::Put(Entry entry) {
  if (entry.type == EntryType::kLine) {
    entry.value = SettingValue();
    entries_.push_back(std::move(entry));
    return;
  }
  std::wstring folded = FoldSettingName(entry.value.name);
  auto found = by_name_.find(folded);
  if (found != by_name_.end()) {
    entries_[found->second] = std::move(entry);
    return;
  }
  by_name_.emplace(std::move(folded), entries_.size());
  named_.push_back(entries_.size());
  entries_.push_back(std::move(entry));
}

HRESULT SettingsTable::Set(const SettingValue& value) {
  if (value.name.size() > kSettingMaxNameChars) return E_INVALIDARG;
  switch (value.kind) {
    case SettingKind::kDword:
    case SettingKind::kQword:
    case SettingKind::kString:
    case SettingKind::kExpandString:
      break;
    default:
      return E_INVALIDARG;
  }
  Entry entry;
  entry.type = EntryType::kValue;
  entry.value = value;
  auto found = by_name_.find(FoldSettingName(value.name));
  if (found != by_name_.end()) entry.value.name = entries_[found->second].value.name;
  Put(std::move(entry));
  return S_OK;
}

bool SettingsTable::Remove(const std::wstring& name) {
  auto found = by_name_.find(FoldSettingName(name));
  if (found == by_name_.end()) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(found->second));
  // Positions behind the removed entry move up by one: the indexes are made again.
  named_.clear();
  by_name_.clear();
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].type == EntryType::kLine) continue;
    by_name_.emplace(FoldSettingName(entries_[i].value.name), i);
    named_.push_back(i);
  }
  return true;
}

HRESULT SettingsTable::Enum(uint32_t index, SettingValue* value) const {
  if (!value) return E_POINTER;
  if (index >= named_.size()) return CV_E_SETTING_NO_MORE;
  const Entry& entry = entries_[named_[index]];
  if (entry.value.name.size() >= kSettingNameBufferChars) return CV_E_SETTING_NAME_TOO_LONG;
  if (entry.type == EntryType::kBadData) {
    *value = SettingValue();
    value->name = entry.value.name;
    return CV_E_SETTING_BAD_DATA;
  }
  *value = entry.value;
  if (entry.type == EntryType::kOther) value->kind = SettingKind::kOther;
  return S_OK;
}

}  // namespace cvplat
