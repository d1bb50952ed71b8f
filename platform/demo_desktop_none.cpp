// Systems where a capture always has a desktop (Windows), or builds without the X libraries the demo
// needs: no private desktop.
#include "platform/demo_desktop.h"

namespace cvplat {

bool NeedsDemoDesktop(std::string*) { return false; }

std::unique_ptr<IDemoDesktop> StartDemoDesktop(std::string* error) {
  if (error) *error = "this build has no private desktop";
  return nullptr;
}

}  // namespace cvplat
