#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/oo7/oo7_Adapter.h"
#include "bench/oo7/oo7_SqliteCache.h"
#include "bench/oo7/oo7_SqliteWriter.h"

/// One session over the tables: an oo7_Adapter with prepared statements and objects that stay once they are read.
/// Another connection's commit ends their life.
///
/// The atoms of a composite part are read together when a connection of one of them is followed. Scans and joins are
/// left to SQLite. Coordinates are written at the end of an operation; all else at once.
class oo7_SqliteSession {
 public:
  using Atom = oo7_sqlite::Atom;
  using Base = oo7_sqlite::Base;
  using Complex = oo7_sqlite::Complex;
  using Composite = oo7_sqlite::Composite;

  oo7_SqliteSession(std::string const& path, oo7_Parameters const& parameters);

  void Begin(bool);
  void Commit();
  void End() { m_File.Run("COMMIT"); }
  [[nodiscard]] oo7_Parameters const& Parameters() const { return m_Parameters; }

  Complex& DesignRoot();
  template <class OnComplex, class OnBase>
  void EachSub(Complex& complex, OnComplex&& onComplex, OnBase&& onBase) {
    if (!complex.m_Complexes) ReadSubs(complex);
    for (Complex* const sub : *complex.m_Complexes) onComplex(*sub);
    for (Base* const base : complex.m_Bases) onBase(*base);
  }
  template <class Visit> void EachPrivate(Base& base, Visit&& visit) {
    if (!base.m_Private) ReadPrivate(base);
    for (Composite* const part : *base.m_Private) visit(*part);
  }
  template <class Visit> void EachPrivateUser(Composite& part, Visit&& visit) {
    if (!part.m_PrivateUsers) ReadPrivateUsers(part);
    for (Base* const base : *part.m_PrivateUsers) visit(*base);
  }
  Complex* Super(auto& assembly) { return m_Complexes.Find(assembly.m_SuperId, m_ComplexById); }
  Atom& RootPart(Composite& part) {
    if (!part.m_Root) part.m_Root = FindAtom(part.m_RootId);
    return *part.m_Root;
  }
  Composite& PartOf(Atom& atom) { return *m_Composites.Find(atom.m_PartId, m_CompositeById); }
  template <class Visit> void EachTo(Atom& atom, Visit&& visit) {
    if (!atom.m_HasConnections) ReadConnections(atom.m_PartId);
    for (oo7_sqlite::Connection const& connection : atom.m_Connections) visit(*connection.m_To);
  }

  Atom* FindAtom(int id) { return m_Atoms.Find(id, m_AtomById); }
  Composite* FindPartOfTitle(std::string const& title);
  template <class Visit> void EachAtomBuilt(int first, int last, Visit&& visit) {
    VisitAtoms(m_AtomsByDate, visit, first, last);
  }
  template <class Visit> void EachAtom(Visit&& visit) { VisitAtoms(m_AllAtoms, visit); }
  template <class Visit> void EachBase(Visit&& visit) {
    std::vector<Base*> bases;
    m_AllBases.Each([&](objects_SqliteStatement& row) { bases.push_back(&m_Bases.Of(row)); });
    for (Base* const base : bases) visit(*base);
  }
  template <class Visit> void EachAtomWithDocument(Visit&& visit) {
    Atom atom;
    oo7_sqlite::Document document;
    m_AtomsWithDocuments.Each([&](objects_SqliteStatement& row) {
      oo7_SqliteCache<Atom>::Read(row, atom);
      document.m_Id = oo7_Column(row, 7);
      visit(atom, document);
    });
  }

  std::string_view DocumentText(Composite& part);
  std::string_view ManualText();
  int ManualLength();
  char ManualByte(int at);

  void SetPosition(Atom& atom, int x, int y);
  void SetBuildDate(Atom& atom, int date);
  void SetDocumentText(Composite& part, std::string text);
  void Insert(oo7_CompositeRow const& row, int baseId);
  int Delete(int id);

 private:
  void ReadSubs(Complex& complex);
  void ReadPrivate(Base& base);
  void ReadPrivateUsers(Composite& part);
  void ReadConnections(int partId);
  void Forget();

  template <class Visit, class... Values>
  void VisitAtoms(oo7_SqliteQuery& query, Visit& visit, Values const&... values) {
    Atom atom;
    auto const read = [&](objects_SqliteStatement& row) {
      oo7_SqliteCache<Atom>::Read(row, atom);
      visit(atom);
    };
    query.Each(read, values...);
  }

