// A build without the X client library: there are no windows to offer.
#include "platform/window_list.h"

namespace cvplat {

std::vector<TopWindow> ListTopWindows() { return {}; }

}  // namespace cvplat
