#pragma once

#include <concepts>

#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_Complex.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "platform/kvl_Export.h"

// Lists of elements that cls_MementoWrite has no operation for: bytes, and integers of 16 and 64 bits, each as it is, and
// complex numbers. A back end may offer them; its mementos derive from the classes below, too. The attribute of such a
// list is declared with the type of its elements and COLLECTION_LIST. Ownership, thread rule and errors are those of
// cls_MementoWrite::MakeWriteListPrim and cls_MementoRead::MakeReadListPrim. Agents of lists of 64-bit integers and of
// complex numbers are a further offer, which a back end may leave out: null then. Their rules are those of
// MakeAgentListPrim.

/// Elements of lists that every back end has.
template <class T>
concept cls_IsListElement = std::same_as<T, bool> || std::same_as<T, cow_String> || std::same_as<T, float> ||
    std::same_as<T, double> || std::same_as<T, unsigned int> || std::same_as<T, int>;

/// A writing memento.
class KVL_EXPORT cls_WritesMoreLists {
 public:
  using Byte = unsigned char;
  virtual cls_WriteListPrim<signed char>* MakeMoreWriteList(signed char const* tag, int width) = 0;
  virtual cls_WriteListPrim<Byte>* MakeMoreWriteList(Byte const* tag, int width) = 0;
  virtual cls_WriteListPrim<short>* MakeMoreWriteList(short const* tag, int width) = 0;
  virtual cls_WriteListPrim<unsigned short>* MakeMoreWriteList(unsigned short const* tag, int width) = 0;
  virtual cls_WriteListPrim<long long>* MakeMoreWriteList(long long const* tag, int width) = 0;
  virtual cls_WriteListPrim<unsigned long long>* MakeMoreWriteList(unsigned long long const* tag,
                                                                   int width) = 0;
  virtual cls_WriteListPrim<cls_Complex<float>>* MakeMoreWriteList(cls_Complex<float> const* tag,
                                                                   int width) = 0;
  virtual cls_WriteListPrim<cls_Complex<double>>* MakeMoreWriteList(cls_Complex<double> const* tag,
                                                                    int width) = 0;

  virtual cls_AgentListPrim<long long>* MakeMoreListAgent(long long const* tag, int sizeHint);
  virtual cls_AgentListPrim<unsigned long long>* MakeMoreListAgent(unsigned long long const* tag,
                                                                   int sizeHint);
  virtual cls_AgentListPrim<cls_Complex<float>>* MakeMoreListAgent(cls_Complex<float> const* tag,
                                                                   int sizeHint);
  virtual cls_AgentListPrim<cls_Complex<double>>* MakeMoreListAgent(cls_Complex<double> const* tag,
                                                                    int sizeHint);

  /// What a memento offers; null if `memento` is null or does not derive from this class.
  [[nodiscard]] static cls_WritesMoreLists* Of(cls_MementoWrite* memento) noexcept;

 protected:
  cls_WritesMoreLists() = default;
  cls_WritesMoreLists(cls_WritesMoreLists const&) = default;
  cls_WritesMoreLists& operator=(cls_WritesMoreLists const&) = default;
  ~cls_WritesMoreLists() = default;
};

/// A reading memento, also that of an absent object.
class KVL_EXPORT cls_ReadsMoreLists {
 public:
  using Byte = unsigned char;
  virtual cls_ReadListPrim<signed char>* MakeMoreReadList(signed char* tag) = 0;
  virtual cls_ReadListPrim<Byte>* MakeMoreReadList(Byte* tag) = 0;
  virtual cls_ReadListPrim<short>* MakeMoreReadList(short* tag) = 0;
  virtual cls_ReadListPrim<unsigned short>* MakeMoreReadList(unsigned short* tag) = 0;
  virtual cls_ReadListPrim<long long>* MakeMoreReadList(long long* tag) = 0;
  virtual cls_ReadListPrim<unsigned long long>* MakeMoreReadList(unsigned long long* tag) = 0;
  virtual cls_ReadListPrim<cls_Complex<float>>* MakeMoreReadList(cls_Complex<float>* tag) = 0;
  virtual cls_ReadListPrim<cls_Complex<double>>* MakeMoreReadList(cls_Complex<double>* tag) = 0;

