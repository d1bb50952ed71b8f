// The option operations of ITPropsImpl and the window list behind capture.follow_window_by_handle.
// None of them takes propsLock for the list: the description is read through the tree's own locks.
#include <string>

#include "device/props_impl.h"
#include "device/props_options.h"
#include "props/catalogue.h"
#include "props/text_chars.h"
#include "props/tree_alloc.h"

using XMLParse::XMLNodePtr;

namespace {

std::wstring_view Arg(LPCOLESTR text) {
  return text ? cv_text::UpToNul(std::wstring_view(text)) : std::wstring_view();
}

// The text of option `option` of `name` into `out`, null when the option has none.
void GiveOptionText(XMLParse::CoXMLNode& root, std::wstring_view name, std::wstring_view option, BSTR* out) {
  if (!out) return;
  *out = nullptr;
  std::optional<std::wstring> text;
  if (!option.empty() && XMLParse::ReadInfoOption(root, name, option, {}, text) && text) {
    *out = XMLParse::TreeAllocString(*text);
  }
}

}  // namespace

std::vector<std::wstring> ITPropsImpl::OptionList(LPCOLESTR name) {
  XMLNodePtr root = core_.PropsRoot();
  std::optional<std::wstring> values;
  if (!root || !XMLParse::ReadInfoField(*root, Arg(name), XMLParse::eInfoValues, values) || !values) return {};
  return SplitOptionValues(*values);
}

HRESULT ITPropsImpl::PropsOptionsCount(LPCOLESTR name, int32_t* count) {
  if (!count) return E_POINTER;
  if (Arg(name).empty()) return E_INVALIDARG;
  *count = static_cast<int32_t>(OptionList(name).size());
  return S_OK;
}

HRESULT ITPropsImpl::PropsOptionsGetByIndex(LPCOLESTR name, int32_t index, BSTR* option, BSTR* text) {
  if (Arg(name).empty()) return E_INVALIDARG;
  const std::vector<std::wstring> rows = OptionList(name);
  if (index < 0 || static_cast<size_t>(index) >= rows.size()) return CV_E_BAD_INDEX;
  const std::wstring& row = rows[static_cast<size_t>(index)];
  if (option) *option = XMLParse::TreeAllocString(row);
  if (text) {
    XMLNodePtr root = core_.PropsRoot();
    if (root) {
      GiveOptionText(*root, Arg(name), row, text);
    } else {
      *text = nullptr;
    }
  }
  return S_OK;
}

HRESULT ITPropsImpl::PropsOptionsSet(LPCOLESTR name, int32_t index) {
  if (Arg(name).empty()) return E_INVALIDARG;
  const std::vector<std::wstring> rows = OptionList(name);
  if (index < 0 || static_cast<size_t>(index) >= rows.size()) return CV_E_BAD_INDEX;
  // Through the interface's table, so that a device that wraps PropsSet sees this write too.
  ICVProps* self = this;
  return self->PropsSet(name, rows[static_cast<size_t>(index)].c_str());
}

HRESULT ITPropsImpl::PropsOptionsGet(LPCOLESTR name, int32_t* index, BSTR*, BSTR* text) {
  if (index) *index = -1;
  if (Arg(name).empty()) return E_INVALIDARG;
  XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  bool found = false;
  const std::wstring current = root->GetString(Arg(name), {}, &found);
  if (!found) return S_FALSE;
  if (index) {
    const std::vector<std::wstring> rows = OptionList(name);
    for (size_t i = 0; i < rows.size(); ++i) {
      if (rows[i] == current) {
        *index = static_cast<int32_t>(i);
        break;
      }
    }
  }
  GiveOptionText(*root, Arg(name), current, text);
  return S_OK;
}

void ITPropsImpl::RefreshWindowList() {
  XMLNodePtr root = core_.PropsRoot();
  const auto& listWindows = core_.Platform().listWindows;
  if (!root || !listWindows) return;
  const std::vector<TOptionRow> rows = WindowOptionRows(listWindows());
  std::vector<const wchar_t*> values, texts;
  for (const TOptionRow& row : rows) {
    values.push_back(row.value.c_str());
    texts.push_back(row.text.c_str());
  }
  values.push_back(nullptr);
  texts.push_back(nullptr);
  if (XMLNodePtr entry = XMLParse::DescribeList(*root, XMLParse::kKeyFollowWindow, values.data(), texts.data(), false)) {
    entry->SetText(L"Input line selector (demo)");
  }
}
