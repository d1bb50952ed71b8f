#include "props/catalogue.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/attribute_info.h"
#include "props/node.h"

namespace XMLParse {
namespace {

std::wstring Field(CoXMLNode& root, const wchar_t* key, int32_t field, bool* present = nullptr) {
  std::optional<std::wstring> value;
  const bool entry = ReadInfoField(root, key, field, value);
  if (present) *present = entry && value.has_value();
  return value.value_or(L"<null>");
}

std::wstring OptionText(CoXMLNode& root, const wchar_t* key, const wchar_t* option) {
  std::optional<std::wstring> value;
  if (!ReadInfoOption(root, key, option, L"", value)) return L"<no option>";
  return value.value_or(L"<null>");
}

XMLNodePtr FreshDevice(const std::vector<std::wstring>& audio = {}) {
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  SetDefaults(*root);
  BuildCatalogue(*root, audio);
  return root;
}

const std::vector<std::wstring> kOrder = {
    L"capture.show_mouse",         L"capture.show_clicks",
    L"capture.focus_change_speed", L"capture.mode",
    L"capture.current_mode",       L"capture.memory_format",
    L"capture.fps_limit",          L"capture.frame_size",
    L"capture.screenshot_timeout", L"capture.highlight_mouse",
    L"capture.highlight_mouse_color", L"capture.show_keypresses",
    L"capture.screen_index",       L"capture.keypress_text_size",
    L"capture.following_mode",     L"capture.follow_window_by_handle",
    L"capture.area",               L"capture.background_color",
    L"capture.screen_edges",       L"capture.aspect_ratio",
    L"capture.sampler_type",       L"capture.wait_frame_msec",
    L"capture.software_scaling",   L"capture.async_resize",
    L"capture.audio_device",       L"timecode.print",
    L"capture.min_delay",          L"capture.no_frame_max_count",
};

TEST(Catalogue, DefaultsAreTyped28KeysInOrder) {
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  SetDefaults(*root);
  ASSERT_EQ(root->AttributeCount(), 28);
  LONG count = 0;
  EXPECT_EQ(root->AttributesCount(&count), S_OK);
  EXPECT_EQ(count, 28);
  std::wstring name, value;
  for (int32_t i = 0; i < 28; ++i) {
    ASSERT_TRUE(root->AttributeAt(i, &name, nullptr));
    EXPECT_EQ(name, kOrder[i]) << i;
  }
  BSTR bname = nullptr, bvalue = nullptr;
  ASSERT_EQ(root->AttributeByIndex(0, &bname, &bvalue), S_OK);
  EXPECT_STREQ(bname, L"capture.show_mouse");
  EXPECT_STREQ(bvalue, L"show");
  SysFreeString(bname);
  SysFreeString(bvalue);
  root->AttributeAt(2, nullptr, &value);
  EXPECT_EQ(value, L"0.2") << "stored from the single-precision 0.2, still shown as 0.2";

  const std::vector<std::pair<std::wstring, std::wstring>> texts = {
      {L"capture.show_clicks", L"true"},      {L"capture.mode", L"auto"},
      {L"capture.current_mode", L"Pending"},  {L"capture.memory_format", L"HDYC"},
      {L"capture.fps_limit", L"30.0"},        {L"capture.frame_size", L"1920x1080"},
      {L"capture.screenshot_timeout", L"15"}, {L"capture.show_keypresses", L"false"},
      {L"capture.screen_index", L"0"},        {L"capture.keypress_text_size", L"1.0"},
      {L"capture.following_mode", L"none"},   {L"capture.follow_window_by_handle", L"none"},
      {L"capture.area", L""},                 {L"capture.screen_edges", L"all"},
      {L"capture.aspect_ratio", L"keep"},     {L"capture.sampler_type", L"linear"},
      {L"capture.wait_frame_msec", L"0"},     {L"capture.software_scaling", L"letter-box"},
      {L"capture.async_resize", L"false"},    {L"capture.audio_device", L"none"},
      {L"timecode.print", L"false"},          {L"capture.min_delay", L"false"},
      {L"capture.no_frame_max_count", L"100"},
  };
  for (const auto& [key, text] : texts) {
    bool found = false;
    EXPECT_EQ(root->GetString(key, L"?", &found), text) << key;
    EXPECT_TRUE(found) << key;
  }
  EXPECT_EQ(root->GetColor(L"capture.highlight_mouse_color", 0), 0x8800FFFFu);
  EXPECT_EQ(root->GetColor(L"capture.background_color", 0), 0xAA000000u);
  EXPECT_FLOAT_EQ(static_cast<float>(root->GetDouble(L"capture.focus_change_speed")), 0.2f);
  // A colour default goes out as the codec's text, which reads back as the same colour.
  XMLNodePtr other = CoXMLNode::Create(L"x");
  other->SetString(L"c", root->GetString(L"capture.background_color"));
  EXPECT_EQ(other->GetColor(L"c", 0), 0xAA000000u);
}

TEST(Catalogue, SetDefaultsOverwritesInPlaceButKeepsAChosenAudioDevice) {
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  root->SetString(L"capture.audio_device", L"Microphone");
  root->SetString(L"capture.mode", L"GDI");
  SetDefaults(*root);
  EXPECT_EQ(root->GetString(L"capture.audio_device"), L"Microphone");
  EXPECT_EQ(root->GetString(L"capture.mode"), L"auto");
  EXPECT_EQ(root->AttributeCount(), 28);
  // The keys that were there first keep their places.
  std::wstring name;
  root->AttributeAt(0, &name, nullptr);
  EXPECT_EQ(name, L"capture.audio_device");
}

TEST(Catalogue, DescriptionsFollowTheKeyOrderWithTypesAndTexts) {
  XMLNodePtr root = FreshDevice();
  LONG count = 0;
  EXPECT_EQ(root->InfoCount(&count), S_OK);
  EXPECT_EQ(count, 27);
  for (LONG i = 0; i < 27; ++i) {
    BSTR name = nullptr;
    ASSERT_EQ(root->InfoName(i, &name), S_OK);
    EXPECT_EQ(std::wstring(name), kOrder[i]);
    SysFreeString(name);
  }
  EXPECT_EQ(root->CountChildren(), 0) << "the description list is hidden";
  EXPECT_EQ(root->AttributeCount(), 28);

  EXPECT_EQ(Field(*root, L"capture.mode", eInfoType), L"option_fixed");
  EXPECT_EQ(Field(*root, L"capture.mode", eInfoValues), L"auto|DXGI|DirectX|GDI|");
  EXPECT_EQ(Field(*root, L"capture.mode", eInfoText), L"Screen capture mode");
  bool present = true;
  Field(*root, L"capture.mode", eInfoDefault, &present);
  EXPECT_FALSE(present) << "the catalogue sets no \"default\"";
  EXPECT_EQ(OptionText(*root, L"capture.mode", L"DXGI"), L"Fastest mode of hardware capturing");
  EXPECT_EQ(OptionText(*root, L"capture.mode", L"auto"),
            L"Capture modes are applied in the following order: DXGI -> DirectX -> GDI. First applicable mode "
            L"will be used.");
  EXPECT_EQ(Field(*root, L"capture.memory_format", eInfoType), L"option_fixed");
  EXPECT_EQ(Field(*root, L"capture.memory_format", eInfoText), L"Pixel memory format for hardware mode");
  EXPECT_EQ(Field(*root, L"capture.current_mode", eInfoText), L"Current screen capture mode. Read-only.");
  EXPECT_EQ(Field(*root, L"capture.screenshot_timeout", eInfoType), L"uint");
  EXPECT_EQ(Field(*root, L"capture.highlight_mouse_color", eInfoType), L"color");
  EXPECT_EQ(Field(*root, L"capture.fps_limit", eInfoType), L"float");
  EXPECT_EQ(Field(*root, L"capture.show_clicks", eInfoType), L"bool");
  EXPECT_EQ(Field(*root, L"capture.area", eInfoType), L"string");
  EXPECT_EQ(Field(*root, L"capture.frame_size", eInfoText),
            L"Size of captured frame. Valid values: 1. \"<width>x<height>\": valid range is from 200\u0445150 to "
            L"7680x4800. Default is 1920x1080. 2. \"screen\": frame size will be set to screen size. 3. \"area\": "
            L"to captured area size.");
  EXPECT_EQ(Field(*root, L"capture.show_mouse", eInfoText),
            L"Show mouse cursor on screen capture frame. Values: show, hide, hide_inactive(<timeout>). Mouse will "
            L"be hidden if it is inactive after <timeout> milliseconds elapsed.");

  // The key with a default and no description.
  EXPECT_TRUE(root->HasAttribute(L"capture.no_frame_max_count"));
  BSTR text = nullptr;
  EXPECT_EQ(root->InfoField(L"capture.no_frame_max_count", 0, &text), S_FALSE);
  EXPECT_EQ(text, nullptr);
}

TEST(Catalogue, ListKeysHaveTheirValuesInOrder) {
  XMLNodePtr root = FreshDevice();
  EXPECT_EQ(Field(*root, L"capture.memory_format", eInfoValues), L"HDYC|ARGB|");
  EXPECT_EQ(Field(*root, L"capture.following_mode", eInfoValues), L"none|active_wnd|cursor|");
  EXPECT_EQ(OptionText(*root, L"capture.following_mode", L"cursor"), L"Follow mouse cursor");
  EXPECT_EQ(Field(*root, L"capture.follow_window_by_handle", eInfoType), L"option");
  EXPECT_EQ(Field(*root, L"capture.follow_window_by_handle", eInfoValues), L"none|");
  EXPECT_EQ(OptionText(*root, L"capture.follow_window_by_handle", L"none"), L"None");
  EXPECT_EQ(Field(*root, L"capture.screen_edges", eInfoValues), L"all|scale|stick_to_visible|");
  EXPECT_EQ(OptionText(*root, L"capture.screen_edges", L"stick_to_visible"),
            L"Capture only visible parts of screen without scaling");
  EXPECT_EQ(Field(*root, L"capture.aspect_ratio", eInfoValues), L"stretch|keep|frame|");
  EXPECT_EQ(OptionText(*root, L"capture.aspect_ratio", L"keep"), L"Use screen aspect ratio");
  EXPECT_EQ(Field(*root, L"capture.sampler_type", eInfoValues), L"point|linear|anisotropic|");
  EXPECT_EQ(OptionText(*root, L"capture.sampler_type", L"anisotropic"), L"<null>");
  EXPECT_EQ(OptionText(*root, L"capture.sampler_type", L"linear"), L"Linear mode for good scaling");
  EXPECT_EQ(Field(*root, L"capture.software_scaling", eInfoValues),
            L"default|ignore-ar|letter-box|crop|no-scale|none|");
  for (const wchar_t* v : {L"default", L"ignore-ar", L"letter-box", L"crop", L"no-scale", L"none"})
    EXPECT_EQ(OptionText(*root, L"capture.software_scaling", v), v);
  EXPECT_EQ(Field(*root, L"capture.audio_device", eInfoValues), L"none|");
  EXPECT_EQ(Field(*root, L"capture.audio_device", eInfoText), L"Audio device for capturing sound");

  XMLNodePtr withSound = FreshDevice({L"PC Sounds (Loopback)"});
  EXPECT_EQ(Field(*withSound, L"capture.audio_device", eInfoValues), L"none|PC Sounds (Loopback)|");
  EXPECT_EQ(OptionText(*withSound, L"capture.audio_device", L"PC Sounds (Loopback)"), L"PC Sounds (Loopback)");
}

TEST(Catalogue, TheStoredBackgroundDoesNotSurviveTheCatalogue) {
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  SetDefaults(*root);
  root->SetString(L"capture.background_color", L"Red");  // as a stored value would arrive
  root->SetString(L"capture.frame_size", L"1280x720");
  BuildCatalogue(*root);
  EXPECT_EQ(root->GetColor(L"capture.background_color", 0), 0xAA000000u);
  EXPECT_EQ(root->GetString(L"capture.frame_size"), L"1280x720") << "other stored values stay";
}

TEST(Catalogue, ValuesOutsideTheListsAreStored) {
  XMLNodePtr root = FreshDevice();
  EXPECT_EQ(root->AttributeSetString(L"capture.follow_window_by_handle", L"0x1a2b"), S_OK);
  EXPECT_EQ(root->GetString(L"capture.follow_window_by_handle"), L"0x1a2b");
  // A reader matching capture.mode against its list finds no match and keeps its own default.
  EXPECT_EQ(root->AttributeSetString(L"capture.mode", L"no-such-mode"), S_OK);
  const wchar_t* modes[] = {L"auto", L"DXGI", L"DirectX", L"GDI", nullptr};
  EXPECT_EQ(root->GetEnum(L"capture.mode", modes, 0), 0);
}

TEST(Catalogue, RebuildingReplacesEntriesInsteadOfAddingThem) {
  XMLNodePtr root = FreshDevice();
  BuildCatalogue(*root, {L"Speakers"});
  LONG count = 0;
  root->InfoCount(&count);
  EXPECT_EQ(count, 27);
  EXPECT_EQ(Field(*root, L"capture.audio_device", eInfoValues), L"none|Speakers|");
}

TEST(Catalogue, TableLookups) {
  EXPECT_EQ(CatalogueKeys().size(), 28u);
  ASSERT_TRUE(FindCatalogueKey(L"CAPTURE.MODE"));
  EXPECT_EQ(FindCatalogueKey(L"CAPTURE.MODE")->type, TPropType::eOptionFixed);
  EXPECT_EQ(FindCatalogueKey(L"capture.no_frame_max_count")->description, nullptr);
  EXPECT_EQ(FindCatalogueKey(L"output.buffers"), nullptr);
  EXPECT_STREQ(PropTypeName(TPropType::eOption), L"option");
  EXPECT_STREQ(PropTypeName(TPropType::eColor), L"color");
}

}  // namespace
}  // namespace XMLParse
