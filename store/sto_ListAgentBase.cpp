#include "store/sto_ListAgentBase.h"

#include "metadata/cls_CollectionType.h"
#include "store/sto_Exception.h"
#include "store/sto_ListCodec.h"
#include "store/sto_OwnTransaction.h"

namespace {

// Fields of a list's object, by number.
constexpr sto_FieldKey SizeHintKey{0, 0};
constexpr sto_FieldKey ChangeKey{0, 1};

sto_Field const* FindField(sto_Part const& part, sto_FieldKey const& key, std::uint8_t tag) {
  for (sto_Field const& field : part.m_Fields)
    if (field.m_Key == key && field.m_Tag == tag) return &field;
  return nullptr;
}

} // namespace

sto_ListAgentBase::sto_ListAgentBase(sto_Session& session, std::int64_t id, std::uint8_t elementType)
    : m_Session(&session), m_Location(session.Location()), m_Id(id), m_ElementType(elementType),
      m_Blocks(session, id) {}

sto_ListAgentBase::~sto_ListAgentBase() {
  if (m_IsRegistered && m_Session != nullptr) m_Session->RemoveAgent(*this);
}

void sto_ListAgentBase::Register() {
  m_Session->AddAgent(*this);
  m_IsRegistered = true;
}

sto_Session& sto_ListAgentBase::Session() const {
  if (m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Location + ": " + Describe() + " cannot be reached any more: its store was closed.");
  return *m_Session;
}

void sto_ListAgentBase::StartNew(int sizeHint) {
  m_SizeHint = sizeHint;
  m_State = m_Session->ChangeCounter();
  NoteWritten(0);
}

void sto_ListAgentBase::Open(std::shared_ptr<sto_Record const> const& record) {
  TakeHeader(*record);
  m_InlineRecord = m_Inline.empty() ? nullptr : record;
  m_SeenChange = m_Change;
  m_State = m_Session->ChangeCounter();
}

void sto_ListAgentBase::TakeHeader(sto_Record const& record) {
  if (!record.List())
    m_Session->Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no list.");
  sto_ListHeader const& list = *record.List();
  if (list.m_ElementType != m_ElementType)
    m_Session->Raise(sto_ErrorKind::WrongClass,
                     Describe() + " is stored as a list of " + sto_ElementTypeName(list.m_ElementType) +
                         " and cannot be opened as one of " + sto_ElementTypeName(m_ElementType) + ".");
  m_Count = list.m_Count;
  m_Width = list.m_Width;
  m_Inline = list.m_InBlocks ? sto_ByteView() : list.m_Inline;
  sto_Part const& part = record.Parts().front();
  sto_Field const* const hint = FindField(part, SizeHintKey, sto_Format::Int32);
  m_SizeHint = hint == nullptr ? m_Count : sto_ByteReader(hint->m_Payload).Number<std::int32_t>();
  sto_Field const* const change = FindField(part, ChangeKey, sto_Format::Int64);
  m_Change = change == nullptr ? 0 : sto_ByteReader(change->m_Payload).Number<std::int64_t>();
}

void sto_ListAgentBase::Synchronise() {
  sto_Session& session = Session();
  if (m_State == session.ChangeCounter() || m_Id == 0) return;
  std::shared_ptr<sto_Record const> const record = session.ReadRecord(m_Id);
  if (record == nullptr)
    session.Raise(sto_ErrorKind::NotFound, Describe() + " is not in the store any more.");
  TakeHeader(*record);
  m_InlineRecord = m_Inline.empty() ? nullptr : record;
  m_State = session.ChangeCounter();
}

void sto_ListAgentBase::NoteWritten(int count) {
  if (!m_IsPending) {
    m_IsPending = true;
    m_SeenChange = ++m_Change;
  }
  m_Count = count;
  m_WrittenInSave = m_Session->SaveNumber();
}

void sto_ListAgentBase::MoveOutOfRecord() {
  if (m_InlineRecord == nullptr) return;
  sto_Bytes content(m_Inline.begin(), m_Inline.end());
  m_Blocks.Write(0, content, false);
  m_Inline = {};
  m_InlineRecord = nullptr;
}

void sto_ListAgentBase::WriteRecord() {
  if (!m_IsPending) return;
  cls_ClassMetadata const& metadata = m_Session->ClassToWrite(cls_InternalListTypeId).Metadata();
  sto_RecordBuilder builder;
  std::size_t const part = builder.AddPart(metadata.ClassId(), metadata.Version(), m_Id);
  sto_ByteWriter hint(builder.StartField(part, SizeHintKey));
  hint.U8(sto_Format::Int32);
  hint.Number(m_SizeHint);
  sto_ByteWriter change(builder.StartField(part, ChangeKey));
  change.U8(sto_Format::Int64);
  change.Number(m_Change);
  sto_ListHeader header;
  header.m_ElementType = m_ElementType;
  header.m_Width = m_Width;
  header.m_Count = m_Count;
  header.m_InBlocks = true;
  builder.SetList(header, {});
  m_Session->Driver().WriteObject(m_Id, metadata.ClassId(), builder.Finish(m_Id));
  m_IsPending = false;
}

void sto_ListAgentBase::Hold(cls_PC* holder) {
  for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots)
    if (slot->IsFree()) return slot->Link(holder);
  m_Slots.push_back(std::make_unique<sto_HolderSlot>());
  m_Slots.back()->Link(holder);
}

void sto_ListAgentBase::Release() noexcept {
  --m_References;
  // A container that is assigned to has just forgotten its ring, and lives now but maybe not later.
  for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots) slot->Prune();
}

std::vector<cls_PC*> sto_ListAgentBase::Holders() const {
  std::vector<cls_PC*> holders;
  for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots)
    if (cls_PC* const holder = slot->Holder()) holders.push_back(holder);
  return holders;
}

void sto_ListAgentBase::FlushHolders() {
  for (cls_PC* const holder : Holders()) holder->Flush();
}

void sto_ListAgentBase::DropUncommitted(std::int64_t firstNewId) noexcept {
  bool const isGone = m_Id >= firstNewId;
  m_IsDropping = true;
  m_IsPending = false;
  m_State = -1;
  m_Blocks.Forget();
  ++m_References; // so that nobody deletes the agent meanwhile
  try {
    if (isGone) {
      m_Count = 0;
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
  if (--m_References == 0) delete this;
}

void sto_ListAgentBase::CloseSession() noexcept {
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
