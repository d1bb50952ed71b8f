// A host in a process of its own, as a Windows application meets the registered module: it enters a
// multi-threaded apartment, creates the device through the component runtime by its class identifier
// and reads a few frames. Prints one line "frames=N width=W height=H" and exits 0 on success.
// usage: com_host_probe [frames]
#include <cstdio>
#include <cstdlib>

#include "CVDeviceSCR.h"

namespace {

constexpr int64_t kSecond = 10000000;

int Fail(const char* what, HRESULT hr) {
  std::printf("%s failed: 0x%08lx\n", what, static_cast<unsigned long>(hr));
  return 1;
}

int ReadFrames(int count) {
  ICVSource_I* source = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_CoCVCaptureSCR, nullptr, CLSCTX_INPROC_SERVER, IID_ICVSource_I,
                                reinterpret_cast<void**>(&source));
  if (FAILED(hr)) return Fail("CoCreateInstance", hr);
  int64_t reader = 0;
  TAvProps props{};
  int read = 0;
  for (; read < count; ++read) {
    ICVFrame_I* frame = nullptr;
    hr = source->SourceFrameGetEx_I(&reader, &frame, 5 * kSecond, nullptr);
    if (FAILED(hr) || !frame) break;
    frame->FormatGet(&props, nullptr);
    frame->Release();
  }
  source->SourceReaderClose(reader);
  source->Release();
  if (read < count) return Fail("SourceFrameGetEx_I", hr);
  std::printf("frames=%d width=%d height=%d\n", read, static_cast<int>(props.video.width),
              static_cast<int>(props.video.height));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 3;
  HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(hr)) return Fail("CoInitializeEx", hr);
  const int result = ReadFrames(count);
  CoUninitialize();
  return result;
}
