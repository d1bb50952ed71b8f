// The timecode line as the engine draws it on every finished frame: 12 characters at size 2 over a
// see-through box, on a 1920 x 1080 frame, with the glyphs already cached; and the raster's part alone.
#include <benchmark/benchmark.h>

#include "framelib/frame_factory.h"
#include "framelib/frame_text.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"
#include "platform/text_raster.h"

namespace {

const wchar_t kStyle[] = L"color='yellow' face='Consolas' bg-color='black(100)'";
const TTextPlacement kPlace{0, 0.05, 0, 0, 1};

void BM_TextDrawTimecode(benchmark::State& state) {
  TVideoProps v{};
  v.colourFormat = static_cast<uint32_t>(state.range(0));
  v.width = 1920;
  v.height = -1080;
  v.frameRate = 30;
  ICVFactory* factory = GetFrameFactory();
  ICVFrame_I* raw = nullptr;
  if (FAILED(factory->FrameCreate(&v, 0, 0, 0, 0, &raw, nullptr))) {
    state.SkipWithError("no frame");
    return;
  }
  auto frame = TRefPtr<ICVFrame_I>::Adopt(raw);
  factory->Release();
  // The first draw fills the glyph cache; the frames of a run all find their digits there.
  wchar_t text[] = L"01:02:03:04 ";
  if (frame->TextDraw(text, 2.0, &kPlace, 0x21, kStyle) != S_OK) {
    state.SkipWithError("no text raster");
    return;
  }
  int n = 0;
  for (auto _ : state) {
    text[10] = static_cast<wchar_t>(L'0' + n++ % 10);
    benchmark::DoNotOptimize(frame->TextDraw(text, 2.0, &kPlace, 0x21, kStyle));
  }
}
BENCHMARK(BM_TextDrawTimecode)->Arg(kColourHDYC)->Arg(kColourARGB32)->Unit(benchmark::kMicrosecond);

void BM_TextRasterLineCached(benchmark::State& state) {
  cvplat::ITextRaster* raster = cvplat::NativeTextRaster();
  if (!raster) {
    state.SkipWithError("no text raster");
    return;
  }
  cvplat::TTextLine line;
  const int32_t em = TextPixelSize(2.0, 1080);
  raster->RenderLine(L"Consolas", em, L"0123456789: ", &line);
  for (auto _ : state) {
    raster->RenderLine(L"Consolas", em, L"01:02:03:04 ", &line);
    benchmark::DoNotOptimize(line.coverage.data());
  }
}
BENCHMARK(BM_TextRasterLineCached)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
