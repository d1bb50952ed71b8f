// The tone through the sound server's own player, into the test's null sink when one is named, from a
// wave file written for it.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/test_tone_test_support.h"

extern char** environ;

namespace cvplat {
namespace {

namespace fs = std::filesystem;

bool WriteTone(const fs::path& file, double hz, double seconds) {
  const uint32_t rate = 48000;
  const auto frames = static_cast<uint32_t>(std::lround(seconds * rate));
  const uint32_t bytes = frames * 4;
  const uint32_t header[] = {0x46464952, 36 + bytes, 0x45564157, 0x20746d66, 16, 0x00020001,
                             rate,       rate * 4,   0x00100004, 0x61746164, bytes};  // RIFF, WAVE, fmt, data
  std::vector<int16_t> samples(size_t{frames} * 2);
  for (uint32_t i = 0; i < frames; ++i)
    samples[2 * i] = samples[2 * i + 1] = static_cast<int16_t>(std::lround(16384 * std::sin(2 * M_PI * hz * i / rate)));
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(header), sizeof header);
  out.write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(samples.size() * 2));
  return static_cast<bool>(out);
}

class PlayerTone : public TestTone {
 public:
  PlayerTone(fs::path file, pid_t player) : file_(std::move(file)), player_(player) {}
  ~PlayerTone() override {
    kill(player_, SIGKILL);
    waitpid(player_, nullptr, 0);
    std::error_code ignored;
    fs::remove(file_, ignored);
  }

 private:
  fs::path file_;
  pid_t player_;
};

}  // namespace

std::unique_ptr<TestTone> PlayTestTone(double hz, double seconds, std::string* why) {
  if (std::system("command -v paplay >/dev/null 2>&1") != 0) {
    *why = "no sound player (paplay) installed";
    return nullptr;
  }
  static int count = 0;
  const fs::path file = fs::temp_directory_path() / ("cv-tone-" + std::to_string(getpid()) + "-" +
                                                     std::to_string(++count) + ".wav");
  if (!WriteTone(file, hz, seconds)) {
    *why = "the tone's file could not be written";
    return nullptr;
  }
  // Without a short latency the null sink takes the tone in chunks of seconds.
  std::vector<std::string> args = {"paplay", "--latency-msec=20"};
  if (const char* sink = std::getenv("CV_TEST_SOUND_SINK")) args.push_back(std::string("--device=") + sink);
  args.push_back(file.string());
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t pid = -1;
  const int failed = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) {
    std::error_code ignored;
    fs::remove(file, ignored);
    *why = "the sound player did not start";
    return nullptr;
  }
  return std::make_unique<PlayerTone>(file, pid);
}

}  // namespace cvplat
