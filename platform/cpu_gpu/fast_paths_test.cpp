// The fast paths against the reference, byte for byte, in every kernel build this processor runs: the
// final pass (ARGB and HDYC, both samplers, same size, up and down by odd factors and down by exactly 2,
// with `screen` and `area` cutting parts off and the background's A at 0, 170 and 255) and the overlay
// quads (at whole, fractional and clipped rectangles). Pictures and targets end at a page edge, so a
// kernel that reads or writes past a row's last pixel faults.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/cpu_gpu/fast_kernels.h"
#include "platform/cpu_gpu/fast_sampling.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/cpu_gpu/raster.h"
#include "platform/guarded_memory.h"

namespace cvplat::gputest {
namespace {

using cpugpu::DrawCall;
using cpugpu::SamplerFilter;

// Pixels in memory that ends at a page edge, rows exactly width x 4 bytes apart. Filled with bytes of
// a pseudo-random sequence, so every byte value turns up in every channel of a large picture.
class GuardedImage {
 public:
  GuardedImage(UINT width, UINT height, uint32_t seed) : memory_(size_t{width} * height * 4) {
    surface_ = {memory_.data(), width, height, width * 4};
    uint32_t state = seed;
    for (size_t i = 0; i < memory_.size(); ++i) {
      state = state * 1664525u + 1013904223u;
      memory_[i] = static_cast<uint8_t>(state >> 24);
    }
  }
  cpugpu::Surface& surface() { return surface_; }
  const uint8_t* bytes() const { return memory_.data(); }
  size_t size() const { return memory_.size(); }

 private:
  GuardedArray<uint8_t> memory_;
  cpugpu::Surface surface_;
};

// The pipeline's blend state of the overlays.
constexpr GpuRenderTargetBlendDesc kOverlayBlend{1,
                                                 GpuBlend::SrcAlpha,
                                                 GpuBlend::InvSrcAlpha,
                                                 GpuBlendOp::Add,
                                                 GpuBlend::One,
                                                 GpuBlend::Zero,
                                                 GpuBlendOp::Min,
                                                 kGpuColorWriteAll};

// One draw: the picture, the target's size and the viewport, the quad and the constants.
struct DrawSetup {
  UINT pictureWidth, pictureHeight;
  UINT targetWidth, targetHeight;
  GpuViewport viewport;
  std::vector<float> quad;
  PS_BACKCOLOR_BUFFER constants;
};

std::string Describe(const DrawSetup& s) {
  return std::to_string(s.pictureWidth) + "x" + std::to_string(s.pictureHeight) + " -> target " +
         std::to_string(s.targetWidth) + "x" + std::to_string(s.targetHeight) + ", viewport " +
         std::to_string(s.viewport.topLeftX) + "," + std::to_string(s.viewport.topLeftY) + " " +
         std::to_string(s.viewport.width) + "x" + std::to_string(s.viewport.height) + ", colour A " +
         std::to_string(s.constants.color[3]);
}

struct FastCase {
  const char* name;
  GpuProgramId program;
  SamplerFilter filter;
};
void PrintTo(const FastCase& c, std::ostream* os) { *os << c.name; }

class FastPathMatchesReference : public ::testing::TestWithParam<FastCase> {
 protected:
  void TearDown() override { cpugpu::fast::PinKernels(nullptr); }

  // Draws `setup` once through the reference and once through each kernel build, on the same picture
  // and the same starting target, and compares the targets.
  void Check(const DrawSetup& setup) {
    SCOPED_TRACE(Describe(setup));
    GuardedImage picture(setup.pictureWidth, setup.pictureHeight, 7);
    GuardedImage expected(setup.targetWidth, setup.targetHeight, 11);
    Run(setup, picture.surface(), expected.surface(), true);

    const cpugpu::fast::Kernels* builds[4];
    const int32_t count = cpugpu::fast::AvailableKernels(builds, 4);
    for (int32_t i = 0; i < count; ++i) {
      SCOPED_TRACE(builds[i]->name);
      cpugpu::fast::PinKernels(builds[i]);
      GuardedImage actual(setup.targetWidth, setup.targetHeight, 11);
      ASSERT_TRUE(Run(setup, picture.surface(), actual.surface(), false)) << "the fast path didn't take the draw";
      ExpectSameBytes(expected, actual, setup.targetWidth);
    }
  }

