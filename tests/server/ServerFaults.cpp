#include "tests/server/ServerFaults.h"

#include <stdexcept>

namespace ServerFaults {

namespace {

constexpr unsigned int FirstDescribed = 0x770100;

cls_FieldHandle Field(char const* name) {
  return cls_FieldHandle(cow_String(name));
}
void Require(bool isRight, std::string const& what, int step) {
  if (!isRight) throw std::runtime_error(what + " is not that of step " + std::to_string(step));
}
std::string RootOfPiece(int piece) {
  return "piece " + std::to_string(piece);
}
std::string RootOfStep(int step) {
  return "step " + std::to_string(step);
}
/// Too long for a pack. It always has the same length, so that saves are alike on the wire.
std::string TextOf(int number) {
  return std::string(1500, static_cast<char>('a' + number % 26));
}
/// Elements of the first and of the last block.
constexpr int Changed[] = {3, Plate::Elements - 5};

} // namespace

Piece::Piece(cls_ReadVisitor const& visitor)
    : m_Value(visitor.Read(Field("m_Value"), -1)), m_Uid(visitor.GetUid()) {}

void Piece::DBWrite(cls_WriteVisitor const& visitor) const {
  if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(Field("m_Value"), m_Value);
}

Plate::Plate(cls_ReadVisitor const& visitor)
    : m_Number(visitor.Read(Field("m_Number"), -1)), m_Values(cls_ReadVisitor(visitor, Field("m_Values"))),
      m_Uid(visitor.GetUid()) {
  Require(visitor.Read(Field("m_Text"), cow_String()).View() == TextOf(m_Number), "the text", m_Number);
}

Plate::~Plate() {
  try {
    m_Values.Release();
  } catch (...) { // the session is told
  }
  m_Values.DropBlocks();
}

void Plate::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(Field("m_Number"), m_Number);
  visitor.Write(Field("m_Text"), cow_String(TextOf(m_Number)));
  m_Values.DBWrite(cls_WriteVisitor(visitor, Field("m_Values"), nullptr, &m_Values));
}

Described::Described(cls_ReadVisitor const& visitor)
    : m_Number(visitor.Read(Field("m_Number"), -1)), m_Uid(visitor.GetUid()) {}

void Described::DBWrite(cls_WriteVisitor const& visitor) const {
  if (visitor.StartWrite(FirstDescribed + static_cast<unsigned int>(m_Number), m_Uid))
    visitor.Write(Field("m_Number"), m_Number);
}

cls_ClassRegistrar const& Registrar() {
  static cls_ClassRegistrar const& registrar = []() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    classes.CreateClassMD("Piece"_cow, Piece::TypeId(), 1, nullptr, 1)
        .AddAttribute(Field("m_Value"), ATTR_INT, 1, COLLECTION_NONE);
    classes.CreateClassMD("Plate"_cow, Plate::TypeId(), 1, nullptr, 1)
        .AddAttribute(Field("m_Number"), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(Field("m_Text"), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(Field("m_Values"), ATTR_INT, 1, COLLECTION_LIST_INT);
    for (int i = 0; i < Described::Classes; ++i)
      classes
          .CreateClassMD(cow_String("Described" + std::to_string(i)),
                         FirstDescribed + static_cast<unsigned int>(i), 1, nullptr, 1)
          .AddAttribute(Field("m_Number"), ATTR_INT, 1, COLLECTION_NONE);
    return classes;
  }();
  return registrar;
}

Writer::Writer(std::string const& location, sto_Options const& options)
    : m_Store(sto_Store::Open(location, sto_Mode::ReadWrite, Registrar(), options)) {
  Reload();
}

void Writer::Make(std::string const& location) {
  sto_Store store = sto_Store::Open(location, sto_Mode::Create, Registrar());
  Plate plate;
  for (int i = 0; i < Plate::Elements; ++i) plate.m_Values.Append(i);
  for (int const place : Changed) plate.m_Values.Get(place) = 0;
  sto_Transaction transaction(store);
  for (int piece = 0; piece < Pieces; ++piece) store.Save(RootOfPiece(piece), Piece(0));
  store.Save("plate", plate);
  store.Save(RootOfStep(0), Described(0));
  transaction.Commit();
}

void Writer::SaveStep(int step) {
  for (int piece = 0; piece < Pieces; ++piece) {
    m_Pieces[static_cast<std::size_t>(piece)]->m_Value = step;
    m_Store.Save(RootOfPiece(piece), *m_Pieces[static_cast<std::size_t>(piece)]);
  }
  m_Plate->m_Number = step;
  for (int const place : Changed) m_Plate->m_Values.Get(place) = step;
  m_Store.Save("plate", *m_Plate);
  m_Store.RemoveRoot(RootOfStep(step - 1));
  m_Store.Save(RootOfStep(step), Described(step));
}

void Writer::CommitStep(int step) {
  sto_Transaction transaction(m_Store);
  SaveStep(step);
  transaction.Commit();
}

int Writer::Reload() {
  m_Pieces.clear();
  m_Plate.reset();
  for (int piece = 0; piece < Pieces; ++piece) m_Pieces.push_back(m_Store.Load<Piece>(RootOfPiece(piece)));
  m_Plate = m_Store.Load<Plate>("plate");
  return m_Plate->m_Number;
}

int StepOf(sto_Store& store) {
  sto_ReadTransaction const transaction(store);
  auto const plate = store.Load<Plate>("plate");
  int const step = plate->m_Number;
  for (int piece = 0; piece < Writer::Pieces; ++piece)
    Require(store.Load<Piece>(RootOfPiece(piece))->m_Value == step, RootOfPiece(piece), step);
  Require(plate->m_Values.Size() == Plate::Elements, "the list", step);
  for (int const place : Changed) Require(plate->m_Values.ConstGet(place) == step, "an element", step);
  Require(store.Roots("step").size() == 1, "the number of roots", step);
  Require(store.Load<Described>(RootOfStep(step))->m_Number == step, "the described object", step);
  return step;
}

std::string DamageOf(sto_Store& store) {
  sto_CheckReport const report = store.Check(sto_CheckDepth::Full);
  std::string text;
  for (sto_CheckFinding const& finding : report.m_Findings) text += finding.m_Text + "\n";
  if (report.m_IsSumRight != true) text += "the sum over the rows is not that of the newest save\n";
  return text;
}

std::string ServerFaultsTest::NewStore(std::string const& uri) const {
  ++s_Stores;
  Writer::Make(Location(uri));
  return Location(uri);
}

void ServerFaultsTest::ExpectStep(int step) const {
  sto_Store store = Open(Location(m_Place.Uri()));
  EXPECT_EQ(StepOf(store), step);
  EXPECT_EQ(DamageOf(store), "");
}

SlowCommits::SlowCommits(ServerPlace const& place, double seconds) : m_Uri(place.Uri()) {
  ServerSql sql(m_Uri);
  sql.Run("CREATE FUNCTION kvl.test_slow() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN PERFORM pg_sleep(" +
          std::to_string(seconds) + "); RETURN NEW; END $$");
  sql.Run(
      "CREATE TRIGGER test_slow BEFORE INSERT ON kvl.save FOR EACH ROW WHEN (NEW.program = 'slow'::bytea) "
      "EXECUTE FUNCTION kvl.test_slow()");
}

SlowCommits::~SlowCommits() {
  try {
    ServerSql(m_Uri).Run("DROP FUNCTION kvl.test_slow() CASCADE");
  } catch (std::exception const& failure) {
    ADD_FAILURE() << failure.what();
  }
}

} // namespace ServerFaults
