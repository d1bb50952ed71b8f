#include "engine/scale_request.h"

#include <cstdlib>

#include "media/colour_formats.h"
#include "props/xml_node.h"

TScaleOptions BuildScaleOptions(XMLParse::CoXMLNode* props, const TVideoProps& format) {
  std::wstring scaling = props ? props->GetString(L"capture.software_scaling") : std::wstring();
  // An emptied property still names a fitting rule, so the library never has to guess at a blank.
  if (scaling.empty()) scaling = L"default";
  TScaleOptions out;
  out.options = L"scale-type='" + scaling + L"'";
  if (props && props->GetBool(L"capture.async_resize", false)) out.options += L" async_id='screen-cap'";
  out.width = format.width;
  out.pixelFormat = format.colourFormat;
  out.height = format.colourFormat == kColourARGB32 ? format.height : std::abs(format.height);
  return out;
}