  bool Run(const DrawSetup& setup, cpugpu::Surface& picture, cpugpu::Surface& target, bool reference) {
    const FastCase& c = GetParam();
    DrawCall draw;
    draw.vertices = {
        reinterpret_cast<const uint8_t*>(setup.quad.data()), setup.quad.size() * sizeof(float), 20, 0, 0, 12};
    draw.vertexCount = 6;
    draw.viewport = setup.viewport;
    draw.target = target;
    draw.program = c.program;
    draw.inputs.texture = &picture;
    draw.inputs.filter = c.filter;
    draw.inputs.constants = setup.constants;
    const bool overlay = c.program == GpuProgramId::Overlay || c.program == GpuProgramId::ColouredOverlay;
    if (overlay) draw.blend.target = kOverlayBlend;
    const bool taken =
        overlay ? cpugpu::MatchOverlayQuad(draw).has_value() : cpugpu::MatchFullScreenQuad(draw).has_value();
    cpugpu::ExecuteDraw(draw, reference);
    return taken;
  }

  static void ExpectSameBytes(const GuardedImage& expected, const GuardedImage& actual, UINT width) {
    if (std::memcmp(expected.bytes(), actual.bytes(), expected.size()) == 0) return;
    for (size_t i = 0; i < expected.size(); ++i) {
      if (expected.bytes()[i] == actual.bytes()[i]) continue;
      const size_t pixel = i / 4;
      ADD_FAILURE() << "first difference at pixel (" << pixel % width << ", " << pixel / width << ") byte " << i % 4
                    << ": reference " << int(expected.bytes()[i]) << ", fast " << int(actual.bytes()[i]);
      return;
    }
  }

  // The final pass: picture -> frame W x H, background (30, 200, 90) with A 0, 170 or 255, `screen` and
  // `area` whole, cut inside the picture, or with `current` reaching past the screen on the left and top.
  // Halving both ways puts every weight at 1/4 and texel i's pixels on picture texels 4i + 1 .. 4i + 4,
  // which the HDYC row takes on a path of its own; at 74 pixels the cut `screen` and `area` end between
  // the two pixels of a texel (the second repeats the first, or is shaded alone), within such a run.
  void CheckFinalPasses() {
    const bool hdyc = GetParam().program == GpuProgramId::Hdyc;
    const struct {
      UINT pw, ph, w, h;
    } sizes[] = {{1, 1, 2, 1},     {3, 5, 3, 5},       {17, 9, 17, 9},   {17, 9, 41, 23},   {34, 10, 17, 5},
                 {48, 36, 64, 48}, {64, 48, 37, 29},   {641, 359, 320, 180}, {148, 22, 74, 11}, {260, 16, 130, 8}};
    const struct {
      float screen[4], area[4];
    } cuts[] = {{{0, 0, 1, 1}, {0, 0, 1, 1}},
                {{0.1f, 0.05f, 0.8f, 0.9f}, {0.2f, 0.1f, 0.7f, 0.85f}},
                {{0.25f, 0.3f, 1, 1}, {0.3f, 0.35f, 0.9f, 0.95f}}};
    for (const auto& size : sizes) {
      for (const float a : {0.0f, 170 / 255.0f, 1.0f}) {
        for (const auto& cut : cuts) {
          const float colour[4] = {30 / 255.0f, 200 / 255.0f, 90 / 255.0f, a};
          DrawSetup setup{size.pw,
                          size.ph,
                          hdyc ? size.w / 2 : size.w,
                          size.h,
                          GpuViewport{0, 0, float(size.w), float(size.h), 0, 1},
                          std::vector<float>(&kQuad[0][0], &kQuad[0][0] + 30),
                          Constants(colour, cut.area, cut.screen, size.w, size.h)};
          Check(setup);
          if (HasFatalFailure()) return;
        }
      }
    }
  }

