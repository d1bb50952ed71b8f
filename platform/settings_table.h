// The values of one settings key in their order, as the memory store and the file store keep them. A
// file's lines travel along: an entry read from a file keeps its line, so that the file comes back as it
// was written but for the values set since, and lines without a value (comments, blank or unreadable
// lines) stay where they were.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/settings_store.h"

namespace cvplat {

// A key kept as a table: its three typed writes are one write of a whole value, which the key's store
// makes in its own way.
class TableSettingsKey : public ISettingsKey {
 public:
  HRESULT SetDword(const wchar_t* name, uint32_t value) override;
  HRESULT SetQword(const wchar_t* name, uint64_t value) override;
  HRESULT SetString(const wchar_t* name, const wchar_t* text) override;

 protected:
  virtual HRESULT SetValue(const wchar_t* name, SettingValue value) = 0;
};

class SettingsTable {
 public:
  enum class EntryType {
    kValue,    // value.kind is kDword, kQword, kString or kExpandString
    kOther,    // a named value of a kind the logic ignores
    kBadData,  // a named value whose data cannot be read
    kLine,     // no value: a comment, a blank or an unreadable line of a file
  };
  struct Entry {
    EntryType type = EntryType::kLine;
    SettingValue value;  // the name for all but kLine
    std::string line;    // the line as a file held it, without its end; empty for an entry set since
  };

  // Adds an entry. A named entry whose name another one already has (without regard to ASCII case)
  // takes that one's place: the later line of a file wins.
  void Put(Entry entry);
  // Sets a value: kind kDword, kQword, kString or kExpandString. A value that is there already keeps its
  // place and the spelling of its name, as the registry does. E_INVALIDARG for a name longer than
  // kSettingMaxNameChars or another kind.
  HRESULT Set(const SettingValue& value);

  // Takes out the named entry of `name`, its line with it; false when there is none.
  bool Remove(const std::wstring& name);

  // ISettingsKey::EnumValue over the named entries.
  HRESULT Enum(uint32_t index, SettingValue* value) const;

  const std::vector<Entry>& entries() const { return entries_; }
  size_t NamedCount() const { return named_.size(); }

 private:
  std::vector<Entry> entries_;
  std::vector<size_t> named_;                         // positions in entries_ of the named entries
  std::unordered_map<std::wstring, size_t> by_name_;  // folded name -> position in entries_
};

// A name with its ASCII letters in lower case: value names and key paths compare in this form.
std::wstring FoldSettingName(const std::wstring& name);

}  // namespace cvplat
