#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "metadata/cls_ClassMetadata.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_Record.h"
#include "store/format/sto_ShapeTable.h"

/// A class as a session writes it: its newest metadata, and the attributes that were written so far, with
/// their keys in the store. Objects of one class write their attributes in the same order, so each attribute
/// is found at once. Internal to the module. Thread rule: the thread of the session.
class sto_ClassInUse {
 public:
  struct Attribute {
    cow_String m_Name;
    int m_FieldId;
    sto_FieldKey m_Key;
    cls_AttributeMetadata const* m_Declared;
    mutable std::uint32_t m_FittingTags =
        0; // a bit for each type of value that was found to fit the declaration
  };

  /// `declaringBase`: see DeclaringBase. Both must outlive the object.
  sto_ClassInUse(cls_ClassMetadata const& metadata, cls_ClassMetadata const* declaringBase)
      : m_Metadata(metadata), m_DeclaringBase(declaringBase) {}

  [[nodiscard]] cls_ClassMetadata const& Metadata() const noexcept { return m_Metadata; }
  /// The nearest base class that declares an attribute, null if none does.
  [[nodiscard]] cls_ClassMetadata const* DeclaringBase() const noexcept { return m_DeclaringBase; }

  /// The attribute of a handle, null if it has not been written yet. Valid until Reset. `next`: where an
  /// object of the class probably has it; set to what follows. It starts at 0 for each object.
  [[nodiscard]] Attribute const* Find(cls_FieldHandle const& field, std::size_t& next) const noexcept {
    if (next < m_Attributes.size()) {
      Attribute const* const likely = m_Attributes[next].get();
      if (likely->m_Name.SharesBufferWith(field.Name()) && !field.Name().IsEmpty()) {
        ++next;
        return likely;
      }
    }
    return Search(field, next);
  }

  /// Notes an attribute that is written for the first time. The result is valid until Reset.
  Attribute const& Add(cls_FieldHandle const& field, sto_FieldKey const& key,
                       cls_AttributeMetadata const& declared);

  [[nodiscard]] std::size_t AttributeCount() const noexcept { return m_Attributes.size(); }

  /// The shape of the latest object, null if there is none.
  [[nodiscard]] std::shared_ptr<sto_NumberedShape const> const& LatestShape() const noexcept {
    return m_RecentShapes[m_Latest];
  }
  /// The shape of an object of this class, null if none of the latest ones fits.
  [[nodiscard]] sto_NumberedShape const* FindRecentShape(sto_RecordBuilder& builder) {
    if (sto_NumberedShape const* const latest = LatestShape().get();
        latest != nullptr && builder.HasExpected(latest))
      return latest;
    return SearchRecentShape(builder);
  }
  /// Notes the shape of an object.
  void NoteRecentShape(std::shared_ptr<sto_NumberedShape const> shape) noexcept {
    m_Latest = m_NextRecent;
    m_RecentShapes[m_Latest] = std::move(shape);
    m_NextRecent = (m_NextRecent + 1) % m_RecentShapes.size();
  }

  /// Whether the store's catalogue has the class. Set by sto_Catalogue::ToWrite.
  bool m_IsRecorded = false;
  /// The base class, null if it was not asked for yet. Set by sto_Session::BaseToWrite.
  sto_ClassInUse* m_Base = nullptr;

  /// Forgets what is known from the store.
  void Reset() noexcept;

 private:
  [[nodiscard]] Attribute const* Search(cls_FieldHandle const& field, std::size_t& next) const noexcept;
  [[nodiscard]] sto_NumberedShape const* SearchRecentShape(sto_RecordBuilder& builder);

  cls_ClassMetadata const& m_Metadata;
  cls_ClassMetadata const* m_DeclaringBase;
  std::vector<std::unique_ptr<Attribute>> m_Attributes; // in the order of their first writing
  std::array<std::shared_ptr<sto_NumberedShape const>, 4> m_RecentShapes{}; // null: not used yet
  std::size_t m_Latest = 0;                                                 // that of the latest object
  std::size_t m_NextRecent = 0;                                             // the one that is replaced next
};

/// The declaration of a handle's attribute: by name, or by number for a handle without a name. Null if there
/// is none.
[[nodiscard]] cls_AttributeMetadata const* sto_FindDeclaration(cls_ClassMetadata const& metadata,
                                                               cls_FieldHandle const& field);
