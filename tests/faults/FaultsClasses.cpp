#include "tests/faults/FaultsClasses.h"

#include <stdexcept>

#include "persist/backend/cls_AgentRequest.h"

namespace {

constexpr unsigned int ListClass = 0x230001;
constexpr unsigned int MapClass = 0x230002;

cls_FieldHandle const& ArrayField(int array) {
  static cls_FieldHandle const fields[] = {
      {5, "m_Doubles"_cow}, {6, "m_Ints"_cow}, {7, "m_Strings"_cow}, {8, "m_Table"_cow}};
  return fields[array];
}

void Take(double& element, int value) {
  element = value * 0.5;
}
void Take(int& element, int value) {
  element = value;
}
void Take(cow_String& element, int value) {
  element = value == 0 ? cow_String() : cow_String("text " + std::to_string(value));
}
int NumberOf(double element) {
  return static_cast<int>(element * 2);
}
int NumberOf(int element) {
  return element;
}
int NumberOf(cow_String const& element) {
  return element.HasText() ? std::atoi(std::string(element.View()).c_str() + 5) : 0;
}

template <class T> T const& ElementOf(cls_ArrayPrim<T> const& array, int index) {
  return array.ConstGet(index);
}
double ElementOf(cls_2dArrayPrim<double> const& array, int index) {
  return array.ConstGet(index, 0);
}
template <class T> T& Element(cls_ArrayPrim<T>& array, int index) {
  return array.Get(index);
}
double& Element(cls_2dArrayPrim<double>& array, int index) {
  return array.Get(index, 0);
}
template <class T> T TypeOf(cls_ArrayPrim<T> const&);

template <class Array> std::vector<int> NumbersOf(Array const& array) {
  std::vector<int> numbers;
  numbers.reserve(static_cast<std::size_t>(array.Size()));
  for (int i = 0; i < array.Size(); ++i) numbers.push_back(NumberOf(ElementOf(array, i)));
  return numbers;
}

} // namespace

void FaultsFailure::Pass(cls_WriteVisitor const& visitor) {
  if (s_How == How::None || s_Point-- != 0) return;
  if (s_How == How::Throw) throw std::runtime_error("the class itself fails");
  visitor.Write(cls_FieldHandle(99, "m_Undeclared"_cow), 1);
}

Leaf::Leaf(cls_ReadVisitor const& visitor)
    : m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1)), m_Uid(visitor.GetUid()) {}

void Leaf::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  if (m_Fails) throw std::runtime_error("the element itself fails");
  visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
}

CarrierBase::CarrierBase(cls_ReadVisitor const& visitor)
    : m_BaseNumber(visitor.Read(cls_FieldHandle(0, "m_Number"_cow), -1)), m_BaseUid(visitor.GetUid()) {}

void CarrierBase::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_BaseUid)) return;
  visitor.Write(cls_FieldHandle(0, "m_Number"_cow), m_BaseNumber);
}

Carrier::Carrier(cls_ReadVisitor const& visitor)
    : CarrierBase(cls_ReadVisitor(visitor)), m_Number(visitor.Read(cls_FieldHandle(0, "m_Number"_cow), -1)),
      m_Text(visitor.Read(cls_FieldHandle(1, "m_Text"_cow), "absent"_cow).View()),
      m_List(cls_ReadVisitor(visitor, cls_FieldHandle(2, "m_List"_cow)), nullptr),
      m_Leaf(sto_ReadShared<Leaf>(visitor, cls_FieldHandle(3, "m_Leaf"_cow))),
      m_Uid(visitor.GetUid()), m_Arrays{cls_ArrayPrim<double>(cls_ReadVisitor(visitor, ArrayField(0))),
                                        cls_ArrayPrim<int>(cls_ReadVisitor(visitor, ArrayField(1))),
                                        cls_ArrayPrim<cow_String>(cls_ReadVisitor(visitor, ArrayField(2))),
                                        cls_2dArrayPrim<double>(cls_ReadVisitor(visitor, ArrayField(3)))} {
  if (sto_ReadShared<Leaf>(visitor, cls_FieldHandle(4, "m_Again"_cow)) != m_Leaf)
    throw std::logic_error("one stored leaf became two");
}

