#pragma once

#include <memory>
#include <vector>

#include "metadata/cls_ClassMetadata.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_Record.h"

/// A class as a session writes it: its newest metadata, and those of its attributes that have been written,
/// with their keys in the store. Objects of a class write their attributes in the same order, so each is
/// found at the first look. Internal to the module. Thread rule: the thread of the session.
class sto_ClassInUse {
 public:
  struct Attribute {
    cow_String m_Name;
    int m_FieldId;
    sto_FieldKey m_Key;
    cls_AttributeMetadata const* m_Declared;
  };

  /// `declaringBase`: see DeclaringBase.
  sto_ClassInUse(cls_ClassMetadata const& metadata, cls_ClassMetadata const* declaringBase)
      : m_Metadata(metadata), m_DeclaringBase(declaringBase) {}

  [[nodiscard]] cls_ClassMetadata const& Metadata() const noexcept { return m_Metadata; }
  /// The nearest class above that declares an attribute, null when none does.
  [[nodiscard]] cls_ClassMetadata const* DeclaringBase() const noexcept { return m_DeclaringBase; }

  /// The attribute of a handle, when it has been written before; null otherwise.
  [[nodiscard]] Attribute const* Find(cls_FieldHandle const& field) noexcept;

  /// Notes an attribute that is written for the first time. The result stays until Reset.
  Attribute const& Add(cls_FieldHandle const& field, sto_FieldKey const& key,
                       cls_AttributeMetadata const& declared);

  /// Whether the store's catalogue has the class; set by whoever records it.
  bool m_IsRecorded = false;

  /// Forgets what is known from the store.
  void Reset() noexcept;

 private:
  cls_ClassMetadata const& m_Metadata;
  cls_ClassMetadata const* m_DeclaringBase;
  std::vector<std::unique_ptr<Attribute>> m_Attributes; // in the order in which they were written first
  std::size_t m_Next = 0; // the one that follows the attribute that was looked for last
};

/// The declaration of a handle's attribute: by name, or by number for a handle without a name. Null when
/// there is none.
[[nodiscard]] cls_AttributeMetadata const* sto_FindDeclaration(cls_ClassMetadata const& metadata,
                                                               cls_FieldHandle const& field);
