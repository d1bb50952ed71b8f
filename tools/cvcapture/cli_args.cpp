#include "tools/cvcapture/cli_args.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cwchar>

#include "tools/cvcapture/wide_text.h"

namespace {

bool Fail(std::string* error, const std::string& text) {
  *error = text;
  return false;
}

// A whole decimal number within [low, high].
bool ParseInt(const std::wstring& text, int64_t low, int64_t high, int64_t* value) {
  if (text.empty()) return false;
  wchar_t* end = nullptr;
  errno = 0;
  const long long v = std::wcstoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != L'\0' || v < low || v > high) return false;
  *value = v;
  return true;
}

bool ParsePositiveSeconds(const std::wstring& text, double* value) {
  if (text.empty()) return false;
  wchar_t* end = nullptr;
  const double v = std::wcstod(text.c_str(), &end);
  if (*end != L'\0' || !std::isfinite(v) || v <= 0 || v > 86400.0) return false;
  *value = v;
  return true;
}

bool ParseMedia(const std::wstring& text, TMediaKind* media) {
  if (text == L"video") *media = TMediaKind::Video;
  else if (text == L"audio") *media = TMediaKind::Audio;
  else return false;
  return true;
}

bool ParseFormatKind(const std::wstring& text, int32_t* kind) {
  static const wchar_t* const kNames[] = {L"input", L"output", L"adjust", L"effective"};
  for (int32_t i = 0; i < 4; ++i) {
    if (text == kNames[i]) {
      *kind = i;
      return true;
    }
  }
  int64_t number = 0;
  if (!ParseInt(text, 0, 3, &number)) return false;
  *kind = static_cast<int32_t>(number);
  return true;
}

bool ParseProps(const std::vector<std::wstring>& a, TCommand* c, std::string* error) {
  if (a.size() < 2) return Fail(error, "props: missing subcommand (get, set, reset, list, info, options, xml)");
  const std::wstring& sub = a[1];
  const size_t n = a.size() - 2;
  auto needs = [&](size_t count, const char* shape) {
    if (n == count) return true;
    *error = std::string("props ") + ToUtf8(sub) + ": expected " + shape;
    return false;
  };
  if (sub == L"get" || sub == L"info" || sub == L"options" || sub == L"reset") {
    if (!needs(1, "NAME")) return false;
    c->kind = sub == L"get"    ? TCommandKind::PropsGet
              : sub == L"info" ? TCommandKind::PropsInfo
              : sub == L"reset" ? TCommandKind::PropsReset
                                : TCommandKind::PropsOptions;
    c->name = a[2];
    if (c->name.empty()) return Fail(error, "props " + ToUtf8(sub) + ": empty NAME");
    return true;
  }
  if (sub == L"set") {
    if (!needs(2, "NAME VALUE")) return false;
    c->kind = TCommandKind::PropsSet;
    c->name = a[2];
    c->value = a[3];
    if (c->name.empty()) return Fail(error, "props set: empty NAME");
    return true;
  }
  if (sub == L"list") {
    if (n > 1) return Fail(error, "props list: expected at most one PATH");
    c->kind = TCommandKind::PropsList;
    c->hasPath = n == 1;
    if (c->hasPath) c->name = a[2];
    return true;
  }
  if (sub == L"xml") {
    if (!needs(0, "no arguments")) return false;
    c->kind = TCommandKind::PropsXml;
    return true;
  }
  return Fail(error, "props: unknown subcommand '" + ToUtf8(sub) + "'");
}

bool ParseFormats(const std::vector<std::wstring>& a, TCommand* c, std::string* error) {
  if (a.size() < 2 || a.size() > 3) return Fail(error, "formats: expected video|audio [KIND]");
  if (!ParseMedia(a[1], &c->media)) return Fail(error, "formats: '" + ToUtf8(a[1]) + "' is not video or audio");
  if (a.size() == 3 && !ParseFormatKind(a[2], &c->formatKind))
    return Fail(error, "formats: KIND '" + ToUtf8(a[2]) + "' is not input, output, adjust, effective or 0..3");
  c->kind = TCommandKind::Formats;
  return true;
}

