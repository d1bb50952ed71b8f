// What does the producer pay to hand one frame to its readers? Times the frame source's delivery with
// 1, 4 and 16 readers, each of them either read by a thread of its own or left unread (full queues, the
// drop path), and prints median and 99th percentile in microseconds.
// usage: bench_delivery [ROUNDS]
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "bench/latency_stats.h"
#include "device/frame_source.h"
#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "platform/kernel.h"
#include "platform/system.h"

namespace {

class BenchHost final : public ISourceHost {
 public:
  HRESULT OpenForRead() override { return S_OK; }
  HRESULT LastReaderLeft() override { return S_OK; }
  XMLParse::XMLNodePtr PropsRoot() override { return root_; }

 private:
  XMLParse::XMLNodePtr root_ = XMLParse::CoXMLNode::Create(L"t-props");
};

// A 1280 x 720 frame: delivery never copies it, so the size only matters to the readers' clones.
TRefPtr<ICVFrame_I> MakeFrame(int64_t n) {
  TVideoProps v{};
  v.colourFormat = kColourRGB32;
  v.width = 1280;
  v.height = -720;
  v.frameRate = 60;
  ICVFrame_I* frame = nullptr;
  TRefPtr<ICVFactory>::Adopt(GetFrameFactory())->FrameCreate(&v, 0, 0, 0, 0, &frame, nullptr);
  TFrameTime t{};
  t.startTime = n * 166667;
  t.endTime = (n + 1) * 166667;
  t.frameFlags = kFrameFlagCounterStamps;
  frame->TimeSet(&t);
  return TRefPtr<ICVFrame_I>::Adopt(frame);
}

Stats Deliver(int readers, bool reading, int rounds) {
  BenchHost host;
  TFrameSource source(&host);
  std::vector<int64_t> ids(static_cast<size_t>(readers), 0);
  for (int64_t& id : ids) source.SourceFrameGetEx_I(&id, nullptr, 0, nullptr);
  std::atomic<bool> done{false};
  std::vector<std::thread> consumers;
  if (reading) {
    for (int64_t id : ids) {
      consumers.emplace_back([&source, &done, id] {
        int64_t mine = id;
        while (!done) {
          ICVFrame_I* f = nullptr;
          if (source.SourceFrameGetEx_I(&mine, &f, 200000, nullptr) == S_OK) f->Release();
        }
      });
    }
  }
  // A few frames made ahead, so that the timing holds the delivery alone.
  std::vector<TRefPtr<ICVFrame_I>> frames;
  for (int i = 0; i < 8; ++i) frames.push_back(MakeFrame(i));
  std::vector<double> cost;
  for (int i = 0; i < rounds; ++i) {
    ICVFrame_I* f = frames[static_cast<size_t>(i) % frames.size()].Get();
    const int64_t start = cvplat::PerformanceCounter();
    source.Source_PutFrame(f, 0, -1, nullptr, nullptr);
    cost.push_back(Us(cvplat::PerformanceCounter() - start));
    if (reading) cvplat::SleepMs(1);  // let the readers take it, as between frames of a real run
  }
  done = true;
  for (auto& t : consumers) t.join();
  return Summarise(cost);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(10, std::atoi(argv[1])) : 1000;
  std::printf("frame delivery cost on %s, %d frames each\n", cvplat::PlatformName(), rounds);
  const bool fine = cvplat::BeginTimerResolution1ms();
  for (bool reading : {false, true}) {
    for (int readers : {1, 4, 16}) {
      const Stats s = Deliver(readers, reading, rounds);
      std::printf("%2d readers, %-24s median %8.2f us  p99 %8.2f us\n", readers,
                  reading ? "each read by a thread" : "unread (queues full)", s.median_us, s.p99_us);
    }
  }
  if (fine) cvplat::EndTimerResolution1ms();
  return 0;
}
