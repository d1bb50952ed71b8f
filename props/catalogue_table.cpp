// The catalogue's data: keys, defaults, descriptions and allowed values, word for word as clients see
// them. The order is the order of the root's attribute table and of the description list.
#include "props/catalogue.h"

namespace XMLParse {

namespace {

constexpr TPropValue kModeValues[] = {
    {L"auto",
     L"Capture modes are applied in the following order: DXGI -> DirectX -> GDI. First applicable mode will be "
     L"used."},
    {L"DXGI", L"Fastest mode of hardware capturing"},
    {L"DirectX", L"Software screen shot and hardware processing"},
    {L"GDI", L"Only software operations."},
    {nullptr, nullptr},
};

constexpr TPropValue kMemoryFormatValues[] = {
    {L"HDYC", L"Faster capturing but slightly less quality"},
    {L"ARGB", L"Slower capturing but slightly better quality"},
    {nullptr, nullptr},
};

constexpr TPropValue kFollowingModeValues[] = {
    {L"none", L"None"},
    {L"active_wnd", L"Follow active window"},
    {L"cursor", L"Follow mouse cursor"},
    {nullptr, nullptr},
};

// Refilled with the open windows whenever a client reads the key.
constexpr TPropValue kFollowWindowValues[] = {
    {L"none", L"None"},
    {nullptr, nullptr},
};

constexpr TPropValue kScreenEdgesValues[] = {
    {L"all", L"Show all"},
    {L"scale", L"Scale visible captured areas"},
    {L"stick_to_visible", L"Capture only visible parts of screen without scaling"},
    {nullptr, nullptr},
};

constexpr TPropValue kAspectRatioValues[] = {
    {L"stretch", L"Stretch to frame"},
    {L"keep", L"Use screen aspect ratio"},
    {L"frame", L"Use frame aspect ratio"},
    {nullptr, nullptr},
};

constexpr TPropValue kSamplerValues[] = {
    {L"point",
     L"Point sampler used. Recommended for precise capturing of full screen when frame size is equal to screen "
     L"resolution"},
    {L"linear", L"Linear mode for good scaling"},
    {L"anisotropic", nullptr},
    {nullptr, nullptr},
};

constexpr TPropValue kSoftwareScalingValues[] = {
    {L"default", L"default"}, {L"ignore-ar", L"ignore-ar"}, {L"letter-box", L"letter-box"},
    {L"crop", L"crop"},       {L"no-scale", L"no-scale"},   {L"none", L"none"},
    {nullptr, nullptr},
};

// The sound sources found at start follow "none".
constexpr TPropValue kAudioDeviceValues[] = {
    {L"none", L"none"},
    {nullptr, nullptr},
};

using T = TPropType;

// The "x" between 200 and 150 in the frame size text is U+0445, as the text has always been shown.
constexpr TPropKey kKeys[] = {
    {L"capture.show_mouse", T::eString,
     L"Show mouse cursor on screen capture frame. Values: show, hide, hide_inactive(<timeout>). Mouse will be "
     L"hidden if it is inactive after <timeout> milliseconds elapsed.",
     L"show", 0, 0.0f, nullptr},
    {L"capture.show_clicks", T::eBool, L"Show mouse clicks on screen capture frame", nullptr, 1, 0.0f, nullptr},
    {L"capture.focus_change_speed", T::eFloat, L"Speed of focus changing in fraction per frame (from 0.1 to 1.0)",
     nullptr, 0, 0.2f, nullptr},
    {L"capture.mode", T::eOptionFixed, L"Screen capture mode", L"auto", 0, 0.0f, kModeValues},
    {kKeyCurrentMode, T::eString, L"Current screen capture mode. Read-only.", L"Pending", 0, 0.0f, nullptr},
    {L"capture.memory_format", T::eOptionFixed, L"Pixel memory format for hardware mode", L"HDYC", 0, 0.0f,
     kMemoryFormatValues},
    {L"capture.fps_limit", T::eFloat,
     L"FPS value (for high values frames can be duplicated on low performance machines). Valid FPS are in range "
     L"[2.0;60.0], otherwise default 30.0 FPS is used.",
     nullptr, 0, 30.0f, nullptr},
    {L"capture.frame_size", T::eString,
     L"Size of captured frame. Valid values: 1. \"<width>x<height>\": valid range is from 200\u0445150 to "
     L"7680x4800. Default is 1920x1080. 2. \"screen\": frame size will be set to screen size. 3. \"area\": to "
     L"captured area size.",
     L"1920x1080", 0, 0.0f, nullptr},
    {L"capture.screenshot_timeout", T::eUInt,
     L"Integer value in milliseconds which indicates the amount of time that API waits for changes on screen to "
     L"take screen shot. Affects only DXGI hardware mode. Valid values are from 5 to 50 ms.",
     nullptr, 15, 0.0f, nullptr},
    {L"capture.highlight_mouse", T::eString,
     L"Show mouse highlight on screen capture frame. Values: show, hide, hide_inactive(<timeout>). Mouse will be "
     L"hidden if it is inactive after <timeout> milliseconds elapsed.",
     L"show", 0, 0.0f, nullptr},
    {L"capture.highlight_mouse_color", T::eColor, L"Color of mouse highlight", nullptr, 0x8800FFFF, 0.0f, nullptr},
    {L"capture.show_keypresses", T::eBool, L"Show key presses", nullptr, 0, 0.0f, nullptr},
    {L"capture.screen_index", T::eUInt, L"Index of captured screen (apply when many screens are used)", nullptr, 0,
     0.0f, nullptr},
    {L"capture.keypress_text_size", T::eFloat, L"Size of keypress info text (from 0.5 to 2.0)", nullptr, 0, 1.0f,
     nullptr},
    {L"capture.following_mode", T::eOptionFixed, L"Following mode", L"none", 0, 0.0f, kFollowingModeValues},
    {kKeyFollowWindow, T::eOption, L"Capture window by handle. Overrides capture.following_mode property", L"none",
     0, 0.0f, kFollowWindowValues},
    {L"capture.area", T::eString,
     L"Capture rectangular area relative to current screen. Overrides capture.following_mode property. Format: "
     L"<Left>,<Top>,<Right>,<Bottom>",
     L"", 0, 0.0f, nullptr},
    {kKeyBackgroundColor, T::eColor, L"Background color", nullptr, kDefaultBackgroundColor, 0.0f, nullptr},
    {L"capture.screen_edges", T::eOptionFixed, L"Capturing screen edges in following mode", L"all", 0, 0.0f,
     kScreenEdgesValues},
    {L"capture.aspect_ratio", T::eOptionFixed, L"Aspect ratio mode", L"keep", 0, 0.0f, kAspectRatioValues},
    {L"capture.sampler_type", T::eOptionFixed, L"Type of sampler for hardware rendering.", L"linear", 0, 0.0f,
     kSamplerValues},
    {L"capture.wait_frame_msec", T::eUInt, L"Frame wait timeout in milliseconds", nullptr, 0, 0.0f, nullptr},
    {L"capture.software_scaling", T::eOptionFixed, L"Scaling type for software screen capture", L"letter-box", 0,
     0.0f, kSoftwareScalingValues},
    {L"capture.async_resize", T::eBool, L"Async output frame resize (experimental)", nullptr, 0, 0.0f, nullptr},
    {kKeyAudioDevice, T::eOptionFixed, L"Audio device for capturing sound", L"none", 0, 0.0f, kAudioDeviceValues},
    {L"timecode.print", T::eBool, L"Enable timecode overlay", nullptr, 0, 0.0f, nullptr},
    {L"capture.min_delay", T::eBool, L"Reduces frame delay but increases jitter", nullptr, 0, 0.0f, nullptr},
    {L"capture.no_frame_max_count", T::eInt, nullptr, nullptr, 100, 0.0f, nullptr},
};

static_assert(sizeof(kKeys) / sizeof(kKeys[0]) == 28);

}  // namespace

std::span<const TPropKey> CatalogueKeys() { return kKeys; }

}  // namespace XMLParse
