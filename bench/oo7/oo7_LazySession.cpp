#include "bench/oo7/oo7_LazySession.h"

#include "bench/oo7/oo7_GraphBuilder.h"

namespace {

constexpr char Root[] = "module";
using Builder = oo7_GraphBuilder<oo7_lazy::Classes>;

} // namespace

void oo7_LazySession::Build(oo7_Rows const& rows, std::string const& path) {
  oo7_lazy::Library library;
  Builder::Build(rows, library);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, m_Registrar);
  store.Save(Root, library);
  store.Close();
}

void oo7_LazySession::Open(std::string const& path, oo7_Parameters const& parameters) {
  m_Parameters = parameters;
  m_Store.emplace(sto_Store::Open(path, sto_Mode::ReadWrite, m_Registrar));
  m_Library = m_Store->Ref<oo7_lazy::Library>(Root);
}

void oo7_LazySession::Close() {
  m_Library = nullptr;
  m_Store.reset();
}

void oo7_LazySession::Begin(bool changes) {
  if (changes)
    m_Writing.emplace(*m_Store);
  else
    m_Reading.emplace(*m_Store);
}

void oo7_LazySession::Commit() {
  m_Writing->Commit();
}

void oo7_LazySession::End() {
  m_Writing.reset();
  m_Reading.reset();
}

oo7_LazySession::Atom* oo7_LazySession::FindAtom(int id) {
  return ToPointer(m_Store->FindOne<oo7_lazy::Atom>(&Atom::m_Id, id));
}

oo7_LazySession::Composite* oo7_LazySession::FindPartOfTitle(std::string const& title) {
  sto_Ref<oo7_lazy::Document> const document =
      m_Store->FindOne<oo7_lazy::Document>(&Document::m_Title, title);
  return document ? ToPointer(document->m_Part) : nullptr;
}

void oo7_LazySession::SetPosition(AtomRef const& atom, int x, int y) {
  oo7_lazy::Atom& changed = atom.Edit();
  changed.m_X = x;
  changed.m_Y = y;
}

void oo7_LazySession::Insert(oo7_CompositeRow const& row, int baseId) {
  sto_Ref<oo7_lazy::Base> const base = m_Store->FindOne<oo7_lazy::Base>(&Base::m_Id, baseId);
  oo7_lazy::Library& library = m_Library.Edit();
  Builder::AddComposite(m_Parameters, row, library);
  Builder::Use(base, library.m_Composites.back(), true);
}

int oo7_LazySession::Delete(int id) {
  sto_Ref<oo7_lazy::Composite> const part = m_Store->FindOne<oo7_lazy::Composite>(&Composite::m_Id, id);
  for (sto_Ref<oo7_lazy::Base> const& base : part->m_UsedInPrivate) base.Edit().m_Private.remove_all(part);
  for (sto_Ref<oo7_lazy::Base> const& base : part->m_UsedInShared) base.Edit().m_Shared.remove_all(part);
  m_Library.Edit().m_Composites.remove(part);
  int count = 0;
  for (sto_Ref<oo7_lazy::Atom> const& atom : part->m_Parts) {
    for (sto_Ref<oo7_lazy::Connection> const& connection : atom->m_To) connection.Delete();
    atom.Delete();
    ++count;
  }
  part->m_Documentation.Delete();
  part.Delete();
  return count;
}
