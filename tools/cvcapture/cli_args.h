// The command line of cvcapture, read into one command record. Reading is pure, so every wrong
// argument gets its one-line message here and the caller exits with status 2.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

enum class TCommandKind {
  Version,
  Help,
  Devices,
  PropsGet,
  PropsSet,
  PropsReset,
  PropsList,
  PropsInfo,
  PropsOptions,
  PropsXml,
  Formats,
  FormatSet,
  Capture,
};

enum class TMediaKind { Video, Audio };

struct TCommand {
  TCommandKind kind = TCommandKind::Help;
  std::wstring name;   // property name or list path
  std::wstring value;  // value to set
  bool hasPath = false;
  TMediaKind media = TMediaKind::Video;
  int32_t formatKind = 0;  // 0 input, 1 output, 2 adjust, 3 effective
  int32_t index = 0;
  // capture
  int64_t frames = 90;
  double seconds = 0;  // > 0: capture for this long instead of a frame count
  bool hasProps = false;
  std::wstring props;
  std::wstring outDir = L"capture";
  // The sound endpoint to join to the frames: a name the device knows, or "default" for the first one it
  // offers; empty leaves the device's own choice.
  std::wstring audio;
  // Properties the capture options set, in their order, before the capture starts.
  std::vector<std::pair<std::wstring, std::wstring>> settings;
  bool toStdout = false;  // --out -: the video as Y4M on standard output, nothing else written
};

// `args` without the program name. False with `error` set for arguments that make no command.
bool ParseCommand(const std::vector<std::wstring>& args, TCommand* command, std::string* error);

// The usage text, one command a line.
const char* UsageText();
