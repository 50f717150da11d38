/// Makes a store whose names, units and notes are anything but names: emit_hostile STORE.

#include <exception>
#include <iostream>
#include <string>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/identity/cls_OwnUid.h"
#include "store/sto_Store.h"

namespace {

char const* const Names[] = {"*/ }; int evil",
                             "\"\n#error evil\n",
                             "back\\slash\\",
                             "class",
                             "?\?/",
                             "TypeId",
                             "m_\xFF\xFE",
                             "a.b",
                             "a.c",
                             "m_\xC3\xA4",
                             "std",
                             "NULL",
                             "a_b",
                             "*/ class",
                             "0",
                             "Take_x",
                             "None",
                             "%s {} ${}",
                             "'''\"\"\"",
                             "self"};

/// A class by hand whose name is the text of the template's number.
template <int Number> class Hostile {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x7B0100 + Number; }
  Hostile() = default;
  explicit Hostile(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    for (int i = 0; i < static_cast<int>(std::size(Names)); ++i) visitor.Write(Field(i), i + Number);
  }

  static void Declare(cls_ClassRegistrar& registrar) {
    cls_ClassMetadata& metadata = registrar.AddClassMD(new cls_TypeAdapter<Hostile>(
        cow_String(std::string_view(Names[Number])), 1, cls_ClassMetadata::RootClassId));
    cls_ClassNotes& notes = registrar.NotesOf(TypeId(), 1);
    notes.Note(Names[Number], Names[1]);
    for (int i = 0; i < static_cast<int>(std::size(Names)); ++i) {
      metadata.AddAttribute(Field(i), ATTR_INT, 1, COLLECTION_NONE);
      notes.Unit(Names[i], Names[(i + Number) % std::size(Names)])
          .Default(Names[i], Names[i])
          .Note(Names[i], Names[i], Names[1]);
      if (i % 3 != 0) continue;
      for (char const* const name : Names) notes.Enumerator(Names[i], name, i);
    }
  }

 private:
  static cls_FieldHandle Field(int number) { return {number, cow_String(std::string_view(Names[number]))}; }

  cls_OwnUid m_Uid;
};

template <int... Numbers> void Make(std::string const& path) {
  cls_ClassRegistrar registrar;
  (Hostile<Numbers>::Declare(registrar), ...);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar);
  (store.Save(Names[Numbers], Hostile<Numbers>()), ...);
  store.Close();
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    Make<0, 1, 2, 3, 4, 5, 6>(argv[1]);
  } catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}
