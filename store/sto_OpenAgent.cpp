#include "store/sto_OpenAgent.h"

#include <utility>

#include "store/sto_Exception.h"
#include "store/sto_OwnTransaction.h"

namespace {

// Fields of a collection's object, by number.
constexpr sto_FieldKey SizeHintKey{0, 0};
constexpr sto_FieldKey ChangeKey{0, 1};

sto_Field const* FindField(sto_Part const& part, sto_FieldKey const& key, std::uint8_t tag) {
  for (sto_Field const& field : part.m_Fields)
    if (field.m_Key == key && field.m_Tag == tag) return &field;
  return nullptr;
}

} // namespace

sto_OpenAgent::sto_OpenAgent(sto_Session& session, std::int64_t id)
    : m_Session(&session), m_Location(session.Location()), m_Id(id) {}

sto_OpenAgent::~sto_OpenAgent() {
  if (m_IsRegistered && m_Session != nullptr) m_Session->RemoveAgent(*this);
}

void sto_OpenAgent::Register() {
  m_Session->AddAgent(*this);
  m_IsRegistered = true;
}

sto_Session& sto_OpenAgent::Session() const {
  if (m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Location + ": " + Describe() + " cannot be reached any more: its store was closed.");
  return *m_Session;
}

void sto_OpenAgent::StartNew(int sizeHint) {
  m_SizeHint = sizeHint;
  m_State = m_Session->ChangeCounter();
  NoteChanged();
}

void sto_OpenAgent::Open(sto_RecordRef const& record) {
  TakeRecord(record);
  m_SeenChange = m_Change;
}

void sto_OpenAgent::TakeRecord(sto_RecordRef const& record) {
  int const count = TakeContent(record);
  sto_Part const& part = record->Parts().front();
  sto_Field const* const hint = FindField(part, SizeHintKey, sto_Format::Int32);
  m_SizeHint = hint == nullptr ? count : sto_ByteReader(hint->m_Payload).Number<std::int32_t>();
  sto_Field const* const change = FindField(part, ChangeKey, sto_Format::Int64);
  m_Change = change == nullptr ? 0 : sto_ByteReader(change->m_Payload).Number<std::int64_t>();
  m_State = m_Session->ChangeCounter();
}

void sto_OpenAgent::Synchronise() {
  sto_Session& session = Session();
  if (m_State == session.ChangeCounter() || m_Id == 0) return;
  sto_RecordRef const record = session.ReadRecord(m_Id);
  if (record == nullptr)
    session.Raise(sto_ErrorKind::NotFound, Describe() + " is not in the store any more.");
  TakeRecord(record);
}

void sto_OpenAgent::NoteChanged() {
  if (!m_IsPending) {
    m_IsPending = true;
    m_SeenChange = ++m_Change;
  }
  m_WrittenInSave = m_Session->SaveNumber();
}

void sto_OpenAgent::CheckWriting() const {
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    Describe() +
                        " is written in a transaction that only reads, or while an object is being loaded.");
}

void sto_OpenAgent::WriteRecord() {
  if (!m_IsPending) return;
  cls_ClassMetadata const& metadata = m_Session->ClassToWrite(StoredClassId()).Metadata();
  sto_RecordBuilder builder;
  std::size_t const part = builder.AddPart(metadata.ClassId(), metadata.Version(), m_Id);
  sto_ByteWriter hint(builder.StartField(part, SizeHintKey));
  hint.U8(sto_Format::Int32);
  hint.Number(m_SizeHint);
  sto_ByteWriter change(builder.StartField(part, ChangeKey));
  change.U8(sto_Format::Int64);
  change.Number(m_Change);
  PutContent(builder);
  sto_Bytes const record = builder.Finish(m_Id);
  if (record.size() > sto_Format::MaxValueBytes)
    m_Session->Raise(sto_ErrorKind::Full, Describe() + " takes " + std::to_string(record.size()) +
                                              " bytes; at most " + std::to_string(sto_Format::MaxValueBytes) +
                                              " can be stored.");
  m_Session->Driver().WriteObject(m_Id, metadata.ClassId(), record);
  m_IsPending = false;
}

bool sto_OpenAgent::AskChanged() {
  if (m_IsDropping) return true;
  sto_OwnTransaction const transaction(Session(), false);
  Synchronise();
  return std::exchange(m_SeenChange, m_Change) != m_Change;
}

bool sto_OpenAgent::IsReadOnly() const {
  return IsClosed() || m_Id == 0 || m_Session->Driver().IsReadOnly();
}

void sto_OpenAgent::EndOfFlush() {
  if (m_IsDropping || IsClosed() || !IsLettingGo() || !m_Session->IsWriting()) return;
  try {
    WriteRecord();
  } catch (...) {
    m_Session->Keep(std::current_exception());
  }
}

void sto_OpenAgent::Hold(cls_PC* holder) {
  for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots)
    if (slot->IsFree()) return slot->Link(holder);
  m_Slots.push_back(std::make_unique<sto_HolderSlot>());
  m_Slots.back()->Link(holder);
}

void sto_OpenAgent::Release() noexcept {
  --m_References;
  // A container that is assigned to has just forgotten its ring, and lives now but maybe not later.
  for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots) slot->Prune();
}

std::vector<cls_PC*> sto_OpenAgent::Holders() const {
  std::vector<cls_PC*> holders;
  for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots)
    if (cls_PC* const holder = slot->Holder()) holders.push_back(holder);
  return holders;
}

void sto_OpenAgent::FlushHolders() {
  for (cls_PC* const holder : Holders()) holder->Flush();
}

void sto_OpenAgent::DropUncommitted(std::int64_t firstNewId) noexcept {
  bool const isGone = m_Id >= firstNewId;
  m_IsDropping = true;
  m_IsPending = false;
  m_State = -1;
  ForgetBlocks();
  ++m_References; // so that nobody deletes the agent meanwhile
  try {
    if (isGone) {
      Empty();
    } else {
      sto_OwnTransaction const transaction(*m_Session, false);
      Synchronise();
    }
    for (cls_PC* const holder : Holders()) RefreshHolder(holder);
    if (isGone)
      for (cls_PC* const holder : Holders()) holder->Detach();
  } catch (...) {
    m_Session->Keep(std::current_exception());
  }
  m_IsDropping = false;
  if (isGone && m_IsRegistered) { // who holds it without a container must not meet the id's next object
    m_Session->RemoveAgent(*this);
    m_IsRegistered = false;
    m_Id = 0;
  }
  if (--m_References == 0) delete this;
}

void sto_OpenAgent::CloseSession() noexcept {
  ++m_References;
  try {
    FlushHolders();
  } catch (...) { // nobody is left to hear of it
  }
  m_IsDropping = true;
  try {
    for (cls_PC* const holder : Holders()) holder->Detach();
  } catch (...) {
  }
  m_IsDropping = false;
  m_Session = nullptr;
  if (--m_References == 0) delete this;
}
