// The property tree's costs: one typed read as the capture loops make it, and XML text in and out,
// with a common XML parser on the same text for scale.
//
//   bench_props --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
//
// A typed read reports `allocs_after_first`: heap allocations made by the reads after the first one,
// which converts the text once. It must stay 0.
#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "props/xml_node.h"

namespace {

std::atomic<uint64_t> gAllocations{0};

void* CountedAlloc(size_t size) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(size ? size : 1);
}

}  // namespace

void* operator new(size_t size) {
  if (void* p = CountedAlloc(size)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size) {
  if (void* p = CountedAlloc(size)) return p;
  throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept { return CountedAlloc(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return CountedAlloc(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

XMLNodePtr PropsRoot() {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  for (int i = 0; i < 29; ++i) root->SetString(L"capture.key_" + std::to_wstring(i), std::to_wstring(i * 7));
  // Written as text, as the settings store writes it: the first typed read converts it.
  root->SetString(L"capture.fps_limit", L"29.97");
  return root;
}

void BM_TypedRead(benchmark::State& state) {
  XMLNodePtr root = PropsRoot();
  double sum = root->GetDouble(L"capture.fps_limit");
  const uint64_t before = gAllocations.load();
  for (auto _ : state) {
    sum += root->GetDouble(L"capture.fps_limit");
    benchmark::DoNotOptimize(sum);
  }
  state.counters["allocs_after_first"] = static_cast<double>(gAllocations.load() - before);
}
BENCHMARK(BM_TypedRead);

// About 1 MB of the dialect: settings-like elements with attributes, nested children and text.
const std::wstring& Document() {
  static const std::wstring text = [] {
    XMLNodePtr root = CoXMLNode::Create(L"t-props");
    // Whole blocks of elements between size checks keep the check cheap.
    for (int i = 0; i == 0 || root->ToXML().size() < 1000000;) {
      for (const int blockEnd = i + 256; i < blockEnd; ++i) {
        XMLNodePtr item = root->AddChild(L"format");
        item->SetString(L"name", L"HD1080_" + std::to_wstring(i));
        item->SetInt(L"width", 1920);
        item->SetInt(L"height", 1080);
        item->SetDouble(L"rate", 29.97);
        item->SetString(L"colour", L"#FF8000(128)");
        item->AddChild(L"audio::channel", L"left & right < all");
        item->AddChild(L"note", L"A short description of the format, with some words in it.");
      }
    }
    return root->ToXML();
  }();
  return text;
}

const std::string& DocumentUtf8() {
  static const std::string text(Document().begin(), Document().end());  // ASCII only
  return text;
}

void BM_ParseTree(benchmark::State& state) {
  const std::wstring& text = Document();
  for (auto _ : state) {
    XMLNodePtr node = CoXMLNode::Create(L"doc");
    node->ParseElement(text.c_str());
    benchmark::DoNotOptimize(node.Get());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ParseTree)->Unit(benchmark::kMillisecond);

void BM_ParsePeer(benchmark::State& state) {
  const std::string& text = DocumentUtf8();
  for (auto _ : state) {
    pugi::xml_document doc;
    doc.load_buffer(text.data(), text.size());
    benchmark::DoNotOptimize(doc.first_child());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ParsePeer)->Unit(benchmark::kMillisecond);

void BM_WriteTree(benchmark::State& state) {
  XMLNodePtr node = CoXMLNode::Create(L"doc");
  node->ParseElement(Document().c_str());
  size_t bytes = 0;
  for (auto _ : state) {
    const std::wstring out = node->ToXML();
    bytes += out.size();
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_WriteTree)->Unit(benchmark::kMillisecond);

struct StringWriter : pugi::xml_writer {
  std::string out;
  void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), size); }
};

void BM_WritePeer(benchmark::State& state) {
  pugi::xml_document doc;
  doc.load_buffer(DocumentUtf8().data(), DocumentUtf8().size());
  size_t bytes = 0;
  for (auto _ : state) {
    StringWriter writer;
    doc.save(writer, "\t", pugi::format_default, pugi::encoding_utf8);
    bytes += writer.out.size();
    benchmark::DoNotOptimize(writer.out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_WritePeer)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
