// Per-user settings of a device: laid over the defaults once, while the device is being made, and
// written back at once, so that after the first start the store shows every property with its value,
// ready to be edited by hand. Later changes live in the tree alone.
//
// The settings come from the frame library's settings service when it has one, else from the per-user
// key of the settings store (platform/settings_store.h). Every failure is silent: a key that cannot be
// opened means defaults only, a key that cannot be made means no write-back, a value that cannot be read
// is skipped.
#pragma once

#include <string_view>

#include "platform/com_types.h"
#include "platform/settings_store.h"
#include "props/settings_key.h"
#include "props/xml_node.h"

namespace XMLParse {

// The settings service of the frame library: a key-to-text store. The text is the attribute text of a
// node (name='value' pairs).
struct ICVSettings : IUnknown {
  // S_FALSE when it has nothing for the key. `text` is the caller's to free.
  virtual HRESULT STDMETHODCALLTYPE Get(LPCOLESTR key, BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE Put(LPCOLESTR key, LPCOLESTR text) = 0;

 protected:
  ~ICVSettings() = default;
};

// Lays the stored settings over the attributes of `root`, overwriting and adding, and with `writeBack`
// writes the merged set back. `service` may be null (no service); `store` may be null (no store).
void LoadSettings(CoXMLNode& root, ICVSettings* service, cvplat::ISettingsStore* store, std::wstring_view keyPath,
                  bool writeBack);

// Writes every attribute of `node` into the key (made if missing), each as a 32-bit number, a 64-bit
// number or a text as its text dictates, and the node's text, if any, as the key's default value. S_OK,
// or the failure to open the key; failed writes of single values are skipped.
HRESULT SaveAttributes(CoXMLNode& node, cvplat::ISettingsStore& store, std::wstring_view keyPath);

// How a value's text is stored: a text that is exactly the "%d" form of a value of at least 0 becomes a
// 32-bit number; exactly the "0x%016I64X" form of a 64-bit value with the top bit clear, a 64-bit
// number; anything else (the empty text too) a text.
struct TStoredForm {
  cvplat::SettingKind kind;
  uint32_t dword;
  uint64_t qword;
};
TStoredForm StoredFormOf(std::wstring_view text);

}  // namespace XMLParse