  virtual cls_AgentListPrim<long long>* MakeMoreListAgent(long long* tag);
  virtual cls_AgentListPrim<unsigned long long>* MakeMoreListAgent(unsigned long long* tag);
  virtual cls_AgentListPrim<cls_Complex<float>>* MakeMoreListAgent(cls_Complex<float>* tag);
  virtual cls_AgentListPrim<cls_Complex<double>>* MakeMoreListAgent(cls_Complex<double>* tag);

  /// What a memento offers; null if `memento` is null or does not derive from this class.
  [[nodiscard]] static cls_ReadsMoreLists* Of(cls_MementoRead* memento) noexcept;

 protected:
  cls_ReadsMoreLists() = default;
  cls_ReadsMoreLists(cls_ReadsMoreLists const&) = default;
  cls_ReadsMoreLists& operator=(cls_ReadsMoreLists const&) = default;
  ~cls_ReadsMoreLists() = default;
};

/// The builder of a list of any of these elements; null if the back end has no such lists.
template <class T>
[[nodiscard]] cls_WriteListPrim<T>* cls_MakeWriteList(cls_MementoWrite& memento, int width) {
  T const tag{};
  if constexpr (cls_IsListElement<T>) {
    return memento.MakeWriteListPrim(&tag, width);
  } else {
    cls_WritesMoreLists* const more = cls_WritesMoreLists::Of(&memento);
    return more == nullptr ? nullptr : more->MakeMoreWriteList(&tag, width);
  }
}

/// The cursor over such a list; null if the back end has no such lists.
template <class T> [[nodiscard]] cls_ReadListPrim<T>* cls_MakeReadList(cls_MementoRead& memento) {
  T tag{};
  if constexpr (cls_IsListElement<T>) {
    return memento.MakeReadListPrim(&tag);
  } else {
    cls_ReadsMoreLists* const more = cls_ReadsMoreLists::Of(&memento);
    return more == nullptr ? nullptr : more->MakeMoreReadList(&tag);
  }
}

/// The agent of a list of any element that agents have; null if the back end has none.
template <class T>
[[nodiscard]] cls_AgentListPrim<T>* cls_MakeListAgent(cls_MementoWrite& memento, int sizeHint) {
  T const* const tag = nullptr;
  if constexpr (cls_IsListElement<T>) {
    return memento.MakeAgentListPrim(tag, sizeHint);
  } else {
    cls_WritesMoreLists* const more = cls_WritesMoreLists::Of(&memento);
    return more == nullptr ? nullptr : more->MakeMoreListAgent(tag, sizeHint);
  }
}
template <class T> [[nodiscard]] cls_AgentListPrim<T>* cls_MakeListAgent(cls_MementoRead& memento) {
  T* const tag = nullptr;
  if constexpr (cls_IsListElement<T>) {
    return memento.MakeAgentListPrim(tag);
  } else {
    cls_ReadsMoreLists* const more = cls_ReadsMoreLists::Of(&memento);
    return more == nullptr ? nullptr : more->MakeMoreListAgent(tag);
  }
}

/// Base of a memento that offers the lists and has the member template MakeListOf that cls_TypedMementoWrite names,
/// for these elements too.
template <class Self> class cls_TypedWritesMoreLists : public cls_WritesMoreLists {
 public:
  cls_WriteListPrim<signed char>* MakeMoreWriteList(signed char const* tag, int width) override {
    return TypedSelf().template MakeListOf<signed char>(tag, width);
  }
  cls_WriteListPrim<Byte>* MakeMoreWriteList(Byte const* tag, int width) override {
    return TypedSelf().template MakeListOf<Byte>(tag, width);
  }
  cls_WriteListPrim<short>* MakeMoreWriteList(short const* tag, int width) override {
    return TypedSelf().template MakeListOf<short>(tag, width);
  }
  cls_WriteListPrim<unsigned short>* MakeMoreWriteList(unsigned short const* tag, int width) override {
    return TypedSelf().template MakeListOf<unsigned short>(tag, width);
  }
  cls_WriteListPrim<long long>* MakeMoreWriteList(long long const* tag, int width) override {
    return TypedSelf().template MakeListOf<long long>(tag, width);
  }
  cls_WriteListPrim<unsigned long long>* MakeMoreWriteList(unsigned long long const* tag,
                                                           int width) override {
    return TypedSelf().template MakeListOf<unsigned long long>(tag, width);
  }
  cls_WriteListPrim<cls_Complex<float>>* MakeMoreWriteList(cls_Complex<float> const* tag,
                                                           int width) override {
    return TypedSelf().template MakeListOf<cls_Complex<float>>(tag, width);
  }
  cls_WriteListPrim<cls_Complex<double>>* MakeMoreWriteList(cls_Complex<double> const* tag,
                                                            int width) override {
    return TypedSelf().template MakeListOf<cls_Complex<double>>(tag, width);
  }

 protected:
  cls_TypedWritesMoreLists() = default;
  cls_TypedWritesMoreLists(cls_TypedWritesMoreLists const&) = default;
  cls_TypedWritesMoreLists& operator=(cls_TypedWritesMoreLists const&) = default;
  ~cls_TypedWritesMoreLists() = default;

 private:
  [[nodiscard]] Self& TypedSelf() noexcept { return static_cast<Self&>(*this); }
};