template <class Self, class Act> auto Carrier::With(Self& arrays, int array, Act act) {
  switch (array) {
  case 0:
    return act(arrays.m_Doubles);
  case 1:
    return act(arrays.m_Ints);
  case 2:
    return act(arrays.m_Strings);
  default:
    return act(arrays.m_Table);
  }
}

Carrier::~Carrier() {
  m_Copies.reset();
  m_Past.reset();
  for (int array = 0; array < ArrayCount; ++array)
    With(m_Arrays, array, [](auto& it) {
      try {
        it.Release();
      } catch (...) { // the blocks stay then; the destructor tries again
      }
      it.DropBlocks();
    });
}

void Carrier::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  CarrierBase::DBWrite(cls_WriteVisitor(visitor, CarrierBase::TypeId()));
  visitor.Write(cls_FieldHandle(0, "m_Number"_cow), m_Number);
  FaultsFailure::Pass(visitor);
  visitor.Write(cls_FieldHandle(1, "m_Text"_cow), cow_String(m_Text));
  m_List.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(2, "m_List"_cow), nullptr, &m_List));
  FaultsFailure::Pass(visitor);
  if (m_Leaf != nullptr) {
    m_Leaf->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(3, "m_Leaf"_cow), nullptr, m_Leaf.get()));
    m_Leaf->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(4, "m_Again"_cow), nullptr, m_Leaf.get()));
  }
  WriteArrays(visitor);
}

void Carrier::WriteArrays(cls_WriteVisitor const& visitor) const {
  for (int array = 0; array < ArrayCount; ++array) {
    FaultsFailure::Pass(visitor);
    With(m_Arrays, array,
         [&](auto const& it) { it.DBWrite(cls_WriteVisitor(visitor, ArrayField(array), nullptr, &it)); });
  }
  FaultsFailure::Pass(visitor);
}

int Carrier::Size(int array) const {
  return With(m_Arrays, array, [](auto const& it) { return it.Size(); });
}

bool Carrier::IsAssociated(int array) const {
  return With(m_Arrays, array, [](auto const& it) { return it.IsAssociated(); });
}

int Carrier::Get(int array, int index) const {
  return With(m_Arrays, array, [&](auto const& it) { return NumberOf(ElementOf(it, index)); });
}

std::vector<int> Carrier::All(int array) const {
  return With(m_Arrays, array, [](auto const& it) { return NumbersOf(it); });
}

void Carrier::Set(int array, int index, int value) {
  With(m_Arrays, array, [&](auto& it) { Take(Element(it, index), value); });
}

void Carrier::Append(int array, int value) {
  With(m_Arrays, array, [&](auto& it) {
    decltype(TypeOf(it)) element{};
    Take(element, value);
    it.Append(element);
  });
}

void Carrier::AppendBlock(int array, std::vector<int> const& values) {
  With(m_Arrays, array, [&](auto& it) {
    using Type = decltype(TypeOf(it));
    auto const run = std::make_unique<Type[]>(values.size() + 1);
    for (std::size_t i = 0; i < values.size(); ++i) Take(run[i], values[i]);
    it.AppendBlock(run.get(), static_cast<int>(values.size()));
  });
}

void Carrier::Flush(int array) const {
  With(m_Arrays, array, [](auto const& it) { it.Flush(); });
}

void Carrier::Release(int array) const {
  With(m_Arrays, array, [](auto const& it) { it.Release(); });
}

int Carrier::Refresh(int array) {
  return With(m_Arrays, array, [](auto& it) { return it.Refresh(); });
}

void Carrier::MakeCopies() {
  m_Copies = std::make_unique<Arrays>(m_Arrays);
}

std::vector<int> Carrier::AllOfCopy(int array) const {
  return With(*m_Copies, array, [](auto const& it) { return NumbersOf(it); });
}

void Carrier::AssignPast() {
  m_Past = std::make_unique<cls_2dArrayPrim<double>>();
  *m_Past = m_Arrays.m_Table;
}

void Carrier::ReadPast() const {
  static_cast<void>(m_Past->ConstGet(0, 0));
}

void Carrier::SavePast(sto_Store& store) const {
  struct Owner {
    static constexpr unsigned int TypeId() noexcept { return Carrier::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_Table.DBWrite(cls_WriteVisitor(visitor, ArrayField(3), nullptr, &m_Table));
    }
    cls_2dArrayPrim<double> const& m_Table;
    cls_Uid m_Uid;
  };
  store.Save("past", Owner{*m_Past, {}});
}