bool ParseFormatSet(const std::vector<std::wstring>& a, TCommand* c, std::string* error) {
  if (a.size() != 5 || a[1] != L"set") return Fail(error, "format: expected set video|audio KIND INDEX");
  if (!ParseMedia(a[2], &c->media)) return Fail(error, "format set: '" + ToUtf8(a[2]) + "' is not video or audio");
  if (!ParseFormatKind(a[3], &c->formatKind))
    return Fail(error, "format set: KIND '" + ToUtf8(a[3]) + "' is not input, output, adjust, effective or 0..3");
  int64_t index = 0;
  if (!ParseInt(a[4], 0, INT32_MAX, &index))
    return Fail(error, "format set: INDEX '" + ToUtf8(a[4]) + "' is not a number 0 or above");
  c->index = static_cast<int32_t>(index);
  c->kind = TCommandKind::FormatSet;
  return true;
}

// "L,T,R,B" with R > L and B > T.
bool ParseArea(const std::wstring& text) {
  long long v[4];
  const wchar_t* p = text.c_str();
  for (int i = 0; i < 4; ++i) {
    wchar_t* end = nullptr;
    errno = 0;
    v[i] = std::wcstoll(p, &end, 10);
    if (errno != 0 || end == p || *end != (i < 3 ? L',' : L'\0')) return false;
    p = end + 1;
  }
  return v[2] > v[0] && v[3] > v[1];
}

// "WxH" within the frame sizes the device takes, "screen" or "area".
bool ParseSize(const std::wstring& text) {
  if (text == L"screen" || text == L"area") return true;
  const size_t x = text.find(L'x');
  int64_t w = 0, h = 0;
  return x != std::wstring::npos && ParseInt(text.substr(0, x), 200, 7680, &w) &&
         ParseInt(text.substr(x + 1), 150, 4800, &h);
}

// A window handle: decimal or 0x hexadecimal, above 0.
bool ParseHandle(const std::wstring& text) {
  if (text.empty() || text[0] < L'0' || text[0] > L'9') return false;
  wchar_t* end = nullptr;
  errno = 0;
  const unsigned long long v = std::wcstoull(text.c_str(), &end, 0);
  return errno == 0 && *end == L'\0' && v > 0;
}

bool ParseCapture(const std::vector<std::wstring>& a, TCommand* c, std::string* error) {
  bool hasFrames = false;
  bool hasSeconds = false;
  bool hasSize = false;
  bool hasArea = false;
  auto set = [c](const wchar_t* key, const std::wstring& value) { c->settings.emplace_back(key, value); };
  for (size_t i = 1; i < a.size(); ++i) {
    const std::wstring& option = a[i];
    static const wchar_t* const kOptions[] = {L"--frames", L"--seconds", L"--props", L"--out",  L"--audio",
                                              L"--mode",   L"--screen",  L"--area",  L"--window", L"--follow",
                                              L"--size",   L"--fps"};
    bool known = false;
    for (const wchar_t* o : kOptions) known = known || option == o;
    if (!known) return Fail(error, "capture: unknown option '" + ToUtf8(option) + "'");
    if (i + 1 >= a.size()) return Fail(error, "capture: " + ToUtf8(option) + " needs a value");
    const std::wstring& value = a[++i];
    const std::string shown = "capture: " + ToUtf8(option) + " '" + ToUtf8(value) + "'";
    if (option == L"--frames") {
      if (hasFrames) return Fail(error, "capture: --frames given twice");
      hasFrames = true;
      if (!ParseInt(value, 1, INT32_MAX, &c->frames)) return Fail(error, shown + " is not a number 1 or above");
    } else if (option == L"--seconds") {
      if (hasSeconds) return Fail(error, "capture: --seconds given twice");
      hasSeconds = true;
      if (!ParsePositiveSeconds(value, &c->seconds))
        return Fail(error, shown + " is not a time above 0 and up to a day");
    } else if (option == L"--props") {
      if (value.empty()) return Fail(error, "capture: --props needs a text");
      c->hasProps = true;
      c->props = value;
    } else if (option == L"--audio") {
      if (value.empty()) return Fail(error, "capture: --audio needs an endpoint name or \"default\"");
      c->audio = value;
    } else if (option == L"--mode") {
      if (value != L"auto" && value != L"DXGI" && value != L"DirectX" && value != L"GDI")
        return Fail(error, shown + " is not one of auto, DXGI, DirectX, GDI");
      set(L"capture.mode", value);
    } else if (option == L"--screen") {
      int64_t screen = 0;
      if (!ParseInt(value, 0, 1000, &screen)) return Fail(error, shown + " is not a screen number 0 to 1000");
      set(L"capture.screen_index", value);
    } else if (option == L"--area") {
      if (!ParseArea(value)) return Fail(error, shown + " is not LEFT,TOP,RIGHT,BOTTOM of a rectangle");
      hasArea = true;
      set(L"capture.area", value);
    } else if (option == L"--window") {
      if (!ParseHandle(value)) return Fail(error, shown + " is not a window handle (decimal or 0x...)");
      set(L"capture.follow_window_by_handle", value);
    } else if (option == L"--follow") {
      if (value != L"cursor" && value != L"active") return Fail(error, shown + " is not cursor or active");
      set(L"capture.following_mode", value == L"cursor" ? L"cursor" : L"active_wnd");
    } else if (option == L"--size") {
      if (!ParseSize(value)) return Fail(error, shown + " is not WIDTHxHEIGHT (200x150 to 7680x4800), screen or area");
      hasSize = true;
      set(L"capture.frame_size", value);
    } else if (option == L"--fps") {
      double fps = 0;
      if (!ParsePositiveSeconds(value, &fps) || fps < 2 || fps > 60)
        return Fail(error, shown + " is not a rate from 2 to 60");
      set(L"capture.fps_limit", value);
    } else {
      if (value.empty()) return Fail(error, "capture: --out needs a folder, or - for the video on standard output");
      c->outDir = value;
      c->toStdout = value == L"-";
    }
  }
  if (hasFrames && hasSeconds) return Fail(error, "capture: give --frames or --seconds, not both");
  // An area is captured at its own size unless a size is asked for.
  if (hasArea && !hasSize) set(L"capture.frame_size", L"area");
  if (hasSeconds) c->frames = 0;
  c->kind = TCommandKind::Capture;
  return true;
}

}  // namespace

