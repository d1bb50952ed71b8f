// The sound endpoints against a real sound server with a null sink: the one scripts/with-pulse.sh starts
// for a test run, or else one of the test's own. A tone played into the sink must come out of its
// loopback unchanged in pitch, and a server that dies must invalidate what came from it without hanging.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/audio_endpoints.h"
#include "platform/test_tone_test_support.h"
#include "primitives/sine_analysis.h"

extern char** environ;

namespace cvplat {
namespace {

namespace fs = std::filesystem;

constexpr char kSink[] = "cv_test_sink";
constexpr wchar_t kSinkId[] = L"cv_test_sink";

bool OnPath(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// Starts `args` with `env` as its whole environment (or this process's), its output into `log`.
pid_t Spawn(const std::vector<std::string>& args, const std::vector<std::string>* env, const std::string& log) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::vector<char*> envp;
  if (env) {
    for (const std::string& e : *env) envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t pid = -1;
  if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), env ? envp.data() : environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

void EndProcess(pid_t& pid) {
  if (pid <= 0) return;
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

// Points the client library at `address` while the object lives.
class ServerAddress {
 public:
  explicit ServerAddress(const std::string& address) {
    if (const char* old = std::getenv("PULSE_SERVER")) old_ = old;
    setenv("PULSE_SERVER", address.c_str(), 1);
  }
  ~ServerAddress() {
    if (old_)
      setenv("PULSE_SERVER", old_->c_str(), 1);
    else
      unsetenv("PULSE_SERVER");
  }

 private:
  std::optional<std::string> old_;
};

// A sound server of the test's own in a folder of its own, with the null sink of with-pulse.sh in
// `format`.
class PrivateServer {
 public:
  explicit PrivateServer(const std::string& format) {
    dir_ = fs::temp_directory_path() / ("cv-pulse-" + std::to_string(getpid()) + "-" + std::to_string(++count_));
    fs::remove_all(dir_);
    fs::create_directories(dir_ / "home");
    fs::create_directories(dir_ / "runtime");
    chmod((dir_ / "runtime").c_str(), 0700);
    const std::string home = (dir_ / "home").string();
    const std::string runtime = (dir_ / "runtime").string();
    const char* path = std::getenv("PATH");
    const std::vector<std::string> env = {"HOME=" + home, "XDG_CONFIG_HOME=" + home + "/.config",
                                          "XDG_RUNTIME_DIR=" + runtime, "PULSE_RUNTIME_PATH=" + runtime,
                                          "PULSE_STATE_PATH=" + home + "/state", "DBUS_SESSION_BUS_ADDRESS=disabled:",
                                          std::string("PATH=") + (path ? path : "/usr/bin:/bin")};
    const fs::path socket = dir_ / "native";
    pid_ = Spawn({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--disallow-exit",
                  "--use-pid-file=no", "--log-target=stderr", "--log-level=warning",
                  std::string("--load=module-null-sink sink_name=") + kSink + " format=" + format +
                      " rate=48000 channels=2 sink_properties='device.description=\"Test Output\"'",
                  "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket.string()},
                 &env, (dir_ / "log").string());
    for (int i = 0; i < 250 && pid_ > 0 && !fs::exists(socket); ++i) usleep(20000);
    if (fs::exists(socket)) address_ = "unix:" + socket.string();
  }
  ~PrivateServer() {
    EndProcess(pid_);
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  const std::string& Address() const { return address_; }  // empty when it didn't start
  void Kill() { EndProcess(pid_); }

 private:
  static inline int count_ = 0;
  fs::path dir_;
  pid_t pid_ = -1;
  std::string address_;
};

class PulseEndpointsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!OnPath("pulseaudio")) GTEST_SKIP() << "no sound server installed (scripts/install-deps.sh test installs it)";
    const char* shared = std::getenv("CV_TEST_SOUND_SINK");
    if (!shared || std::string(shared) != kSink) {
      own_.emplace("s16le");
      ASSERT_FALSE(own_->Address().empty()) << "the private sound server did not start";
      address_.emplace(own_->Address());
    }
    endpoints_ = NativeAudioEndpoints();
  }

  std::shared_ptr<IAudioEndpoint> Sink() {
    AudioEndpointList list;
    EXPECT_EQ(endpoints_->Endpoints(AudioFlow::kRender, &list), S_OK);
    for (auto& e : list)
      if (e->Id() == kSinkId) return e;
    return nullptr;
  }

  std::optional<PrivateServer> own_;
  std::optional<ServerAddress> address_;
  std::shared_ptr<IAudioEndpoints> endpoints_;
};

TEST_F(PulseEndpointsTest, SinksAreOutputsWhoseMonitorsAreNoRecordingEndpoints) {
  const std::shared_ptr<IAudioEndpoint> sink = Sink();
  ASSERT_TRUE(sink);
  EXPECT_EQ(sink->Flow(), AudioFlow::kRender);
  std::wstring name;
  EXPECT_EQ(sink->FriendlyName(&name), S_OK);
  EXPECT_EQ(name, L"Test Output");

  AudioEndpointList sources;
  EXPECT_EQ(endpoints_->Endpoints(AudioFlow::kCapture, &sources), S_OK);
  for (auto& e : sources) EXPECT_NE(e->Id(), std::wstring(kSinkId) + L".monitor");

  std::shared_ptr<IAudioEndpoint> fallback;
  ASSERT_EQ(endpoints_->DefaultRender(&fallback), S_OK);
  EXPECT_EQ(fallback->Id(), kSinkId);
}

TEST_F(PulseEndpointsTest, ALoopbackNegotiatesSharedFormatsOnly) {
  const std::shared_ptr<IAudioEndpoint> sink = Sink();
  ASSERT_TRUE(sink);
  std::unique_ptr<IAudioStream> stream;
  ASSERT_EQ(sink->Activate(&stream), S_OK);

  WaveFormat mix;
  ASSERT_EQ(stream->MixFormat(&mix), S_OK);
  EXPECT_EQ(mix, (WaveFormat{WaveEncoding::kPcm, 2, 48000, 16, 16, 0x3}));
  // The server converts to any rate and layout in the two sample formats; anything else gets the mix.
  EXPECT_EQ(stream->IsFormatSupported(AudioShareMode::kShared, {WaveEncoding::kFloat, 1, 44100, 32, 32, 0x4}, nullptr),
            S_OK);
  WaveFormat closest;
  EXPECT_EQ(stream->IsFormatSupported(AudioShareMode::kShared, {WaveEncoding::kPcm, 2, 48000, 24, 24, 0x3}, &closest),
            S_FALSE);
  EXPECT_EQ(closest, mix);
  EXPECT_TRUE(FAILED(stream->IsFormatSupported(AudioShareMode::kExclusive, mix, nullptr)));

  EXPECT_EQ(stream->Initialize(AudioShareMode::kShared, kStreamEventCallback, 0, 0, mix), kAudioWrongEndpointType);
  ASSERT_EQ(stream->Initialize(AudioShareMode::kShared, kStreamLoopback, 0, 0, mix), S_OK);
  EXPECT_EQ(stream->Initialize(AudioShareMode::kShared, kStreamLoopback, 0, 0, mix), kAudioAlreadyInitialized);
  KHandle event = CreateEventObject(false, false);
  EXPECT_EQ(stream->SetEventHandle(event), kAudioEventHandleNotExpected);
  EXPECT_EQ(stream->Stop(), S_FALSE);
  stream.reset();
  CloseKernelHandle(event);
}

TEST_F(PulseEndpointsTest, AToneComesOutOfTheLoopbackAtItsOwnPitch) {
  const std::shared_ptr<IAudioEndpoint> sink = Sink();
  ASSERT_TRUE(sink);
  std::unique_ptr<IAudioStream> stream;
  ASSERT_EQ(sink->Activate(&stream), S_OK);
  // Floats from a 16-bit sink: the server converts.
  const WaveFormat format{WaveEncoding::kFloat, 2, 48000, 32, 32, 0x3};
  ASSERT_EQ(stream->Initialize(AudioShareMode::kShared, kStreamLoopback, 200000, 200000, format), S_OK);
  ASSERT_EQ(stream->Start(), S_OK);

  std::string why;
  std::unique_ptr<TestTone> tone = PlayTestTone(1000, 4, &why);
  if (!tone) GTEST_SKIP() << why;

  // 1.2 s of the left channel without a break; the tone may take a while to arrive. The player's stream
  // leaves gaps of its own as it starts: a stretch starts again after one (at half scale a 1 kHz sine at
  // 48 kHz is never below 0.02 for three samples in a row). A packet lost on the way in would instead
  // shift the phase inside the stretch, and so its pitch.
  std::vector<float> left;
  const size_t wanted = 57600;
  int quiet = 0;
  for (int polls = 0; polls < 5000 && left.size() < wanted; ++polls) {
    AudioPacket packet;
    const HRESULT hr = stream->GetBuffer(&packet);
    ASSERT_TRUE(SUCCEEDED(hr)) << std::hex << hr;
    if (hr == kAudioBufferEmpty) {
      SleepMs(2);
      continue;
    }
    const auto* samples = reinterpret_cast<const float*>(packet.data);
    for (uint32_t i = 0; i < packet.frames && left.size() < wanted; ++i) {
      quiet = std::fabs(samples[2 * i]) < 0.02f ? quiet + 1 : 0;
      if (quiet >= 3)
        left.clear();
      else if (!left.empty() || quiet == 0)
        left.push_back(samples[2 * i]);
    }
    ASSERT_EQ(stream->ReleaseBuffer(packet.frames), S_OK);
  }
  tone.reset();
  EXPECT_EQ(stream->Stop(), S_OK);
  ASSERT_EQ(left.size(), wanted) << "the tone did not arrive";
  EXPECT_NEAR(cvtest::ZeroCrossingFrequency(left.data(), left.size()) * 48000, 1000.0, 1.0);
}

TEST_F(PulseEndpointsTest, ALostServerInvalidatesStreamsAndEndpointsWithoutHanging) {
  PrivateServer server("float32le");  // killed here, so never the run's shared one
  ASSERT_FALSE(server.Address().empty());
  ServerAddress address(server.Address());
  const std::shared_ptr<IAudioEndpoints> endpoints = NativeAudioEndpoints();
  std::shared_ptr<IAudioEndpoint> sink;
  ASSERT_EQ(endpoints->DefaultRender(&sink), S_OK);
  std::unique_ptr<IAudioStream> stream;
  ASSERT_EQ(sink->Activate(&stream), S_OK);
  WaveFormat mix;
  ASSERT_EQ(stream->MixFormat(&mix), S_OK);
  EXPECT_EQ(mix, (WaveFormat{WaveEncoding::kFloat, 2, 48000, 32, 32, 0x3}));
  ASSERT_EQ(stream->Initialize(AudioShareMode::kShared, kStreamLoopback | kStreamEventCallback, 0, 0, mix), S_OK);
  KHandle event = CreateEventObject(false, false);
  ASSERT_EQ(stream->SetEventHandle(event), S_OK);
  ASSERT_EQ(stream->Start(), S_OK);

  // The null sink plays silence all the time: the event tells of its packets.
  ASSERT_EQ(WaitForOne(event, 5000), kWaitObject0);
  AudioPacket packet;
  ASSERT_EQ(stream->GetBuffer(&packet), S_OK);
  EXPECT_GT(packet.frames, 0u);
  EXPECT_EQ(stream->ReleaseBuffer(packet.frames), S_OK);

  server.Kill();
  HRESULT hr = S_OK;
  for (int polls = 0; polls < 200 && hr != kAudioDeviceInvalidated; ++polls) {
    WaitForOne(event, 50);
    uint32_t frames = 0;
    hr = stream->NextPacketSize(&frames);
    if (frames > 0 && SUCCEEDED(stream->GetBuffer(&packet))) stream->ReleaseBuffer(packet.frames);
  }
  EXPECT_EQ(hr, kAudioDeviceInvalidated);
  EXPECT_EQ(stream->Stop(), kAudioDeviceInvalidated);
  EXPECT_EQ(sink->Activate(&stream), kAudioDeviceInvalidated);
  EXPECT_FALSE(stream);
  AudioEndpointList list;
  EXPECT_TRUE(FAILED(endpoints->Endpoints(AudioFlow::kRender, &list)));
  EXPECT_TRUE(list.empty());
  CloseKernelHandle(event);
}

TEST(PulseEndpointsWithoutServer, ListingFailsAndFindsNothing) {
  ServerAddress nowhere("unix:" + (fs::temp_directory_path() / "cv-no-sound-server" / "native").string());
  const std::shared_ptr<IAudioEndpoints> endpoints = NativeAudioEndpoints();
  AudioEndpointList list;
  EXPECT_TRUE(FAILED(endpoints->Endpoints(AudioFlow::kCapture, &list)));
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(FAILED(endpoints->Endpoints(AudioFlow::kRender, &list)));
  EXPECT_TRUE(list.empty());
  std::shared_ptr<IAudioEndpoint> fallback;
  EXPECT_TRUE(FAILED(endpoints->DefaultRender(&fallback)));
  EXPECT_FALSE(fallback);
}

}  // namespace
}  // namespace cvplat
