#pragma once

#include <cstddef>
#include <cstdint>
#include <typeinfo>

#include "persist/pointers/cls_DeclaredTypes.h"
#include "platform/kvl_Export.h"

class cls_MementoRead;
class cls_ObjectSource;

/// What a reading memento says about the stored object behind it, so that pointers to that object can be read
/// shared and checked (cls_Pointers.h). A back end's reading memento derives from this class as well as from
/// cls_MementoRead:
///
///     class MyReader : public cls_TypedMementoRead<MyReader>, public cls_StoredObject {
///       Place StoredAt() noexcept override { return {&m_Session, m_Number}; }
///       ...
///     };
///
/// A memento that passes on to another one derives from cls_ForwardedObject. A memento without this class
/// works too; what is behind pointers is then built anew for each pointer, and unchecked.
///
/// The order of the virtual operations is frozen. Cost: finding the class takes a dynamic_cast for each object
/// behind a pointer, unless its type is declared (cls_StoredMementoType). Thread rule: as the memento.
class KVL_EXPORT cls_StoredObject {
 public:
  struct Place {
    cls_ObjectSource* m_Source = nullptr;
    std::int64_t m_Id = 0; ///< the number that the source gives the object; 0 if it is not stored
  };

  /// Where the object is stored; Place() for an object that is not. All parts of one object have one place,
  /// and all mementos that read it.
  [[nodiscard]] virtual Place StoredAt() noexcept = 0;

  /// Notes that the metadata of the source builds the object, and not merely the C++ class that is asked for.
  /// A back end may refuse objects that have changed unless their metadata knows how. The default does
  /// nothing.
  virtual void NoteBuiltByMetadata();

  /// The stored object of a memento; null if `memento` is null or does not derive from this class.
  [[nodiscard]] static cls_StoredObject* Of(cls_MementoRead* memento) noexcept;

 protected:
  cls_StoredObject() = default;
  cls_StoredObject(cls_StoredObject const&) = default;
  cls_StoredObject& operator=(cls_StoredObject const&) = default;
  ~cls_StoredObject() = default;
};

/// Base of a reading memento that passes on to another one: says what that one says. REQUIRES: `target`, which
/// may be null, outlives the object.
class KVL_EXPORT cls_ForwardedObject : public cls_StoredObject {
 public:
  explicit cls_ForwardedObject(cls_MementoRead* target) noexcept : m_Object(Of(target)) {}

  [[nodiscard]] Place StoredAt() noexcept override;
  void NoteBuiltByMetadata() override;

 protected:
  ~cls_ForwardedObject() = default;

 private:
  cls_StoredObject* m_Object;
};

/// Declares a type of reading memento for as long as this object lives, so that cls_StoredObject::Of finds its
/// interface with a comparison of addresses. Without it, everything works the same, at the cost of a
/// dynamic_cast. Declare one at namespace scope in the source file of the memento; a module that is unloaded
/// takes its declaration with it:
///
///     static cls_StoredMementoType<MyReader> const s_MyReader;
///
/// It is for objects of exactly this class. The library keeps eight declarations; more have no effect. Thread
/// rule: any thread.
template <class Memento> class cls_StoredMementoType;

/// The part of cls_StoredMementoType that does not depend on the class.
class KVL_EXPORT cls_StoredMementoTypeBase {
 public:
  cls_StoredMementoTypeBase(cls_StoredMementoTypeBase const&) = delete;
  cls_StoredMementoTypeBase& operator=(cls_StoredMementoTypeBase const&) = delete;

 protected:
  /// `offset` leads from the cls_MementoRead of an object to its cls_StoredObject.
  cls_StoredMementoTypeBase(std::type_info const& type, std::ptrdiff_t offset) noexcept;
  ~cls_StoredMementoTypeBase();

 private:
  std::type_info const* m_Type;
};

template <class Memento> class cls_StoredMementoType : public cls_StoredMementoTypeBase {
 public:
  cls_StoredMementoType() noexcept
      : cls_StoredMementoTypeBase(typeid(Memento),
                                  cls_InterfaceOffset<Memento, cls_MementoRead, cls_StoredObject>()) {}
};
