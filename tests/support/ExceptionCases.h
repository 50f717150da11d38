#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_CommandException.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"

/// An application's command exception.
class FailedCommand : public nex_CommandException {
 public:
  FailedCommand(char const* name, char const* message) : m_Name(name), m_Message(message) {}
  explicit FailedCommand(cls_ReadVisitor const& visitor) : nex_CommandException(visitor) {}

  atr_String CommandMessage() override { return m_Message; }
  atr_String CommandName() override { return m_Name; }
  using nex_CommandException::CommandMessage;
  using nex_CommandException::CommandName;
  [[noreturn]] void Propagate() const override { throw FailedCommand(*this); }
  nex_Exception* Copy() const override { return new FailedCommand(*this); }

 private:
  atr_String m_Name;
  atr_String m_Message;
};

/// A class derived from that, with its own type ID.
class FailedMeshCommand : public FailedCommand {
 public:
  using FailedCommand::FailedCommand;
  [[noreturn]] void Propagate() const override { throw FailedMeshCommand(*this); }
  nex_Exception* Copy() const override { return new FailedMeshCommand(*this); }
  unsigned int DynTypeId() const override { return 0x7B0001; }
};

/// The properties of a class needed by tests that run for every class.
template <class Exception> struct ExceptionCase;

template <> struct ExceptionCase<nex_TextException> {
  static constexpr unsigned int TypeId = 0x1F0002;
  static nex_TextException Make() { return nex_TextException(atr_String("the text")); }
  static constexpr char const* Text = "the text";
};
template <> struct ExceptionCase<nex_AssertException> {
  static constexpr unsigned int TypeId = 0x1F0004;
  static nex_AssertException Make() { return nex_AssertException(cow_String("a < b")); }
  static constexpr char const* Text = "a < b";
};
template <> struct ExceptionCase<nex_BadCastException> {
  static constexpr unsigned int TypeId = 0x1F0005;
  static nex_BadCastException Make() { return nex_BadCastException(atr_String("no such cast")); }
  static constexpr char const* Text = "no such cast";
};
template <> struct ExceptionCase<nex_ExitException> {
  static constexpr unsigned int TypeId = 0x1F0006;
  static nex_ExitException Make() { return nex_ExitException(nex_ExitStatus{atr_String(), 3}); }
  static constexpr char const* Text = "Exit code: 3";
};
template <> struct ExceptionCase<nex_InvalidObjException> {
  static constexpr unsigned int TypeId = 0x1F0007;
  static nex_InvalidObjException Make() { return nex_InvalidObjException(atr_String("deleted")); }
  static constexpr char const* Text = "deleted";
};
template <> struct ExceptionCase<nex_SystemErrorException> {
  static constexpr unsigned int TypeId = 0x1F0008;
  static nex_SystemErrorException Make() { return nex_SystemErrorException(cow_SystemErrorCode(2, 13)); }
  static constexpr char const* Text =
      "No such file or directory (system error 2); Permission denied (errno 13)";
};
/// Its text is the process-wide message, which is empty until the module is initialised.
template <> struct ExceptionCase<nex_OutOfMemoryException> {
  static constexpr unsigned int TypeId = 0x1F0009;
  static nex_OutOfMemoryException Make() { return nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT); }
  static constexpr char const* Text = "";
};
template <> struct ExceptionCase<FailedCommand> {
  static constexpr unsigned int TypeId = 0x1F0003;
  static FailedCommand Make() { return FailedCommand("Mesh", "no elements"); }
  static constexpr char const* Text = "Mesh: no elements";
};
template <> struct ExceptionCase<FailedMeshCommand> {
  static constexpr unsigned int TypeId = 0x7B0001;
  static FailedMeshCommand Make() { return FailedMeshCommand("Mesh", "no elements"); }
  static constexpr char const* Text = "Mesh: no elements";
};

/// The seven concrete classes.
using ConcreteExceptions =
    ::testing::Types<nex_TextException, nex_AssertException, nex_BadCastException, nex_ExitException,
                     nex_InvalidObjException, nex_SystemErrorException, nex_OutOfMemoryException>;

/// The concrete classes and those of an application.
using ThrownExceptions =
    ::testing::Types<nex_TextException, nex_AssertException, nex_BadCastException, nex_ExitException,
                     nex_InvalidObjException, nex_SystemErrorException, nex_OutOfMemoryException,
                     FailedCommand, FailedMeshCommand>;