bool ParseCommand(const std::vector<std::wstring>& args, TCommand* command, std::string* error) {
  *command = TCommand{};
  if (args.empty()) return Fail(error, "missing command");
  const std::wstring& verb = args[0];
  if (verb == L"--version" || verb == L"--help") {
    if (args.size() != 1) return Fail(error, ToUtf8(verb) + " takes no arguments");
    command->kind = verb == L"--version" ? TCommandKind::Version : TCommandKind::Help;
    return true;
  }
  if (verb == L"devices") {
    if (args.size() != 1) return Fail(error, "devices takes no arguments");
    command->kind = TCommandKind::Devices;
    return true;
  }
  if (verb == L"props") return ParseProps(args, command, error);
  if (verb == L"formats") return ParseFormats(args, command, error);
  if (verb == L"format") return ParseFormatSet(args, command, error);
  if (verb == L"capture") return ParseCapture(args, command, error);
  return Fail(error, "unknown command '" + ToUtf8(verb) + "'");
}

const char* UsageText() {
  return "usage: cvcapture --version | --help\n"
         "       cvcapture devices\n"
         "       cvcapture props get NAME | set NAME VALUE | reset NAME | list [PATH] | info NAME | options NAME | xml\n"
         "       cvcapture formats video|audio [KIND]\n"
         "       cvcapture format set video|audio KIND INDEX\n"
         "       cvcapture capture [--frames N | --seconds S] [--mode auto|DXGI|DirectX|GDI] [--screen N]\n"
         "                        [--area L,T,R,B | --window HANDLE | --follow cursor|active] [--size WxH|screen|area]\n"
         "                        [--fps R] [--props TEXT] [--audio NAME|default] [--out DIR|-]\n"
         "KIND: input (0), output (1), adjust (2), effective (3); capture writes DIR/video.y4m, DIR/audio.wav,\n"
         "DIR/first.png and DIR/last.png (DIR defaults to ./capture, 90 frames by default); props set also saves\n"
         "the value in the per-user settings that new devices start from, and props reset removes it there;\n"
         "--audio joins the sound of an endpoint (see devices) to the frames, default: the first one offered;\n"
         "--out - streams the video as Y4M to standard output (for ffmpeg -i - or mpv -), messages to stderr\n";
}
