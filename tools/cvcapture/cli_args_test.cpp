#include "tools/cvcapture/cli_args.h"

#include <gtest/gtest.h>

namespace {

bool Parse(std::vector<std::wstring> args, TCommand* c, std::string* error) { return ParseCommand(args, c, error); }

TEST(CliArgs, PropsAndFormatCommands) {
  TCommand c;
  std::string error;
  ASSERT_TRUE(Parse({L"props", L"get", L"capture.fps_limit"}, &c, &error));
  EXPECT_EQ(c.kind, TCommandKind::PropsGet);
  EXPECT_EQ(c.name, L"capture.fps_limit");
  ASSERT_TRUE(Parse({L"props", L"set", L"capture.frame_size", L"640x360"}, &c, &error));
  EXPECT_EQ(c.kind, TCommandKind::PropsSet);
  EXPECT_EQ(c.value, L"640x360");
  ASSERT_TRUE(Parse({L"props", L"reset", L"capture.frame_size"}, &c, &error));
  EXPECT_EQ(c.kind, TCommandKind::PropsReset);
  EXPECT_EQ(c.name, L"capture.frame_size");
  EXPECT_FALSE(Parse({L"props", L"reset"}, &c, &error));
  ASSERT_TRUE(Parse({L"props", L"list"}, &c, &error));
  EXPECT_FALSE(c.hasPath);
  ASSERT_TRUE(Parse({L"props", L"list", L"capture"}, &c, &error));
  EXPECT_TRUE(c.hasPath);
  ASSERT_TRUE(Parse({L"props", L"xml"}, &c, &error));
  EXPECT_EQ(c.kind, TCommandKind::PropsXml);
  ASSERT_TRUE(Parse({L"formats", L"audio", L"effective"}, &c, &error));
  EXPECT_EQ(c.media, TMediaKind::Audio);
  EXPECT_EQ(c.formatKind, 3);
  ASSERT_TRUE(Parse({L"format", L"set", L"video", L"1", L"12"}, &c, &error));
  EXPECT_EQ(c.kind, TCommandKind::FormatSet);
  EXPECT_EQ(c.formatKind, 1);
  EXPECT_EQ(c.index, 12);
}

TEST(CliArgs, CaptureOptionsAndDefaults) {
  TCommand c;
  std::string error;
  ASSERT_TRUE(Parse({L"capture"}, &c, &error));
  EXPECT_EQ(c.frames, 90);
  EXPECT_EQ(c.outDir, L"capture");
  ASSERT_TRUE(Parse({L"capture", L"--seconds", L"2.5", L"--out", L"dir", L"--props", L"a=1 b=2", L"--audio",
                     L"PC Sounds (Loopback)"},
                    &c, &error));
  EXPECT_EQ(c.audio, L"PC Sounds (Loopback)");
  EXPECT_DOUBLE_EQ(c.seconds, 2.5);
  EXPECT_EQ(c.frames, 0);
  EXPECT_EQ(c.outDir, L"dir");
  EXPECT_TRUE(c.hasProps);
  EXPECT_EQ(c.props, L"a=1 b=2");
  EXPECT_FALSE(c.toStdout);

  // The picture options become properties in their order; an area without a size is taken at its own.
  using Settings = std::vector<std::pair<std::wstring, std::wstring>>;
  ASSERT_TRUE(Parse({L"capture", L"--mode", L"GDI", L"--screen", L"1", L"--area", L"-10,0,630,480", L"--fps", L"25",
                     L"--out", L"-"},
                    &c, &error))
      << error;
  EXPECT_EQ(c.settings, (Settings{{L"capture.mode", L"GDI"},
                                  {L"capture.screen_index", L"1"},
                                  {L"capture.area", L"-10,0,630,480"},
                                  {L"capture.fps_limit", L"25"},
                                  {L"capture.frame_size", L"area"}}));
  EXPECT_TRUE(c.toStdout);
  ASSERT_TRUE(Parse({L"capture", L"--follow", L"active", L"--size", L"screen", L"--window", L"0x1a00007"}, &c, &error));
  EXPECT_EQ(c.settings, (Settings{{L"capture.following_mode", L"active_wnd"},
                                  {L"capture.frame_size", L"screen"},
                                  {L"capture.follow_window_by_handle", L"0x1a00007"}}));
}

TEST(CliArgs, BadArgumentsNameWhatWasWrong) {
  struct Case {
    std::vector<std::wstring> args;
    const char* mentions;
  } const cases[] = {
      {{}, "missing command"},
      {{L"record"}, "'record'"},
      {{L"devices", L"x"}, "no arguments"},
      {{L"props"}, "subcommand"},
      {{L"props", L"get"}, "NAME"},
      {{L"props", L"set", L"a"}, "NAME VALUE"},
      {{L"props", L"drop", L"a"}, "'drop'"},
      {{L"formats", L"sound"}, "'sound'"},
      {{L"formats", L"video", L"7"}, "KIND '7'"},
      {{L"format", L"set", L"video", L"0", L"-1"}, "INDEX '-1'"},
      {{L"format", L"get", L"video", L"0", L"1"}, "expected set"},
      {{L"capture", L"--frames", L"0"}, "--frames '0'"},
      {{L"capture", L"--frames", L"12x"}, "--frames '12x'"},
      {{L"capture", L"--seconds", L"-1"}, "--seconds '-1'"},
      {{L"capture", L"--frames", L"5", L"--seconds", L"1"}, "not both"},
      {{L"capture", L"--frames"}, "needs a value"},
      {{L"capture", L"--fast"}, "'--fast'"},
      {{L"capture", L"--mode", L"gpu"}, "--mode 'gpu'"},
      {{L"capture", L"--size", L"199x150"}, "--size '199x150'"},
      {{L"capture", L"--size", L"640x"}, "--size '640x'"},
      {{L"capture", L"--area", L"0,0,0,10"}, "--area '0,0,0,10'"},
      {{L"capture", L"--area", L"1,2,3"}, "--area '1,2,3'"},
      {{L"capture", L"--follow", L"mouse"}, "--follow 'mouse'"},
      {{L"capture", L"--window", L"none"}, "--window 'none'"},
      {{L"capture", L"--fps", L"61"}, "--fps '61'"},
      {{L"capture", L"--screen", L"-1"}, "--screen '-1'"},
      {{L"--version", L"x"}, "no arguments"},
  };
  for (const Case& c : cases) {
    TCommand command;
    std::string error;
    EXPECT_FALSE(Parse(c.args, &command, &error)) << c.mentions;
    EXPECT_NE(error.find(c.mentions), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << "one line";
  }
}

}  // namespace