FaultsPicture::FaultsPicture(cls_ReadVisitor const& visitor)
    : m_Uid(visitor.GetUid()),
      m_Reader(std::make_unique<cls_BlobReader>(visitor, cls_FieldHandle(0, "m_Blob"_cow), m_BlobUid)) {}

void FaultsPicture::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  bool const isFirst = !HasBlob();
  std::string const bytes = isFirst ? m_First : Bytes(); // a writer starts with an empty blob
  FaultsFailure::Pass(visitor);
  auto writer = std::make_unique<cls_BlobWriter>(visitor, cls_FieldHandle(0, "m_Blob"_cow), m_BlobUid);
  cls_AgentBlob& agent = writer->Agent();
  if (isFirst) m_Writer = std::move(writer);
  agent.Write(0, static_cast<long long>(bytes.size()), bytes.data());
  FaultsFailure::Pass(visitor);
}

cls_AgentBlob& FaultsPicture::Blob() const {
  return m_Reader != nullptr ? m_Reader->Agent() : m_Writer->Agent();
}

std::string FaultsPicture::Bytes() const {
  std::string bytes(static_cast<std::size_t>(Blob().Size()) + 3, '?');
  long long const got = Blob().Read(0, static_cast<long long>(bytes.size()), bytes.data());
  bytes.resize(static_cast<std::size_t>(got));
  return bytes;
}

template <class Agent> void AgentHolder<Agent>::Take(Agent* agent) {
  m_Agent = agent;
  m_Agent->AddReference();
  m_Agent->RegisterHolder(this);
  m_WasTaken = true;
}

template <class Agent> Agent& AgentHolder<Agent>::Use() const {
  if (m_Agent == nullptr) sto_Raise(sto_ErrorKind::Unavailable, "The store has taken the agent away.");
  return *m_Agent;
}

template <class Agent> void AgentHolder<Agent>::LetGo() {
  if (m_Agent == nullptr) return;
  Agent* const agent = std::exchange(m_Agent, nullptr);
  agent->DropReference();
  if (agent->StillReferenced()) return;
  try {
    agent->EndFlush();
  } catch (...) { // the agent's work was undone
  }
  delete agent;
}

template class AgentHolder<cls_AgentListObj>;
template class AgentHolder<cls_AgentMapKey2Obj<int>>;

Folder::Folder(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  auto const open = [&](char const* field) {
    return std::unique_ptr<cls_MementoRead>(
        visitor.Memento()->MakeFieldReadObj(cls_FieldHandle(cow_String(field))));
  };
  auto const items = open("m_Items");
  m_ItemsUid = items->GetUid();
  m_Items.Take(items->MakeAgentListObj());
  auto const keyed = open("m_Keyed");
  m_KeyedUid = keyed->GetUid();
  m_Keyed.Take(keyed->MakeAgentMapKey2Obj(static_cast<int*>(nullptr)));
}

void Folder::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  auto const make = [&](char const* field, unsigned int classId, cls_Uid const& uid) {
    return std::unique_ptr<cls_MementoWrite>(
        visitor.Memento()->MakeFieldWriteObj(cls_FieldHandle(cow_String(field)), classId, uid, nullptr));
  };
  FaultsFailure::Pass(visitor);
  auto const items = make("m_Items", ListClass, m_ItemsUid);
  if (m_Items.WasTaken())
    static_cast<void>(m_Items.Use().Count());
  else
    m_Items.Take(items->MakeAgentListObj(4));
  FaultsFailure::Pass(visitor);
  auto const keyed = make("m_Keyed", MapClass, m_KeyedUid);
  if (m_Keyed.WasTaken())
    static_cast<void>(m_Keyed.Use().Count());
  else
    m_Keyed.Take(keyed->MakeAgentMapKey2Obj(static_cast<int const*>(nullptr), 4));
  FaultsFailure::Pass(visitor);
}

void Folder::Put(int index, Leaf const& leaf) const {
  cls_AgentRequestListObj const request(&Items(), index);
  leaf.DBWrite(cls_WriteVisitor(request, &leaf));
  static_cast<void>(Items().Count()); // raises a failure kept from the end of the element
}

