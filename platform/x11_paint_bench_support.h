// Benchmark support: content that changes on the X display that DISPLAY names, drawn on a connection
// of its own as another application would draw it, for benchmarks above the platform that can't speak
// to the server themselves. Linked into benchmarks only.
#pragma once

#include <cstdint>

struct _XDisplay;
struct _XGC;

namespace cvbench {

class X11Painter {
 public:
  X11Painter();  // opens the display; Ready() says whether it could
  ~X11Painter();
  X11Painter(const X11Painter&) = delete;
  X11Painter& operator=(const X11Painter&) = delete;

  bool Ready() const { return display_ != nullptr; }
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }
  // Picture `n`: a block a quarter of the root's size in a colour of its own, at a place that moves on
  // with `n`, left where it was drawn, so that every picture differs from the one before. Returns once
  // the server has drawn it.
  void Paint(uint64_t n);

 private:
  _XDisplay* display_ = nullptr;
  _XGC* gc_ = nullptr;
  int32_t width_ = 0;
  int32_t height_ = 0;
};

}  // namespace cvbench
