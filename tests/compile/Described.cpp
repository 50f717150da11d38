// Compiles as it is. With SLIP defined it must not, and the compiler prints why.
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"

#if !defined(SLIP)
#define SLIP 0
#endif

namespace {

class Other : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Other, kvl::Polymorphic, 0x700001, "Other", 1)
  static constexpr void Describe(auto&) {}
};

class Alone {
 public:
  KVL_PERSISTED(Alone, 0x700002, "Alone", 1)
  static constexpr void Describe(auto&) {}
};

class Element : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Element, kvl::Polymorphic, 0x700003, "Element", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Name)); }
  std::string m_Name;
};

#if SLIP == 4 // another base class than that of the class
#define BASE Other
#else
#define BASE Element
#endif

class Bar : public Element {
 public:
  KVL_PERSISTED(Bar, BASE, 0x700004, "Bar", 2)
#if SLIP != 5 // no Describe: that of the base class is found
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Area));
    field(KVL_F(m_Load), kvl::Since(2, 1.0));
#if SLIP == 1 // a name that is no member
    field(KVL_F(m_Aera));
#elif SLIP == 2  // a type that cannot be stored
    field(KVL_F(m_Law));
#elif SLIP == 3  // a pasted line
    field(KVL_F(m_Area));
#elif SLIP == 6  // a version that the class does not have
    field(KVL_F(m_Late), kvl::Since(3, 1.0));
#elif SLIP == 7  // a plain pointer
    field(KVL_F(m_Raw));
#elif SLIP == 8  // a member of the base class
    field(KVL_F(m_Name));
#elif SLIP == 9  // a value without the option that says what it is
    field(KVL_F(m_Late), 1.0);
#elif SLIP == 10 // an option twice
    field(KVL_F(m_Late), kvl::Unit("mm"), kvl::Unit("cm"));
#elif SLIP == 11 // an option of a member that is not stored
    field(KVL_F(m_Late), kvl::Transient(), kvl::Unit("cm"));
#elif SLIP == 20 // an array without elements
    field(KVL_F(m_None));
#elif SLIP == 14 // an earlier name that another field has
    field(KVL_F(m_Late), kvl::Was<"m_Area">());
#elif SLIP == 21 // an index of a list
    field(KVL_F(m_Lengths), kvl::Indexed());
#elif SLIP == 12 // a pointer to something that is no persisted class
    field(KVL_F(m_Text));
#endif
  }
#endif

 protected:
  double m_Area = 0;
  double m_Load = 0;
  double m_Late = 0;
  std::function<double(double)> m_Law;
  double* m_Raw = nullptr;
  std::unique_ptr<std::string> m_Text;
  std::array<double, 0> m_None;
  std::vector<double> m_Lengths;

#if SLIP == 15 // hooks that would not be called
  void AfterRead(int) const {}
#elif SLIP == 16
  void AfterRead(int) {}
  void AfterRead(std::string const&) {}
#elif SLIP == 17
  void AfterRead() {}
#elif SLIP == 18
  static void AfterRead(int) {}
#endif
};

#if SLIP == 19 // a virtual base class
class Virtual : public virtual Element {
 public:
  KVL_PERSISTED(Virtual, Element, 0x700006, "Virtual", 1)
  static constexpr void Describe(auto&) {}
};
#endif

#if SLIP == 13 // derives from a class that is not made for it
class Derived : public Alone {
 public:
  KVL_PERSISTED(Derived, Alone, 0x700005, "Derived", 1)
  static constexpr void Describe(auto&) {}
};
#endif

} // namespace

void DescribedSlips(cls_ClassRegistrar& registrar) {
  Other::Declare(registrar);
  Alone::Declare(registrar);
  Bar::Declare(registrar);
#if SLIP == 19
  Virtual::Declare(registrar);
#endif
}
