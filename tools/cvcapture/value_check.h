// What a property's description says about a value, for the warning of `props set`. The device takes
// any text (its readers fall back on their own defaults); the description is what a user interface
// would hold the value against.
#pragma once

#include <string>
#include <vector>

struct TKeyDescription {
  std::wstring type;                  // "string", "bool", "float", "uint", "color", "option", "option_fixed"
  std::vector<std::wstring> options;  // the option list
  std::wstring min;                   // empty: no limit
  std::wstring max;
};

// Why the description rejects `value`, as a phrase that follows the value ("is not one of a, b"); empty
// when it takes it. A fixed list is matched without regard to letter case, as the readers match it; a
// list of suggestions ("option") takes anything.
std::string DescriptionRejects(const TKeyDescription& description, const std::wstring& value);
