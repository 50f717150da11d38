#include "bench/oo7/oo7_SqliteSession.h"

#include <utility>

oo7_SqliteSession::oo7_SqliteSession(std::string const& path, oo7_Parameters const& parameters)
    : m_Parameters(parameters), m_File(path) {}

void oo7_SqliteSession::Begin(bool) {
  m_File.Run("BEGIN");
  int version = 0;
  m_DataVersion.Each([&](objects_SqliteStatement& row) { version = oo7_Column(row, 0); });
  if (std::exchange(m_Version, version) != version) Forget();
}

void oo7_SqliteSession::Commit() {
  for (Atom* const atom : m_Moved) {
    m_SetPosition.Run(atom->m_X, atom->m_Y, atom->m_Id);
    atom->m_IsMoved = false;
  }
  m_Moved.clear();
}

void oo7_SqliteSession::Forget() {
  m_Atoms.Clear();
  m_Composites.Clear();
  m_Bases.Clear();
  m_Complexes.Clear();
  m_ManualText.clear();
}

oo7_SqliteSession::Complex& oo7_SqliteSession::DesignRoot() {
  return *m_Complexes.Find(1, m_ComplexById);
}

void oo7_SqliteSession::ReadSubs(Complex& complex) {
  complex.m_Complexes.emplace();
  m_ComplexesBelow.Each(
      [&](objects_SqliteStatement& row) { complex.m_Complexes->push_back(&m_Complexes.Of(row)); },
      complex.m_Id);
  m_BasesBelow.Each([&](objects_SqliteStatement& row) { complex.m_Bases.push_back(&m_Bases.Of(row)); },
                    complex.m_Id);
}

void oo7_SqliteSession::ReadPrivate(Base& base) {
  base.m_Private.emplace();
  m_PrivateOfBase.Each(
      [&](objects_SqliteStatement& row) { base.m_Private->push_back(&m_Composites.Of(row)); }, base.m_Id);
}

void oo7_SqliteSession::ReadPrivateUsers(Composite& part) {
  part.m_PrivateUsers.emplace();
  m_UsersOfPart.Each([&](objects_SqliteStatement& row) { part.m_PrivateUsers->push_back(&m_Bases.Of(row)); },
                     part.m_Id);
}

void oo7_SqliteSession::ReadConnections(int partId) {
  m_AtomsOfPart.Each([&](objects_SqliteStatement& row) { m_Atoms.Of(row).m_HasConnections = true; }, partId);
  m_ConnectionsOfPart.Each(
      [&](objects_SqliteStatement& row) {
        m_Atoms.Find(oo7_Column(row, 0))
            ->m_Connections.push_back(
                {oo7_TextColumn(row, 2), oo7_Column(row, 3), m_Atoms.Find(oo7_Column(row, 1))});
      },
      partId);
}

oo7_SqliteSession::Composite* oo7_SqliteSession::FindPartOfTitle(std::string const& title) {
  Composite* part = nullptr;
  m_PartByTitle.Each([&](objects_SqliteStatement& row) { part = &m_Composites.Of(row); }, title);
  return part;
}

std::string_view oo7_SqliteSession::DocumentText(Composite& part) {
  if (!part.m_DocumentText)
    m_DocumentTextById.Each(
        [&](objects_SqliteStatement& row) { part.m_DocumentText = oo7_TextColumn(row, 0); }, part.m_Id);
  return *part.m_DocumentText;
}

std::string_view oo7_SqliteSession::ManualText() {
  if (m_ManualText.empty())
    m_WholeManual.Each([&](objects_SqliteStatement& row) { m_ManualText = oo7_TextColumn(row, 0); });
  return m_ManualText;
}

int oo7_SqliteSession::ManualLength() {
  int length = 0;
  m_LengthOfManual.Each([&](objects_SqliteStatement& row) { length = oo7_Column(row, 0); });
  return length;
}

char oo7_SqliteSession::ManualByte(int at) {
  if (!m_ManualText.empty()) return m_ManualText[static_cast<std::size_t>(at)];
  char byte = 0;
  m_ByteOfManual.Each([&](objects_SqliteStatement& row) { byte = row.Bytes(0).front(); }, at + 1);
  return byte;
}

void oo7_SqliteSession::SetPosition(Atom& atom, int x, int y) {
  atom.m_X = x;
  atom.m_Y = y;
  if (!std::exchange(atom.m_IsMoved, true)) m_Moved.push_back(&atom);
}

void oo7_SqliteSession::SetBuildDate(Atom& atom, int date) {
  atom.m_BuildDate = date;
  m_SetBuildDate.Run(date, atom.m_Id);
}

void oo7_SqliteSession::SetDocumentText(Composite& part, std::string text) {
  part.m_DocumentText = std::move(text);
  m_SetDocumentText.Run(*part.m_DocumentText, part.m_Id);
}

void oo7_SqliteSession::Insert(oo7_CompositeRow const& row, int baseId) {
  m_Writer.AddComposite(m_Parameters, row);
  m_Writer.AddComponent(baseId, false, row.m_Id);
  if (Base* const base = m_Bases.Find(baseId)) base->m_Private.reset();
}

int oo7_SqliteSession::Delete(int id) {
  m_BasesOfPart.Each(
      [this](objects_SqliteStatement& row) {
        if (Base* const base = m_Bases.Find(oo7_Column(row, 0))) base->m_Private.reset();
      },
      id);
  int atoms = 0;
  m_DeleteConnections.Run(id);
  m_DeleteAtoms.Each(
      [&](objects_SqliteStatement& row) {
        m_Atoms.Forget(oo7_Column(row, 0));
        ++atoms;
      },
      id);
  m_DeleteComponents.Run(id);
  m_DeleteDocument.Run(id);
  m_DeleteComposite.Run(id);
  m_Composites.Forget(id);
  return atoms;
}