/// The same for a reading memento.
template <class Self> class cls_TypedReadsMoreLists : public cls_ReadsMoreLists {
 public:
  cls_ReadListPrim<signed char>* MakeMoreReadList(signed char* tag) override {
    return TypedSelf().template MakeListOf<signed char>(tag);
  }
  cls_ReadListPrim<Byte>* MakeMoreReadList(Byte* tag) override {
    return TypedSelf().template MakeListOf<Byte>(tag);
  }
  cls_ReadListPrim<short>* MakeMoreReadList(short* tag) override {
    return TypedSelf().template MakeListOf<short>(tag);
  }
  cls_ReadListPrim<unsigned short>* MakeMoreReadList(unsigned short* tag) override {
    return TypedSelf().template MakeListOf<unsigned short>(tag);
  }
  cls_ReadListPrim<long long>* MakeMoreReadList(long long* tag) override {
    return TypedSelf().template MakeListOf<long long>(tag);
  }
  cls_ReadListPrim<unsigned long long>* MakeMoreReadList(unsigned long long* tag) override {
    return TypedSelf().template MakeListOf<unsigned long long>(tag);
  }
  cls_ReadListPrim<cls_Complex<float>>* MakeMoreReadList(cls_Complex<float>* tag) override {
    return TypedSelf().template MakeListOf<cls_Complex<float>>(tag);
  }
  cls_ReadListPrim<cls_Complex<double>>* MakeMoreReadList(cls_Complex<double>* tag) override {
    return TypedSelf().template MakeListOf<cls_Complex<double>>(tag);
  }

 protected:
  cls_TypedReadsMoreLists() = default;
  cls_TypedReadsMoreLists(cls_TypedReadsMoreLists const&) = default;
  cls_TypedReadsMoreLists& operator=(cls_TypedReadsMoreLists const&) = default;
  ~cls_TypedReadsMoreLists() = default;

 private:
  [[nodiscard]] Self& TypedSelf() noexcept { return static_cast<Self&>(*this); }
};

extern template class KVL_EXPORT cls_WriteListPrim<signed char>;
extern template class KVL_EXPORT cls_WriteListPrim<unsigned char>;
extern template class KVL_EXPORT cls_WriteListPrim<short>;
extern template class KVL_EXPORT cls_WriteListPrim<unsigned short>;
extern template class KVL_EXPORT cls_WriteListPrim<long long>;
extern template class KVL_EXPORT cls_WriteListPrim<unsigned long long>;
extern template class KVL_EXPORT cls_WriteListPrim<cls_Complex<float>>;
extern template class KVL_EXPORT cls_WriteListPrim<cls_Complex<double>>;
extern template class KVL_EXPORT cls_ReadListPrim<signed char>;
extern template class KVL_EXPORT cls_ReadListPrim<unsigned char>;
extern template class KVL_EXPORT cls_ReadListPrim<short>;
extern template class KVL_EXPORT cls_ReadListPrim<unsigned short>;
extern template class KVL_EXPORT cls_ReadListPrim<long long>;
extern template class KVL_EXPORT cls_ReadListPrim<unsigned long long>;
extern template class KVL_EXPORT cls_ReadListPrim<cls_Complex<float>>;
extern template class KVL_EXPORT cls_ReadListPrim<cls_Complex<double>>;
