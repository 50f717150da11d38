#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Record.h"
#include "store/format/sto_Shape.h"

class sto_Session;

/// A walk over all stored objects, in the order of their ids, without their records. It goes on over objects that are
/// written and deleted meanwhile: one that is new may be passed or not. Memory: a few hundred objects; in stores of
/// older formats 24 bytes for each object.
///
/// REQUIRES: the transaction in which it was made is open. Errors: Damaged, naming the pack. Internal to the module.
/// Thread rule: the thread of the session.
class sto_ObjectWalk {
 public:
  explicit sto_ObjectWalk(sto_Session& session) noexcept : m_Session(session) {}

  /// Goes on to the next object; false at the end.
  bool Next() {
    while (m_At + 1 >= m_Objects.size())
      if (!ReadMore()) return false;
    ++m_At;
    return true;
  }
  /// REQUIRES: Next was true.
  [[nodiscard]] sto_ObjectShape const& Object() const noexcept { return m_Objects[m_At]; }

 private:
  [[nodiscard]] bool ReadMore();

  sto_Session& m_Session;
  std::vector<sto_ObjectShape> m_Objects{1}; // the first one has been passed
  std::size_t m_At = 0;
  std::int64_t m_From = 1; // where to go on; 0: at the end
};

/// A walk over the stored objects of a class and of those derived from it, in the order of their ids. Each pack is
/// read once, and the shape of an object says its class, so that records of other classes are passed without being
/// looked at. What an object is derived from, the program says; of a class that it does not know, the stored object.
///
///     sto_ClassScan scan(session, Part::TypeId());
///     while (scan.Next()) Use(session.Records().Read(scan.Id()));
///
/// What the open transaction has saved counts. REQUIRES, errors, thread rule: as sto_ObjectWalk. Damaged also for an
/// object whose class cannot be read.
class sto_ClassScan {
 public:
  sto_ClassScan(sto_Session& session, unsigned int classId) noexcept
      : m_Session(session), m_ClassId(classId), m_Objects(session) {}

  /// Goes on to the next object; false at the end.
  bool Next();
  /// REQUIRES: Next was true.
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Objects.Object().m_Id; }

  /// Whether an object with a shape is one of a class. `id`: of the object, whose record is read if it has no numbered
  /// shape. Damaged.
  [[nodiscard]] bool IsOfClass(std::int64_t id, std::int64_t shape);

 private:
  [[nodiscard]] bool Derives(unsigned int own, unsigned int part) const;
  [[nodiscard]] bool IsShapeOfClass(sto_Shape const& shape) const;

  sto_Session& m_Session;
  unsigned int m_ClassId;
  sto_ObjectWalk m_Objects;
  std::vector<signed char> m_Answers; // by the number of the shape: 0 not asked yet, 1 yes, -1 no
  std::int64_t m_AnswersOf = 0;       // the catalogue's generation for which they are
  sto_Record m_Record;                // scratch
};
