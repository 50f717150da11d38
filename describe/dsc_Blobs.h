#pragma once

#include <vector>

#include "describe/dsc_Columns.h"
#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_BlobWriter.h"

// Members that are bytes: std::vector of unsigned char or std::byte. They are a blob, so that a byte takes one byte in
// a store; it is written and read as a whole. Several in a list are one blob, and a list of their lengths.

/// Writes all bytes of a blob at once.
inline void dsc_WriteBlob(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, cls_Uid const& uid,
                          void const* bytes, std::size_t size) {
  cls_BlobWriter const writer(visitor, field, uid);
  if (size != 0) writer.Agent().Write(0, static_cast<long long>(size), bytes);
}

/// Reads all bytes of a blob into a vector of them. Raises nex_TextException if the field holds something else.
template <class Bytes> void dsc_ReadBlob(cls_MementoRead& memento, Bytes& bytes, dsc_Where const& where) {
  if (memento.ClassId() != cls_BlobTypeId)
    dsc_Raise(where.m_Class, where.m_Field, "what is stored is an object, and no blob.");
  cls_Received<cls_AgentBlob> const blob(memento.MakeAgentBlob());
  long long const size = blob->Size();
  bytes.resize(static_cast<std::size_t>(size));
  if (size != 0 && blob->Read(0, size, bytes.data()) != size)
    dsc_Raise(where.m_Class, where.m_Field, "the stored blob has fewer bytes than it says.");
}

template <class T>
requires dsc_IsBytes<T>
struct dsc_Stored<T> {
  static constexpr int Fields = 1;
  static constexpr int Collections = 1;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    to.Add<Name>(at, ATTR_OBJECT, COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& bytes) {
    dsc_WriteBlob(out.m_Visitor, Name::Handle(at.m_Number),
                  out.m_Identity.OfCollection(at.m_Collection, out.m_Collections), bytes.data(),
                  bytes.size());
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return in.m_Visitor.DataIsPresent(Name::Handle(at.m_Number)) != 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& bytes) {
    if (!IsPresent<Name>(in, at)) return;
    dsc_StoredCollection const stored(in, at, Name::Handle(at.m_Number));
    dsc_ReadBlob(*stored.Memento(), bytes, in.Where<Name>());
  }
};

/// `.lengths`, and `.values`: the bytes of all.
template <class T>
requires dsc_IsBytes<T>
struct dsc_Column<T> {
  using Blob = dsc_Stored<T>;
  static constexpr int Fields = 2;
  static constexpr int Collections = 2;
  template <class Name> using Lengths = dsc_LeadColumn<Name, ".lengths", int>;
  template <class Name> using Values = dsc_WithSuffix<Name, ".values">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Lengths<Name>::Declare(to, at);
    Blob::template Declare<Values<Name>>(to, at.Plus(1, 1));
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    T all;
    forEach([&](T const& bytes) {
      dsc_CheckListSize<Name>(out, bytes.size());
      all.insert(all.end(), bytes.begin(), bytes.end());
    });
    Lengths<Name>::template Write<T>(out, at, forEach, [](T const& bytes) { return bytes.size(); });
    Blob::template Write<Values<Name>>(out, at.Plus(1, 1), all);
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    T all;
    Blob::template Read<Values<Name>>(in, at.Plus(1, 1), all);
    auto next = all.begin();
    Lengths<Name>::template Read<T>(in, at, forEach, [&](T& bytes, int length) {
      if (length < 0 || length > all.end() - next) dsc_RaiseValue(in.m_Class, Name::View(), length);
      bytes.assign(next, next + length);
      next += length;
    });
    if (next != all.end())
      dsc_Raise(in.m_Class, Values<Name>::View(), "the stored blob has more bytes than the lengths say.");
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    return Lengths<Name>::Count(in, at);
  }
};
