#pragma once

#include "examples/evolution/evo_Member.h"

// All that program versions 4 and 5 know of beams of versions 1 to 3, which derive from Part: how they are
// stored, and how one becomes a beam of today.
//
// Each of these versions must be declared, version 1 too: version 4 has another base class, so its metadata
// cannot read what the older ones wrote, and the store refuses to try.
class evo_OldBeams {
 public:
  // All values of an old beam except its name.
  struct Values {
    double m_Length = 0;   // mm
    double m_LineLoad = 0; // N/m
    evo_Member::Material m_Material;
  };

  // Declares versions 1 to 3 of class Beam as they were, each with a constructor function that makes a
  // `Beam`. `Beam` needs a constructor from a visitor and Values, which builds its bases with evo_Member's
  // constructor for records without a Member part.
  template <class Beam> static void Declare(cls_ClassRegistrar& registrar) {
    DeclareVersion1(registrar, &Read<Beam, &ReadVersion1Or2>);
    DeclareVersion2(registrar, &Read<Beam, &ReadVersion1Or2>);
    DeclareVersion3(registrar, &Read<Beam, &ReadVersion3>);
  }

 private:
  // Builds a beam of today. The caller owns it.
  template <class Beam, Values (*ReadValues)(cls_ReadVisitor const&)>
  static void* Read(cls_ReadVisitor& reader) {
    return new Beam(reader, ReadValues(reader));
  }

  static Values ReadVersion1Or2(cls_ReadVisitor const& reader);
  static Values ReadVersion3(cls_ReadVisitor const& reader);

  static void DeclareVersion1(cls_ClassRegistrar& registrar, cls_ClassMetadata::CtorFn read);
  static void DeclareVersion2(cls_ClassRegistrar& registrar, cls_ClassMetadata::CtorFn read);
  static void DeclareVersion3(cls_ClassRegistrar& registrar, cls_ClassMetadata::CtorFn read);
};
