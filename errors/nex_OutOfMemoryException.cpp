#include "errors/nex_OutOfMemoryException.h"

#include <memory>

#include "errors/nex_OutOfMemoryMessages.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

namespace {

constexpr char DetailedText[] =
    "*** Error: An out of memory error occurred, or the KORVEL/CAE memory limit was reached.\n "
    "\nIf the application ran out of memory, please create backup copies of your KORVEL/CAE "
    "databases and then try to save them.\nDatabase corruption may occur if an out of memory "
    "error occurs during the save operation.\n \nTo change the KORVEL/CAE memory limit now, "
    "issue the following command in the KORVEL/CAE CLI: \n "
    "session.setValues(kernelMemoryLimit=valueInMBytes) \n \nTo change the value for future "
    "KORVEL/CAE sessions, refer to the KORVEL Installation and Licensing Guide for details on "
    "how to modify this value in your korvel_v6.env file.\n \nIt is recommended that you exit "
    "KORVEL/CAE and then restart it.\n \nOn 32-bit versions of Windows, you can use the boot "
    "option /3GB /userva=SizeInMBytes to increase the amount of memory that can be used by "
    "KORVEL/CAE. Please refer to Microsoft's documentation for more detailed "
    "information.\nAlternatively, if you have access to a 64-bit operating system, you can try "
    "running KORVEL/CAE there, where the memory is not limited to 2 or 3GB. \n";
static_assert(sizeof DetailedText - 1 == 1066);

constexpr char GenericText[] =
    "*** Error: An out of memory error occurred. On 32-bit versions of Windows, you can use the "
    "boot option /3GB /userva=SizeInMBytes to increase the amount of memory that can be used by "
    "the application. Please refer to Microsoft's documentation for more detailed information. "
    "Alternatively, if you have access to a 64-bit operating system, you can try running the "
    "application there, where the memory is not limited to 2 or 3GB. \n";
static_assert(sizeof GenericText - 1 == 425);

atr_String* s_Detailed = nullptr;
atr_String* s_Generic = nullptr;

atr_String* Appended(char const* text) {
  auto message = std::make_unique<atr_String>(""_cow);
  message->Append(atr_StringBase(text));
  return message.release();
}

/// The current detailed message; empty while the module is not initialised.
atr_String JournalText(atr_String const* detailed) {
  return detailed == nullptr ? atr_String(""_cow) : *detailed;
}

} // namespace

void nex_OutOfMemoryMessages::Build() {
  s_Detailed = Appended(DetailedText);
  s_Generic = Appended(GenericText);
}

void nex_OutOfMemoryMessages::Destroy() noexcept {
  delete s_Generic;
  s_Generic = nullptr;
  delete s_Detailed;
  s_Detailed = nullptr;
}

nex_OutOfMemoryException::nex_OutOfMemoryException(atr_String const& message, nex_OutOfMemoryErrEnm error)
    : m_Msg(message), m_Err(error) {
  // Intentional: both grow with every such exception, and nothing trims them. The copy is appended, because
  // `message` may be one of the two.
  if (atr_String* const detailed = GetOutOfMemoryMsgDetailed()) detailed->Append(m_Msg);
  if (s_Generic != nullptr) s_Generic->Append(m_Msg);
}

nex_OutOfMemoryException::nex_OutOfMemoryException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Msg(visitor.Read(cls_FieldHandle(0, "m_Msg"_cow), atr_String(""_cow))),
      m_Err(static_cast<nex_OutOfMemoryErrEnm>(visitor.ReadEnum(cls_FieldHandle(1, "m_Err"_cow)))),
      m_Uid(visitor.GetUid()) {
  if (atr_String* const detailed = GetOutOfMemoryMsgDetailed()) *detailed = m_Msg;
}

atr_String nex_OutOfMemoryException::AsString() {
  return JournalMessage();
}

void nex_OutOfMemoryException::Propagate() const {
  throw nex_OutOfMemoryException(*this);
}

nex_Exception* nex_OutOfMemoryException::Copy() const {
  return new nex_OutOfMemoryException(*this);
}

unsigned int nex_OutOfMemoryException::DynTypeId() const {
  return TypeId();
}

void nex_OutOfMemoryException::DBWrite(cls_WriteVisitor const& visitor) const {
  m_Msg = JournalText(GetOutOfMemoryMsgDetailed());
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(cls_FieldHandle(0, "m_Msg"_cow), m_Msg);
  int const error = m_Err;
  visitor.WriteEnum(cls_FieldHandle(1, "m_Err"_cow), error);
}

atr_String nex_OutOfMemoryException::JournalMessage() {
  return JournalText(GetOutOfMemoryMsgDetailed());
}

atr_String nex_OutOfMemoryException::ErrorName() {
  return atr_String("OutOfMemory");
}

atr_String* nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() noexcept {
  return s_Generic;
}
atr_String* nex_OutOfMemoryException::GetOutOfMemoryMsgDetailed() noexcept {
  return s_Detailed;
}