  oo7_Parameters m_Parameters;
  objects_SqliteFile m_File;
  oo7_SqliteWriter m_Writer{m_File};
  oo7_SqliteCache<Atom> m_Atoms;
  oo7_SqliteCache<Composite> m_Composites;
  oo7_SqliteCache<Base> m_Bases;
  oo7_SqliteCache<Complex> m_Complexes;
  std::vector<Atom*> m_Moved;
  std::string m_ManualText;
  int m_Version = 0; // of the file, when the objects were read

  oo7_SqliteQuery m_DataVersion{m_File, "PRAGMA data_version"};
  oo7_SqliteQuery m_ComplexById{m_File, "SELECT * FROM complex_assembly WHERE id = ?"};
  oo7_SqliteQuery m_ComplexesBelow{m_File, "SELECT * FROM complex_assembly WHERE super_id = ? ORDER BY id"};
  oo7_SqliteQuery m_BasesBelow{m_File, "SELECT * FROM base_assembly WHERE super_id = ? ORDER BY id"};
  oo7_SqliteQuery m_AllBases{m_File, "SELECT * FROM base_assembly"};
  oo7_SqliteQuery m_CompositeById{m_File, "SELECT * FROM composite_part WHERE id = ?"};
  oo7_SqliteQuery m_PrivateOfBase{m_File,
                                  "SELECT p.* FROM component c JOIN composite_part p ON p.id = c.part_id "
                                  "WHERE c.base_id = ? AND c.is_shared = 0 ORDER BY c.nr"};
  oo7_SqliteQuery m_UsersOfPart{m_File,
                                "SELECT b.* FROM component c JOIN base_assembly b ON b.id = c.base_id "
                                "WHERE c.part_id = ? AND c.is_shared = 0"};
  oo7_SqliteQuery m_PartByTitle{
      m_File, "SELECT p.* FROM document d JOIN composite_part p ON p.id = d.id WHERE d.title = ?"};
  oo7_SqliteQuery m_AtomById{m_File, "SELECT * FROM atomic_part WHERE id = ?"};
  oo7_SqliteQuery m_AtomsOfPart{m_File, "SELECT * FROM atomic_part WHERE part_id = ?"};
  oo7_SqliteQuery m_AtomsByDate{m_File, "SELECT * FROM atomic_part WHERE build_date BETWEEN ? AND ?"};
  oo7_SqliteQuery m_AllAtoms{m_File, "SELECT * FROM atomic_part"};
  oo7_SqliteQuery m_AtomsWithDocuments{
      m_File, "SELECT a.*, d.id FROM atomic_part a JOIN document d ON d.id = a.doc_id"};
  oo7_SqliteQuery m_ConnectionsOfPart{
      m_File, "SELECT c.from_id, c.to_id, c.type, c.length FROM atomic_part a "
              "CROSS JOIN connection c ON c.from_id = a.id WHERE a.part_id = ? ORDER BY c.from_id, c.nr"};
  oo7_SqliteQuery m_DocumentTextById{m_File, "SELECT text FROM document WHERE id = ?"};
  oo7_SqliteQuery m_WholeManual{m_File, "SELECT text FROM manual WHERE module_id = 1"};
  oo7_SqliteQuery m_LengthOfManual{m_File, "SELECT length FROM manual WHERE module_id = 1"};
  oo7_SqliteQuery m_ByteOfManual{m_File, "SELECT substr(text, ?, 1) FROM manual WHERE module_id = 1"};
  oo7_SqliteQuery m_SetPosition{m_File, "UPDATE atomic_part SET x = ?, y = ? WHERE id = ?"};
  oo7_SqliteQuery m_SetBuildDate{m_File, "UPDATE atomic_part SET build_date = ? WHERE id = ?"};
  oo7_SqliteQuery m_SetDocumentText{m_File, "UPDATE document SET text = ? WHERE id = ?"};
  oo7_SqliteQuery m_BasesOfPart{m_File, "SELECT base_id FROM component WHERE part_id = ?"};
  oo7_SqliteQuery m_DeleteConnections{
      m_File, "DELETE FROM connection WHERE from_id IN (SELECT id FROM atomic_part WHERE part_id = ?)"};
  oo7_SqliteQuery m_DeleteAtoms{m_File, "DELETE FROM atomic_part WHERE part_id = ? RETURNING id"};
  oo7_SqliteQuery m_DeleteComponents{m_File, "DELETE FROM component WHERE part_id = ?"};
  oo7_SqliteQuery m_DeleteDocument{m_File, "DELETE FROM document WHERE id = ?"};
  oo7_SqliteQuery m_DeleteComposite{m_File, "DELETE FROM composite_part WHERE id = ?"};
};