void Folder::PutKey(int key, Leaf const& leaf) const {
  cls_AgentRequestMapKey2Obj<int> const request(&Keyed(), key);
  leaf.DBWrite(cls_WriteVisitor(request, &leaf));
  static_cast<void>(Keyed().Count());
}

std::vector<int> Folder::AllItems() const {
  std::vector<int> values;
  for (int i = 0, count = Items().Count(); i < count; ++i)
    values.push_back(std::unique_ptr<cls_MementoRead>(Items().MakeReadObj(i))
                         ->Read(cls_FieldHandle(0, "m_Value"_cow), -1));
  return values;
}

std::vector<std::pair<int, int>> Folder::AllKeyed() const {
  std::vector<std::pair<int, int>> values;
  int key = 0;
  for (bool isThere = Keyed().FirstKey(key); isThere; isThere = Keyed().NextKey(key))
    values.emplace_back(key, std::unique_ptr<cls_MementoRead>(Keyed().MakeReadObj(key))
                                 ->Read(cls_FieldHandle(0, "m_Value"_cow), -1));
  return values;
}

Stream::Stream(cls_ReadVisitor const& visitor)
    : m_List(cls_ReadVisitor(visitor, cls_FieldHandle(0, "m_Run"_cow)), nullptr), m_Uid(visitor.GetUid()) {}

void Stream::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  FaultsFailure::Pass(visitor);
  m_List.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(0, "m_Run"_cow), nullptr, &m_List));
  FaultsFailure::Pass(visitor);
}

void Stream::Write(int first, std::vector<int> const& run) {
  m_List.Seek(first);
  m_List.Write(run.data(), static_cast<int>(run.size()));
}

std::vector<int> Stream::All() {
  std::vector<int> values(static_cast<std::size_t>(m_List.Size()) + 2);
  m_List.Seek(0);
  values.resize(static_cast<std::size_t>(m_List.Read(values.data(), static_cast<int>(values.size()))));
  return values;
}

cls_ClassRegistrar const& FaultsRegistrar() {
  static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    auto const field = [](char const* name) { return cls_FieldHandle(cow_String(name)); };
    classes.CreateClassMD("Leaf"_cow, Leaf::TypeId(), 1, nullptr, 1)
        .AddAttribute(field("m_Value"), ATTR_INT, 1, COLLECTION_NONE);
    classes.CreateClassMD("CarrierBase"_cow, CarrierBase::TypeId(), 1, nullptr, 1)
        .AddAttribute(field("m_Number"), ATTR_INT, 1, COLLECTION_NONE);
    classes.CreateClassMD("Carrier"_cow, Carrier::TypeId(), 1, nullptr, CarrierBase::TypeId())
        .AddAttribute(field("m_Number"), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(field("m_Text"), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(field("m_List"), ATTR_INT, 1, COLLECTION_LIST_INT)
        .AddAttribute(field("m_Leaf"), ATTR_OBJECT, 1, COLLECTION_NONE)
        .AddAttribute(field("m_Again"), ATTR_OBJECT, 1, COLLECTION_NONE)
        .AddAttribute(ArrayField(0), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(ArrayField(1), ATTR_INT, 1, COLLECTION_LIST_INT)
        .AddAttribute(ArrayField(2), ATTR_STRING, 1, COLLECTION_LIST_STRING)
        .AddAttribute(ArrayField(3), ATTR_DOUBLE, 1, COLLECTION_TABLE_DOUBLE);
    classes.CreateClassMD("Picture"_cow, FaultsPicture::TypeId(), 1, nullptr, 1)
        .AddAttribute(field("m_Blob"), ATTR_OBJECT, 1, COLLECTION_NONE);
    classes.CreateClassMD("Folder"_cow, Folder::TypeId(), 1, nullptr, 1)
        .AddAttribute(field("m_Items"), ATTR_OBJECT, 1, COLLECTION_OBJ)
        .AddAttribute(field("m_Keyed"), ATTR_OBJECT, 1, COLLECTION_MAP_INT_OBJ);
    classes.CreateClassMD("Stream"_cow, Stream::TypeId(), 1, nullptr, 1)
        .AddAttribute(field("m_Run"), ATTR_INT, 1, COLLECTION_LIST_INT);
    return classes;
  }();
  return registrar;
}
