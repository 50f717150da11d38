#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "store/inspect/sto_Inspection.h"
#include "store/recover/sto_Recover.h"
#include "store/sto_Store.h"

/// All that a store has, as texts: to compare a recovered store with the one that it was made of.
class StoreSnapshot {
 public:
  struct Object {
    unsigned int m_ClassId = 0;
    std::map<std::string, std::string> m_Fields;
    std::vector<std::string> m_Items; // elements, entries or bytes
    bool m_IsMap = false;
  };

  explicit StoreSnapshot(std::string const& path) {
    cls_ClassRegistrar const none;
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, none);
    for (sto_SaveEntry const& save : store.Saves()) m_Saves.push_back(save.m_Program + "|" + save.m_Note);
    sto_Inspection const inspection(store);
    for (sto_InspectedRoot const& root : inspection.Roots()) m_Roots[root.m_Name] = root.m_Id;
    for (sto_InspectedWalk walk = inspection.Objects(); walk.Next();)
      m_Objects[walk.Id()] = Take(inspection, inspection.Object(walk.Id()));
  }

  /// Expects a store that was recovered from this one to have all of it, but what the report says.
  void ExpectIn(StoreSnapshot const& recovered, sto_RecoverReport const& report) const {
    for (auto const& [id, object] : recovered.m_Objects) {
      auto const before = m_Objects.find(id);
      if (before == m_Objects.end()) {
        ADD_FAILURE() << "object " << id << " is new";
        continue;
      }
      ExpectObject(id, before->second, object, report);
    }
    for (auto const& [id, object] : m_Objects)
      if (!recovered.m_Objects.contains(id)) {
        EXPECT_TRUE(IsLost(id, report)) << "object " << id << " is missing, and not reported";
      }
    ExpectRoots(recovered, report);
  }

  std::map<std::int64_t, Object> m_Objects;
  std::map<std::string, std::int64_t> m_Roots;
  std::vector<std::string> m_Saves;

 private:
  static bool IsLost(std::int64_t id, sto_RecoverReport const& report) {
    return report.m_FurtherLost > 0 || std::ranges::any_of(report.m_Lost, [&](sto_LostItem const& item) {
             if (item.m_Kind == sto_LostKind::Objects) return item.m_ObjectId <= id && id <= item.m_LastId;
             return item.m_Kind == sto_LostKind::Object && item.m_ObjectId == id;
           });
  }
  static bool Has(sto_RecoverReport const& report, sto_LostKind kind) {
    return std::ranges::any_of(report.m_Lost, [&](sto_LostItem const& item) { return item.m_Kind == kind; });
  }
  static void ExpectObject(std::int64_t id, Object const& before, Object const& after,
                           sto_RecoverReport const& report) {
    EXPECT_EQ(after.m_ClassId, before.m_ClassId) << id;
    for (auto const& [name, value] : after.m_Fields) {
      auto const found = before.m_Fields.find(name);
      bool const isKnown = found != before.m_Fields.end();
      EXPECT_TRUE(isKnown || Has(report, sto_LostKind::Name)) << id << " " << name;
      if (isKnown) {
        EXPECT_EQ(value, found->second) << id << " " << name;
      }
    }
    for (auto const& [name, value] : before.m_Fields)
      if (!after.m_Fields.contains(name)) {
        EXPECT_TRUE(IsFieldLost(id, name, report)) << id << " " << name;
      }
    if (before.m_IsMap) {
      std::multiset<std::string> const all(before.m_Items.begin(), before.m_Items.end());
      for (std::string const& item : after.m_Items) EXPECT_TRUE(all.contains(item)) << id << " " << item;
      EXPECT_EQ(before.m_Items.size() - after.m_Items.size(), Count(id, report)) << id;
      return;
    }
    ASSERT_EQ(after.m_Items.size(), before.m_Items.size()) << id;
    for (std::size_t i = 0; i < after.m_Items.size(); ++i)
      if (after.m_Items[i] != before.m_Items[i]) {
        ASSERT_TRUE(IsLost(id, static_cast<std::int64_t>(i), report)) << id << "[" << i << "]";
      }
  }
  static std::size_t Count(std::int64_t id, sto_RecoverReport const& report) {
    std::int64_t count = 0;
    for (sto_LostItem const& item : report.m_Lost)
      if (item.m_Kind == sto_LostKind::Entries && item.m_ObjectId == id) count += item.m_Count;
    return static_cast<std::size_t>(count);
  }
  static bool IsLost(std::int64_t id, std::int64_t index, sto_RecoverReport const& report) {
    return std::ranges::any_of(report.m_Lost, [&](sto_LostItem const& item) {
      bool const isItems = item.m_Kind == sto_LostKind::Elements || item.m_Kind == sto_LostKind::Bytes;
      return isItems && item.m_ObjectId == id && item.m_First <= index && index < item.m_First + item.m_Count;
    });
  }
  static bool IsFieldLost(std::int64_t id, std::string const& name, sto_RecoverReport const& report) {
    return std::ranges::any_of(report.m_Lost, [&](sto_LostItem const& item) {
      return item.m_Kind == sto_LostKind::Name || (item.m_HolderId == id && item.m_Attribute == name);
    });
  }
  static bool IsRootLost(std::string const& name, sto_RecoverReport const& report) {
    return std::ranges::any_of(report.m_Lost, [&](sto_LostItem const& item) {
      return (item.m_Kind == sto_LostKind::Root && item.m_Root == name) || item.m_Kind == sto_LostKind::Rows;
    });
  }
  void ExpectRoots(StoreSnapshot const& recovered, sto_RecoverReport const& report) const {
    for (auto const& [name, id] : recovered.m_Roots) {
      auto const before = m_Roots.find(name);
      bool const isNew = std::ranges::find(report.m_NewRoots, name) != report.m_NewRoots.end();
      EXPECT_TRUE(isNew || (before != m_Roots.end() && before->second == id)) << name;
    }
    for (auto const& [name, id] : m_Roots)
      if (!recovered.m_Roots.contains(name)) {
        EXPECT_TRUE(IsRootLost(name, report)) << name;
      }
  }

  static std::string Text(bool value) { return value ? "true" : "false"; }
  static std::string Text(double value) {
    std::ostringstream text;
    text.precision(17);
    text << value;
    return text.str();
  }
  template <class T> static std::string Text(std::complex<T> const& value) {
    return Text(static_cast<double>(value.real())) + "," + Text(static_cast<double>(value.imag()));
  }
  template <class T>
  requires std::is_integral_v<T>
  static std::string Text(T value) { return std::to_string(value); }
  static std::string Text(sto_InspectedText const& value) { return value ? "'" + *value + "'" : "none"; }
  static std::string Text(sto_InspectedId const& value) { return "#" + std::to_string(value.m_Id); }
  static std::string Text(std::vector<std::byte> const& value) {
    std::string text;
    for (std::byte const byte : value) text += static_cast<char>(byte);
    return text;
  }
  static std::string Text(sto_InspectedTree const& tree) {
    std::string text = "(" + std::to_string(tree.m_Alternative);
    for (sto_InspectedMember const& member : tree.m_Members) {
      text += ' ';
      text += TextOf(member.m_Value);
    }
    return text += ')';
  }
  static std::string TextOf(sto_InspectedValue const& value) {
    return std::visit([](auto const& held) { return Text(held); }, value);
  }
  static Object Take(sto_Inspection const& inspection, sto_InspectedObject const& object) {
    Object taken;
    taken.m_ClassId = object.ClassId();
    for (std::size_t part = 0; part < object.m_Parts.size(); ++part)
      for (sto_InspectedField const& field : object.m_Parts[part].m_Fields) {
        bool const isHint = field.m_Name.empty(); // of a collection or a blob
        taken.m_Fields[isHint ? std::to_string(field.m_Number) : field.m_Name + (part == 0 ? "" : "^")] =
            TextOf(field.m_Value);
      }
    switch (object.m_Content) {
    case sto_InspectedContent::List: {
      sto_InspectedList list = inspection.List(object.m_Id);
      std::visit(
          [&](auto const& elements) {
            for (auto const& element : elements) taken.m_Items.push_back(Text(element));
          },
          list.Read(0, list.Count()));
      break;
    }
    case sto_InspectedContent::Map:
      taken.m_IsMap = true;
      for (sto_InspectedMap map = inspection.Map(object.m_Id); map.Next();)
        taken.m_Items.push_back(std::visit([](auto const& key) { return Text(key); }, map.Key()) + "=" +
                                TextOf(map.Value()));
      break;
    case sto_InspectedContent::Blob: {
      sto_InspectedBlob blob = inspection.Blob(object.m_Id);
      std::vector<std::byte> bytes(static_cast<std::size_t>(blob.Size()));
      blob.Read(0, bytes);
      for (std::byte const byte : bytes) taken.m_Items.emplace_back(1, static_cast<char>(byte));
      break;
    }
    default:
      break;
    }
    return taken;
  }
};
