// Many threads on one tree at once: readers of typed values, writers of the same keys, walkers that
// add and remove children, renames, copies and XML writes. The checks are that nothing breaks (the
// sanitizers watch the memory and the races) and that every value read is one that some writer wrote.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "media/module_lock.h"
#include "props/xml_node.h"

namespace XMLParse {
namespace {

TEST(NodeStress, ReadersWritersAndStructureChangesShareOneTree) {
  const int32_t locksBefore = ModuleLockCount();
  {
    XMLNodePtr root = CoXMLNode::Create(L"t-props");
    for (int i = 0; i < 30; ++i) root->SetInt(L"key" + std::to_wstring(i), i);
    root->SetDouble(L"capture.fps_limit", 30.0);

    std::atomic<bool> stop{false};
    std::atomic<int> badValues{0};
    std::vector<std::thread> threads;

    for (int t = 0; t < 3; ++t)
      threads.emplace_back([&] {
        while (!stop.load(std::memory_order_relaxed)) {
          const double fps = root->GetDouble(L"capture.fps_limit");
          if (fps != 30.0 && fps != 60.0) badValues.fetch_add(1);
          const std::wstring text = root->GetString(L"capture.fps_limit");
          if (text != L"30.0" && text != L"60.0" && text != L"60") badValues.fetch_add(1);
          root->GetInt(L"list::item[1]::v", -1);
          root->ToXML();
        }
      });
    threads.emplace_back([&] {
      for (int i = 0; !stop.load(std::memory_order_relaxed); ++i) {
        if (i % 3 == 0)
          root->SetDouble(L"capture.fps_limit", i % 2 ? 30.0 : 60.0);
        else
          root->SetString(L"capture.fps_limit", L"60");
        root->SetInt(L"key" + std::to_wstring(i % 30), i);
      }
    });
    threads.emplace_back([&] {
      for (int i = 0; !stop.load(std::memory_order_relaxed); ++i) {
        XMLNodePtr item = root->AddChild(L"list::item", L"text");
        item->SetInt(L"v", i);
        if (i % 4 == 3) {
          root->RemoveChild(L"list::item");
          root->RemoveChild(L"list::item");
          root->RemoveChild(L"list::item");
        }
        if (i % 50 == 49) root->RemoveChild(L"list");
      }
    });
    threads.emplace_back([&] {
      for (int i = 0; !stop.load(std::memory_order_relaxed); ++i) {
        if (XMLNodePtr list = root->FindChild(L"list")) {
          list->Rename(i % 2 ? L"List" : L"list");
          XMLNodePtr copy = list->Clone();
          copy->CopyTo(CoXMLNode::Create(L"sink").Get(), true, 1);
          list->Path();
        }
        XMLNodePtr other = CoXMLNode::Create(L"other");
        root->CopyAttributes(other.Get(), 2);
        other->ParseElement(root->ToXML().c_str());
      }
    });

    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    stop = true;
    for (auto& t : threads) t.join();
    EXPECT_EQ(badValues.load(), 0);
    EXPECT_EQ(root->AttributeCount(), 31);
  }
  EXPECT_EQ(ModuleLockCount(), locksBefore) << "every node made on the way is gone";
}

TEST(NodeStress, NodesKeptByCallersOutliveTheirTree) {
  std::vector<XMLNodePtr> kept(4);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 150; ++i) {
        XMLNodePtr root = CoXMLNode::Create(L"root");
        XMLNodePtr leaf = root->FindChild(L"a::b::c", true);
        kept[t] = leaf;
        // Another thread drops the tree while this leaf is still asked for its path.
        std::thread dropper([r = std::move(root)]() mutable { r.Reset(); });
        leaf->Path();
        leaf->Parent();
        dropper.join();
        EXPECT_EQ(leaf->Path(), L"") << "its parent is gone";
      }
    });
  for (auto& t : threads) t.join();
}

}  // namespace
}  // namespace XMLParse
