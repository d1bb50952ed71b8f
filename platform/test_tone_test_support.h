// For tests only: a tone played into the machine's default output, so that tests can record what the
// machine plays through a loopback or a monitor. A player process of the sound server on Linux, a render
// stream of the system's audio layer on Windows.
#pragma once

#include <memory>
#include <string>

namespace cvplat {

class TestTone {
 public:
  virtual ~TestTone() = default;  // stops the tone
};

// A sine of `hz` at half scale, stereo at 48 kHz, for `seconds`; null with the reason in `why` when
// nothing can play it.
std::unique_ptr<TestTone> PlayTestTone(double hz, double seconds, std::string* why);

}  // namespace cvplat
