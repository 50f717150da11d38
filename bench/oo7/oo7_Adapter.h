#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "bench/oo7/oo7_Rows.h"

/// A function that ignores what it is called with.
struct oo7_Ignore {
  void operator()(auto&&...) const {}
};

/// The object, if it is one; the one that it leads to, if it is a reference.
auto& oo7_Object(auto& object) {
  if constexpr (requires { object->m_Id; })
    return *object;
  else
    return object;
}

/// A system under test, as the operations see it. Objects are references that are valid until the operation ends.
///
/// Atoms have m_Id, m_BuildDate, m_X, m_Y, m_DocId, and an m_Mark that is not stored; the other objects have m_Id and,
/// except documents, m_BuildDate. What an atom's m_X, m_Y and m_BuildDate become, the adapter is asked to set.
///
/// - `EachSub(complex, onComplex, onBase)`: its sub-assemblies, in their order.
/// - `EachPrivate(base, visit)`: its private composite parts, with repetition; `EachPrivateUser(part, visit)` back.
/// - `Super(assembly)`: its complex assembly, null for the root.
/// - `EachTo(atom, visit)`: the atoms that its connections lead to.
/// - `Find...`: by index. Null if there is none. `EachAtomBuilt(first, last, visit)`: those of these dates, by index.
/// - `EachAtom`, `EachBase`: all there are. `EachAtomWithDocument(visit)`: an atom, and the document it names.
/// - `DocumentText(part)`, `ManualText()`: views that are valid until the text is set or the operation ends.
/// - `SetBuildDate` changes the index with the atom. `Insert`, `Delete`: a composite part with its document, atoms and
///   connections, their entries in indexes, and the references of base assemblies.
/// - `Begin(changes)` and `End()` are called before and after each operation, and `Commit()` before the `End()` of one
///   that changes something. What it changed is durable when `End()` returns.
///
/// An atom that RootPart and EachTo give, and that SetPosition and SetBuildDate are called with, may be a reference to an
/// atom: oo7_Object leads to the atom then.
template <class Db>
concept oo7_Adapter = requires(Db& db, typename Db::Atom& atom, typename Db::Composite& part,
                               typename Db::Base& base, typename Db::Complex& complex,
                               oo7_CompositeRow const& row, std::string text, oo7_Ignore ignore) {
  { db.DesignRoot() } -> std::same_as<typename Db::Complex&>;
  db.EachSub(complex, ignore, ignore);
  db.EachPrivate(base, ignore);
  db.EachPrivateUser(part, ignore);
  { db.Super(base) } -> std::same_as<typename Db::Complex*>;
  { db.Super(complex) } -> std::same_as<typename Db::Complex*>;
  { oo7_Object(db.RootPart(part)) } -> std::same_as<typename Db::Atom&>;
  { db.PartOf(atom) } -> std::same_as<typename Db::Composite&>;
  db.EachTo(db.RootPart(part), ignore);
  { db.FindAtom(1) } -> std::same_as<typename Db::Atom*>;
  { db.FindPartOfTitle(text) } -> std::same_as<typename Db::Composite*>;
  db.EachAtomBuilt(1, 2, ignore);
  db.EachAtom(ignore);
  db.EachBase(ignore);
  db.EachAtomWithDocument(ignore);
  { db.DocumentText(part) } -> std::convertible_to<std::string_view>;
  { db.ManualText() } -> std::convertible_to<std::string_view>;
  { db.ManualByte(1) } -> std::same_as<char>;
  { db.ManualLength() } -> std::same_as<int>;
  db.SetPosition(db.RootPart(part), 1, 2);
  db.SetBuildDate(db.RootPart(part), 1);
  db.SetDocumentText(part, std::move(text));
  db.Insert(row, 1);
  db.Delete(1);
  db.Begin(true);
  db.Commit();
  db.End();
  { db.Parameters() } -> std::convertible_to<oo7_Parameters const&>;
};
