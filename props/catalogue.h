// The device's vocabulary: every property key with its type, default, allowed values and description,
// in the one order in which they are set and described. A property is an attribute of the root node
// "t-props"; its key, dots included, is the attribute's name.
//
// Start of a device: make the root, SetDefaults, lay the stored settings over it (settings_persist.h),
// then BuildCatalogue.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "props/xml_node.h"

namespace XMLParse {

inline constexpr wchar_t kPropsRootName[] = L"t-props";

// Keys that other modules touch by name.
inline constexpr wchar_t kKeyCurrentMode[] = L"capture.current_mode";
inline constexpr wchar_t kKeyBackgroundColor[] = L"capture.background_color";
inline constexpr wchar_t kKeyFollowWindow[] = L"capture.follow_window_by_handle";
inline constexpr wchar_t kKeyAudioDevice[] = L"capture.audio_device";

// Whatever the store held, a device starts with this background.
inline constexpr uint32_t kDefaultBackgroundColor = 0xAA000000u;

enum class TPropType : uint8_t {
  eString,
  eBool,
  eFloat,
  eUInt,
  eInt,  // only for a key without description
  eColor,
  eOption,       // suggestions: other values are taken too
  eOptionFixed,  // only the listed values
};

// The word that stands in the "type" attribute of a description.
const wchar_t* PropTypeName(TPropType type);

// One allowed value of a list key and its text (null: the value has none).
struct TPropValue {
  const wchar_t* value;
  const wchar_t* text;
};

struct TPropKey {
  const wchar_t* key;
  TPropType type;
  const wchar_t* description;  // null: the key has a default but is not described
  const wchar_t* text;         // default of string and list keys
  int64_t number;              // default of bool, uint, int and colour keys
  float real;                  // default of float keys, stored from single precision
  const TPropValue* values;    // list keys: ended by an entry with a null value
};

// The keys in their order: 27 described ones, then the one that is only defaulted.
std::span<const TPropKey> CatalogueKeys();
// The entry of `key` (ignoring case), or null.
const TPropKey* FindCatalogueKey(std::wstring_view key);

// Writes every default as a typed value on the root, overwriting, but for capture.audio_device, whose
// value survives when it is already there.
void SetDefaults(CoXMLNode& root);

// Describes every described key in order on the root's `attributes_info`, and resets
// capture.background_color to its default colour whatever was stored. `audioDevices` are the names of
// the sound sources to offer after "none".
void BuildCatalogue(CoXMLNode& root, const std::vector<std::wstring>& audioDevices = {});

}  // namespace XMLParse
