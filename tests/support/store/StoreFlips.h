#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreRows.h"

// Single flipped bits in the file of a small store. Each must be reported by a full check, or refused when the store
// is opened, or harmless: then everything reads as before, also after a further save.

/// An object with a text that may be long.
struct FlipText {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  explicit FlipText(std::size_t length) : m_Text(std::string(length, 't')) {}
  explicit FlipText(cls_ReadVisitor const& visitor)
      : m_Text(visitor.Read(Field("m_Text"), cow_String())), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(Field("m_Text"), m_Text);
  }
  cow_String m_Text;
  cls_Uid m_Uid;
};

class StoreFlips {
 public:
  /// What became of a flipped bit.
  enum class Fate { Refused, Found, Harmless, Wrong };

  /// Makes the store in file `path`, which Try overwrites.
  explicit StoreFlips(std::string path) : m_Path(std::move(path)) {
    Make();
    MoveABlock();
    m_Whole = FileBytes(m_Path);
    sto_Store store = Open();
    m_Content = Content(store);
    if (!store.Check(sto_CheckDepth::Full).IsSound())
      throw std::runtime_error("the store is damaged already");
  }

  [[nodiscard]] std::size_t BitCount() const noexcept { return 8 * m_Whole.size(); }

  /// Flips a bit. `text` says what is wrong, if anything is.
  [[nodiscard]] Fate Try(std::size_t bit, std::string& text) {
    StoreBytes bytes = m_Whole;
    bytes[bit / 8] ^= std::byte{1} << bit % 8;
    for (char const* const end : {"-journal", "-wal", "-shm"}) std::filesystem::remove(m_Path + end);
    WriteFile(m_Path, std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
    text = "bit " + std::to_string(bit % 8) + " of byte " + std::to_string(bit / 8) + ": ";
    try {
      return TryOpen(text);
    } catch (std::exception const& failure) {
      text += failure.what();
      return Fate::Wrong;
    }
  }

 private:
  using Contents = std::map<std::string, std::string>;

  [[nodiscard]] sto_Store Open() const {
    return sto_Store::Open(m_Path, sto_Mode::ReadWrite, CollectionClasses());
  }
  void Make() const {
    sto_Options options;
    options.m_PageBytes = 512;
    sto_Store store = sto_Store::Open(m_Path, sto_Mode::Create, CollectionClasses(), options);
    Node node(1);
    node.m_Left = std::make_shared<Node>(2);
    store.Save("node", node);
    store.Save("short", FlipText(20));
    store.Save("long", FlipText(1100));
    store.Save("picture", Picture(700));
    Bulk bulk;
    bulk.Fill(5);
    store.Save("bulk", bulk);
    store.Save("gone", FlipText(2000)); // leaves free pages
    store.RemoveRoot("gone");
    store.CollectGarbage();
    store.Close();
  }
  /// A save moves a block only if it overwrites many.
  void MoveABlock() const {
    SqlFile file(m_Path);
    file.Run("INSERT INTO moved_block SELECT 1, data FROM stored_block ORDER BY key DESC LIMIT 1;"
             "INSERT INTO block_place SELECT max(key), 1 FROM stored_block;"
             "DELETE FROM block WHERE key = (SELECT key FROM block_place)");
  }
  static Contents Content(sto_Store& store) {
    Contents content;
    for (std::string const& root : store.Roots()) content[root] = "";
    content.erase("new");
    for (auto& [root, text] : content) {
      if (root == "node") {
        std::shared_ptr<Node> const node = store.LoadShared<Node>(root);
        text = std::to_string(node->m_Value) + " " + std::to_string(node->m_Left->m_Value);
      } else if (root == "picture") {
        text = store.Load<Picture>(root)->Bytes();
      } else if (root == "bulk") {
        std::unique_ptr<Bulk> const bulk = store.Load<Bulk>(root);
        for (int i = 0; i < bulk->m_Array.Size(); ++i)
          text += std::to_string(bulk->m_Array.ConstGet(i)) + " ";
      } else {
        text = std::string(store.Load<FlipText>(root)->m_Text.View());
      }
    }
    return content;
  }
  Fate TryOpen(std::string& text) const {
    std::unique_ptr<sto_Store> store;
    try {
      store = std::make_unique<sto_Store>(Open());
    } catch (sto_Exception const&) {
      return Fate::Refused;
    }
    if (!store->Check(sto_CheckDepth::Full).IsSound()) return Fate::Found;
    if (Content(*store) != m_Content) {
      text += "other content";
      return Fate::Wrong;
    }
    store->Save("new", FlipText(600));
    bool const isSame = Content(*store) == m_Content && store->Load<FlipText>("new")->m_Text.Length() == 600;
    store.reset();
    sto_Store again = Open();
    if (isSame && Content(again) == m_Content) return Fate::Harmless;
    text += "other content after a save";
    return Fate::Wrong;
  }

  std::string m_Path;
  StoreBytes m_Whole;
  Contents m_Content;
};
