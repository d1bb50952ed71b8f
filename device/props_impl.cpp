#include "device/props_impl.h"

#include <string>

#include "device/props_text.h"
#include "props/catalogue.h"
#include "props/node_path.h"
#include "props/text_chars.h"
#include "props/tree_alloc.h"

using XMLParse::XMLNodePtr;

namespace {

using Guard = CRWSynchroLiteGuard;

std::wstring_view Arg(LPCOLESTR text) {
  return text ? cv_text::UpToNul(std::wstring_view(text)) : std::wstring_view();
}

// An out string for the caller; a failed copy raises, as every string copy of the device does.
void Give(std::wstring_view text, BSTR* out) {
  if (out) *out = XMLParse::TreeAllocString(text);
}

std::wstring VersionText(const cvplat::VersionWords& words) {
  return std::to_wstring(words[0]) + L'.' + std::to_wstring(words[1]) + L'.' + std::to_wstring(words[2]) + L'.' +
         std::to_wstring(words[3]);
}

constexpr size_t kModulePathMax = 1040;

}  // namespace

HRESULT ITPropsImpl::EngineHears(LPCOLESTR name, LPCOLESTR value) {
  IDeviceCore::EngineGuard guard(core_);
  if (!guard.Engine()) return S_OK;
  const HRESULT hr = guard.Engine()->OnPropertyChanged(name, value);
  return FAILED(hr) ? hr : S_OK;
}

bool ITPropsImpl::ModuleKey(std::wstring_view name, std::wstring& text) {
  const cvplat::ModuleInfo& module = core_.Platform().module;
  using cv_text::EqualsNoCase;
  if (EqualsNoCase(name, L"_process_name_")) {
    text = module.processPath;
  } else if (EqualsNoCase(name, L"_process_pid_")) {
    text = std::to_wstring(static_cast<int32_t>(module.processId));
  } else if (EqualsNoCase(name, L"dll-version")) {
    text = VersionText(module.productVersion);
  } else if (EqualsNoCase(name, L"dll-file-version")) {
    text = VersionText(module.fileVersion);
  } else if (EqualsNoCase(name, L"dll-path")) {
    text = module.path.substr(0, kModulePathMax);
  } else if (EqualsNoCase(name, L"dll-date")) {
    text = module.buildDate;
  } else {
    return false;
  }
  return true;
}

HRESULT ITPropsImpl::PropsSet(LPCOLESTR name, LPCOLESTR value) {
  Guard lock(propsLock, Guard::Side::Write);
  XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  const std::wstring_view path = Arg(name);
  if (path.empty()) {
    // A text for the whole root is not told key by key: the engine hears a null name and ignores it.
    const HRESULT hr = ApplyPropsText(*root, value);
    if (FAILED(hr)) return hr;
    return EngineHears(nullptr, value);
  }

  const std::wstring_view text = Arg(value);
  std::wstring earlier;
  if (XMLNodePtr node = root->FindChild(path, false); node && !node->IsText()) {
    node->SetText(text);
  } else {
    earlier = root->GetString(path);
    if (!root->SetString(path, text)) return E_INVALIDARG;
  }

  // "a::b" written where "a" was an attribute: the path has made a node "a" beside it. The node takes
  // the attribute's value as its text, so that the value is not lost and the name means one thing.
  std::wstring_view parentPath, last;
  XMLParse::SplitLastSegment(path, parentPath, last);
  if (!parentPath.empty() && root->HasAttribute(parentPath)) {
    const std::wstring promoted = root->GetString(parentPath);
    if (XMLNodePtr parent = root->FindChild(parentPath, false)) parent->SetText(promoted);
    root->RemoveAttribute(parentPath);
  }

  if (skipUnchanged && !text.empty() && !earlier.empty() && earlier == text) return S_FALSE;
  return EngineHears(name, value ? value : L"");
}