  // Overlay quads on a 61 x 40 target: the pipeline's marks at whole pixels, a rectangle with edges on
  // pixel centres (the top-left rule), fractional ones, one reaching past the target on three sides, and
  // one under a viewport that is offset and narrower than the target.
  void CheckOverlays() {
    const UINT W = 61, H = 40;
    // Clip space from target pixels, as DrawOverlayTexture places a rectangle.
    auto clip = [&](float l, float t, float r, float b) {
      return QuadAt(2 * l / W - 1, 1 - 2 * t / H, 2 * r / W - 1, 1 - 2 * b / H);
    };
    const struct {
      UINT pw, ph;
      std::vector<float> quad;
      GpuViewport viewport;
    } quads[] = {
        {100, 100, clip(5, 3, 40, 38), {0, 0, float(W), float(H), 0, 1}},
        {17, 9, clip(2.5f, 1.5f, 20.5f, 11.5f), {0, 0, float(W), float(H), 0, 1}},
        {1, 1, clip(30.3f, 7.7f, 31.9f, 9.2f), {0, 0, float(W), float(H), 0, 1}},
        {32, 32, clip(-9.37f, 20.2f, 70.1f, 52.6f), {0, 0, float(W), float(H), 0, 1}},
        {31, 33, clip(10.2f, 4.9f, 13.1f, 34.4f), {0, 0, float(W), float(H), 0, 1}},
        {23, 19, QuadAt(-0.7f, 0.9f, 0.95f, -0.3f), {3.25f, 2.5f, 50.5f, 30, 0, 1}},
    };
    for (const auto& q : quads) {
      for (const float a : {0.0f, 136 / 255.0f, 1.0f}) {
        const float colour[4] = {1, 200 / 255.0f, 0, a};
        PS_BACKCOLOR_BUFFER k{};
        std::memcpy(k.color, colour, sizeof colour);
        Check(DrawSetup{q.pw, q.ph, W, H, q.viewport, q.quad, k});
        if (HasFatalFailure()) return;
      }
    }
  }
};

TEST_P(FastPathMatchesReference, ByteForByte) {
  const GpuProgramId program = GetParam().program;
  if (program == GpuProgramId::Argb || program == GpuProgramId::Hdyc)
    CheckFinalPasses();
  else
    CheckOverlays();
}

INSTANTIATE_TEST_SUITE_P(
    Programs, FastPathMatchesReference,
    ::testing::Values(FastCase{"ArgbPoint", GpuProgramId::Argb, SamplerFilter::Point},
                      FastCase{"ArgbLinear", GpuProgramId::Argb, SamplerFilter::Linear},
                      FastCase{"HdycPoint", GpuProgramId::Hdyc, SamplerFilter::Point},
                      FastCase{"HdycLinear", GpuProgramId::Hdyc, SamplerFilter::Linear},
                      FastCase{"OverlayPoint", GpuProgramId::Overlay, SamplerFilter::Point},
                      FastCase{"OverlayLinear", GpuProgramId::Overlay, SamplerFilter::Linear},
                      FastCase{"ColouredOverlayPoint", GpuProgramId::ColouredOverlay, SamplerFilter::Point},
                      FastCase{"ColouredOverlayLinear", GpuProgramId::ColouredOverlay, SamplerFilter::Linear}),
    [](const ::testing::TestParamInfo<FastCase>& p) { return std::string(p.param.name); });

// A sample one unit off in its last place seldom moves a rounded byte, so the comparison of bytes can miss
// it: the samples themselves must be the reference's floats. Every byte value in every channel, at
// coordinates that make the kernels fetch runs, every second texel, pairs and single texels.
TEST(FastKernels, SamplesAreTheReferencesFloats) {
  GuardedImage picture(256, 3, 5);
  cpugpu::Surface& t = picture.surface();
  for (UINT x = 0; x < 256; ++x) {
    const uint8_t texel[4] = {uint8_t(x), uint8_t(255 - x), uint8_t(x * 7), uint8_t(x * 13)};
    std::memcpy(t.bits + t.pitch + x * 4, texel, 4);
  }
  std::vector<float> u;
  for (int k = 0; k <= 256; ++k) u.push_back(k / 256.0f);            // borders: runs of pairs
  for (int k = 0; k < 128; ++k) u.push_back((2 * k + 1) / 256.0f);   // every second texel
  for (int k = 0; k < 200; ++k) u.push_back(-0.01f + k * 0.00537f);  // irregular, clamped at the left

  const cpugpu::fast::Kernels* builds[4];
  const int32_t count = cpugpu::fast::AvailableKernels(builds, 4);
  // Between rows 0 and 1 nearer row 1, and halfway, where with fx 1/2 all weights are 1/4.
  for (const float v : {1.37f / 3, 1.0f / 3}) {
    for (int32_t i = 0; i < count; ++i) {
      for (const SamplerFilter filter : {SamplerFilter::Point, SamplerFilter::Linear}) {
        SCOPED_TRACE(std::string(builds[i]->name) + (filter == SamplerFilter::Point ? " point" : " linear") + " at v " +
                     std::to_string(v));
        cpugpu::fast::SampleColumns columns;
        columns.Place(u, t.width, filter);
        const size_t stride = cpugpu::fast::Padded(u.size());
        std::vector<float> planes(4 * stride);
        cpugpu::fast::SampleRun(*builds[i], filter, cpugpu::fast::PlaceRow(t, filter, v), columns, 0, u.size(), 4,
                                planes.data(), stride);
        for (size_t s = 0; s < u.size(); ++s) {
          const cpugpu::Float4 expected = cpugpu::SampleClamp(&t, filter, u[s], v);
          const float want[4] = {expected.r, expected.g, expected.b, expected.a};
          for (size_t c = 0; c < 4; ++c)
            ASSERT_EQ(planes[c * stride + s], want[c]) << "sample " << s << " at u " << u[s] << ", channel " << c;
        }
      }
    }
  }
}

}  // namespace
}  // namespace cvplat::gputest
