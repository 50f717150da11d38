#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "errors/nex_TextException.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/identity/cls_Uid.h"
#include "platform/cow/cow_String.h"

// The one fault of a hostile back end, which KVL_CONTRACT_FAULT names: "interface.operation:kind".

enum class Fault {
  None,
  Nothing, ///< the operation does nothing, and returns null, zero or false
  Wrong,   ///< it returns something wrong, or does something else
  Raise,   ///< it raises an exception
};

/// The fault of an operation: "cls_MementoWrite", "MakeBaseWriteObj" and so on.
inline Fault FaultOf(std::string_view interface, std::string_view operation) {
  static char const* const variable = std::getenv("KVL_CONTRACT_FAULT"); // NOLINT: one thread
  static std::string const given = variable == nullptr ? "" : variable;
  std::string_view const fault = given;
  std::size_t const dot = fault.find('.');
  std::size_t const colon = fault.find(':');
  if (fault.substr(0, dot) != interface || dot > colon) return Fault::None;
  if (fault.substr(dot + 1, colon - dot - 1) != operation) return Fault::None;
  std::string_view const kind = fault.substr(colon + 1);
  return kind == "nothing" ? Fault::Nothing : kind == "wrong" ? Fault::Wrong : Fault::Raise;
}

template <class T> void MakeWrong(T& value) {
  if constexpr (std::is_same_v<T, bool>)
    value = !value;
  else if constexpr (std::is_arithmetic_v<T>)
    value = static_cast<T>(value + 1);
  else if constexpr (std::is_same_v<T, cow_String>)
    value = "wrong"_cow;
  else
    value = T(); // another identity, or null
}
template <class T> T WrongOf(T value) {
  MakeWrong(value);
  return value;
}

[[noreturn]] inline void RaiseBroken() {
  nex_TextException(atr_String("This back end is broken.")).Throw("hostile", 0);
}

/// Does an operation, with its fault. `wrong` is what it does instead for Fault::Wrong.
template <class Act, class Wrong>
auto Do(std::string_view interface, std::string_view operation, Act act, Wrong wrong) {
  using Result = decltype(act());
  switch (FaultOf(interface, operation)) {
  case Fault::Raise:
    RaiseBroken();
  case Fault::Nothing:
    return Result();
  case Fault::Wrong:
    return static_cast<Result>(wrong());
  default:
    return act();
  }
}
/// The same; for Fault::Wrong it changes the result, or does the work twice if there is none.
template <class Act> auto Do(std::string_view interface, std::string_view operation, Act act) {
  return Do(interface, operation, act, [&] { // NOLINT: the object leaks if null is returned instead
    if constexpr (std::is_void_v<decltype(act())>) {
      act();
      act();
    } else {
      auto result = act();
      MakeWrong(result);
      return result;
    }
  });
}

/// Passes the operations of an interface on to another object of it, each with its fault. Owns that object.
template <class Interface> class Hostile : public Interface {
 public:
  Hostile(char const* name, Interface* target) : m_Name(name), m_Target(target) {}

 protected:
  template <class... Acts> auto Pass(std::string_view operation, Acts... acts) const {
    return Do(m_Name, operation, acts...);
  }
  [[nodiscard]] Interface& Target() const { return *m_Target; }

 private:
  char const* m_Name;
  cls_Received<Interface> m_Target;
};

/// The same for an interface that says whether its objects are deleted.
template <class Interface> class HostileKept : public Hostile<Interface> {
 public:
  using Hostile<Interface>::Hostile;
  bool NeedsDeletion() const override {
    return this->Pass("NeedsDeletion", [&] { return this->Target().NeedsDeletion(); });
  }
};

/// Adds the writing of objects at an index or under a key; when it is wrong, it writes another element. `Key` is
/// the parameter of the operations.
template <class Key, class Base> class HostileElements : public Base {
 public:
  using Base::Base;
  cls_MementoWrite* MakeWriteObj(Key key, unsigned int classId, cls_Uid const& uid) override {
    return this->Pass(
        "MakeWriteObj", [&] { return this->Target().MakeWriteObj(key, classId, uid); },
        [&] { return this->Target().MakeWriteObj(WrongOf(key), classId, uid); });
  }
  cls_MementoWrite* MakeWriteObjWithPtr(Key key, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override {
    return this->Pass(
        "MakeWriteObjWithPtr", [&] { return this->Target().MakeWriteObjWithPtr(key, classId, uid, object); },
        [&] { return this->Target().MakeWriteObjWithPtr(WrongOf(key), classId, uid, object); });
  }
};
