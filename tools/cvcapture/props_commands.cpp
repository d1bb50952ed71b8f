// props get | set | reset | list | info | options | xml
#include <cstdio>
#include <cwctype>
#include <vector>

#include "tools/cvcapture/com_ref.h"
#include "tools/cvcapture/commands.h"
#include "tools/cvcapture/user_settings.h"
#include "tools/cvcapture/value_check.h"

namespace {

const char* const kInfoFields[] = {"description", "type", "default", "values", "min", "max", "dynamic"};

int Get(ICVProps* props, const std::wstring& name) {
  TModuleString value;
  const HRESULT hr = props->PropsGet(name.c_str(), value.Out());
  if (FAILED(hr)) return ReportFailure("PropsGet " + ToUtf8(name), hr);
  if (hr == S_FALSE) return ReportFailure("no property " + ToUtf8(name), hr);
  PrintLine(value.Utf8());
  return 0;
}

void PrintWarning(const std::string& line) { std::fprintf(stderr, "cvcapture: warning: %s\n", line.c_str()); }

TKeyDescription DescriptionOf(ICVProps* props, const std::wstring& name) {
  TKeyDescription d;
  const auto field = [&](int32_t number) {
    TModuleString value;
    return props->PropsInfo(name.c_str(), number, value.Out()) == S_OK ? std::wstring(value.Get()) : std::wstring();
  };
  d.type = field(1);
  d.min = field(4);
  d.max = field(5);
  int32_t count = 0;
  if (SUCCEEDED(props->PropsOptionsCount(name.c_str(), &count))) {
    for (int32_t i = 0; i < count; ++i) {
      TModuleString option;
      if (SUCCEEDED(props->PropsOptionsGetByIndex(name.c_str(), i, option.Out(), nullptr)))
        d.options.emplace_back(option.Get());
    }
  }
  return d;
}

int Set(ICVProps* props, const std::wstring& name, const std::wstring& value) {
  const HRESULT hr = props->PropsSet(name.c_str(), value.c_str());
  if (FAILED(hr)) return ReportFailure("PropsSet " + ToUtf8(name), hr);
  PrintLine(ToUtf8(name) + " = " + ToUtf8(value) + (hr == S_FALSE ? " (unchanged)" : ""));
  const std::string rejected = DescriptionRejects(DescriptionOf(props, name), value);
  if (!rejected.empty()) PrintWarning(ToUtf8(name) + ": \"" + ToUtf8(value) + "\" " + rejected);

  // A device changed through its interfaces keeps the change to itself; the per-user store is what the
  // next one starts from. The store holds the root's own properties only.
  if (name.find(L"::") != std::wstring::npos) {
    PrintLine("not saved: new devices start only from properties of the root");
    return 0;
  }
  // A device reads this key from the store and then puts its catalogue value back, so a saved value
  // would never reach it.
  std::wstring lower = name;
  for (wchar_t& ch : lower) ch = static_cast<wchar_t>(std::towlower(ch));
  if (lower == L"capture.background_color") {
    PrintLine("not saved: new devices always start capture.background_color from its default");
    return 0;
  }
  const HRESULT saved = SaveUserSetting(name, value);
  if (FAILED(saved)) return ReportFailure("saving " + ToUtf8(name) + " in " + UserSettingsLocation(), saved);
  PrintLine("saved for new devices in " + UserSettingsLocation());
  return 0;
}

int Reset(const std::wstring& name) {
  const HRESULT hr = RemoveUserSetting(name);
  if (FAILED(hr)) return ReportFailure("removing " + ToUtf8(name) + " from " + UserSettingsLocation(), hr);
  PrintLine(ToUtf8(name) + (hr == S_OK ? " removed from " : " was not saved in ") + UserSettingsLocation());
  return 0;
}

int List(ICVProps* props, const TCommand& c) {
  const wchar_t* path = c.hasPath ? c.name.c_str() : nullptr;
  int32_t count = 0;
  HRESULT hr = props->PropsCount(path, &count);
  if (FAILED(hr)) return ReportFailure("PropsCount", hr);
  for (int32_t i = 0; i < count; ++i) {
    TModuleString name;
    TModuleString value;
    int32_t isNode = 0;
    hr = props->PropsGetByIndex(path, i, name.Out(), value.Out(), &isNode);
    if (FAILED(hr)) return ReportFailure("PropsGetByIndex " + std::to_string(i), hr);
    if (isNode)
      PrintLine(name.Utf8() + "::  (node)" + (value.IsNull() ? "" : "  " + value.Utf8()));
    else
      PrintLine(name.Utf8() + " = " + (value.IsNull() ? "(unset)" : value.Utf8()));
  }
  return 0;
}

int Info(ICVProps* props, const std::wstring& name) {
  bool any = false;
  for (int32_t field = 0; field < 7; ++field) {
    TModuleString value;
    const HRESULT hr = props->PropsInfo(name.c_str(), field, value.Out());
    if (FAILED(hr)) return ReportFailure("PropsInfo " + ToUtf8(name), hr);
    if (hr == S_OK) any = true;
    PrintLine(std::string(kInfoFields[field]) + ": " + (hr == S_OK ? value.Utf8() : "-"));
  }
  if (!any) return ReportFailure("no description of " + ToUtf8(name), S_FALSE);
  return 0;
}

int Options(ICVProps* props, const std::wstring& name) {
  int32_t count = 0;
  HRESULT hr = props->PropsOptionsCount(name.c_str(), &count);
  if (FAILED(hr)) return ReportFailure("PropsOptionsCount " + ToUtf8(name), hr);
  int32_t current = -1;
  props->PropsOptionsGet(name.c_str(), &current, nullptr, nullptr);
  for (int32_t i = 0; i < count; ++i) {
    TModuleString option;
    TModuleString text;
    hr = props->PropsOptionsGetByIndex(name.c_str(), i, option.Out(), text.Out());
    if (FAILED(hr)) return ReportFailure("PropsOptionsGetByIndex " + std::to_string(i), hr);
    PrintLine(std::string(i == current ? "* " : "  ") + option.Utf8() + (text.IsNull() ? "" : "  " + text.Utf8()));
  }
  return 0;
}

int Xml(ICVProps* props) {
  TModuleString text;
  const HRESULT hr = props->PropsGet(L"", text.Out());
  if (FAILED(hr)) return ReportFailure("PropsGet of the whole tree", hr);
  PrintLine(text.Utf8());
  return 0;
}

}  // namespace

int RunProps(IUnknown* object, const TCommand& c) {
  auto props = TRef<ICVProps>::Query(object, IID_ICVProps);
  if (!props) return ReportFailure("the object has no ICVProps", E_NOINTERFACE);
  switch (c.kind) {
    case TCommandKind::PropsGet: return Get(props.Get(), c.name);
    case TCommandKind::PropsSet: return Set(props.Get(), c.name, c.value);
    case TCommandKind::PropsReset: return Reset(c.name);
    case TCommandKind::PropsList: return List(props.Get(), c);
    case TCommandKind::PropsInfo: return Info(props.Get(), c.name);
    case TCommandKind::PropsOptions: return Options(props.Get(), c.name);
    case TCommandKind::PropsXml: return Xml(props.Get());
    default: return ReportFailure("not a props command", E_INVALIDARG);
  }
}