HRESULT ITPropsImpl::PropsGet(LPCOLESTR name, BSTR* value) {
  const std::wstring_view path = Arg(name);
  if (cv_text::EqualsNoCase(path, XMLParse::kKeyFollowWindow)) RefreshWindowList();
  if (!value) return E_POINTER;

  Guard lock(propsLock, Guard::Side::Read);
  XMLNodePtr root = core_.PropsRoot();
  if (path.empty()) {
    if (!root) return E_FAIL;
    Give(root->ToXML(), value);
    return S_OK;
  }
  if (std::wstring text; ModuleKey(path, text)) {
    Give(text, value);
    return S_OK;
  }
  if (!root) return E_FAIL;
  bool found = false;
  const std::wstring text = root->GetString(path, {}, &found);
  if (found) {
    Give(text, value);
    return S_OK;
  }
  if (XMLNodePtr node = root->FindChild(path, false); node && !node->IsText()) {
    std::wstring own;
    Give(node->GetText(own) ? own : node->AttributesText(), value);
    return S_OK;
  }
  return S_FALSE;
}

HRESULT ITPropsImpl::PropsCount(LPCOLESTR path, int32_t* count) {
  if (!count) return E_POINTER;
  Guard lock(propsLock, Guard::Side::Write);
  XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  XMLNodePtr node = Arg(path).empty() ? root : root->FindChild(Arg(path), false);
  if (!node || node->IsText()) return E_INVALIDARG;
  propNames.clear();
  const int32_t children = node->CountChildren();
  if (XMLParse::CollectNames(*node, propNames)) {
    *count = static_cast<int32_t>(propNames.size()) + children;
  } else {
    *count = node->AttributeCount() + children;
  }
  return S_OK;
}

HRESULT ITPropsImpl::PropsGetByIndex(LPCOLESTR path, int32_t index, BSTR* name, BSTR* value, int32_t* isNode) {
  if (isNode) *isNode = 0;
  Guard lock(propsLock, Guard::Side::Write);
  XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  const std::wstring_view where = Arg(path);
  XMLNodePtr node = where.empty() ? root : root->FindChild(where, false);
  if (!node || node->IsText()) {
    if (!cv_text::EqualsNoCase(where, L"_info_")) return E_INVALIDARG;
    std::wstring described;
    if (index < 0 || XMLParse::InfoEntryName(*root, index, described) != S_OK || described.empty()) {
      return E_INVALIDARG;
    }
    bool found = false;
    const std::wstring text = root->GetString(described, {}, &found);
    if (found) Give(text, value);
    return S_OK;
  }
  if (index < 0) return CV_E_BAD_INDEX;

  // The listing is that of the last PropsCount; only an empty one is made here.
  if (propNames.empty() && node->FindChild(XMLParse::kAttributesInfoName, false)) {
    XMLParse::CollectNames(*node, propNames);
  }
  if (!propNames.empty()) {
    const auto listed = static_cast<int32_t>(propNames.size());
    if (index < listed) {
      const std::wstring& key = propNames[static_cast<size_t>(index)].name;
      Give(key, name);
      bool found = false;
      const std::wstring text = node->GetString(key, {}, &found);
      if (found) Give(text, value);
      return S_OK;
    }
    index -= listed;
  } else {
    const int32_t attributes = node->AttributeCount();
    if (index < attributes) {
      std::wstring key, text;
      if (!node->AttributeAt(index, &key, &text)) return E_UNEXPECTED;
      Give(key, name);
      Give(text, value);
      return S_OK;
    }
    index -= attributes;
  }

  if (index >= node->CountChildren()) return CV_E_BAD_INDEX;
  std::wstring childName;
  XMLNodePtr child = node->ChildAt(index, &childName);
  if (!child) return E_UNEXPECTED;
  Give(childName, name);
  if (value) {
    std::wstring text;
    child->GetText(text);
    Give(text, value);
  }
  if (isNode) *isNode = 1;
  return S_OK;
}

HRESULT ITPropsImpl::PropsRemove(LPCOLESTR name) {
  const std::wstring_view path = Arg(name);
  if (path.empty()) return E_INVALIDARG;
  Guard lock(propsLock, Guard::Side::Write);
  propNames.clear();
  XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  if (cv_text::EqualsNoCase(path, L"_all_props_")) {
    root->ClearAttributes();
    return S_OK;
  }
  if (cv_text::EqualsNoCase(path, L"_all_nodes_")) {
    root->Clear(false);
    return S_OK;
  }
  if (root->RemoveAttribute(path) || root->RemoveChild(path)) return S_OK;
  return E_INVALIDARG;
}

HRESULT ITPropsImpl::PropsInfo(LPCOLESTR name, int32_t field, BSTR* value) {
  if (Arg(name).empty()) return E_INVALIDARG;
  Guard lock(propsLock, Guard::Side::Read);
  XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  return root->InfoField(name, field, value);
}
