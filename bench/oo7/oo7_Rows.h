#pragma once

#include <vector>

#include "bench/oo7/oo7_Parameters.h"

// The database as plain rows, before a system builds its objects of them. Types are numbers, see oo7_TypeText;
// documents and manuals follow from their ids, see oo7_Texts.h.

struct oo7_ConnectionRow {
  int m_From = 0; // ids of atomic parts
  int m_To = 0;
  int m_Type = 0;
  int m_Length = 0;
};

struct oo7_AtomRow {
  int m_Id = 0;
  int m_Type = 0;
  int m_BuildDate = 0;
  int m_X = 0;
  int m_Y = 0;
  int m_DocId = 0;
};

struct oo7_CompositeRow {
  int m_Id = 0;
  int m_Type = 0;
  int m_BuildDate = 0;
  std::vector<oo7_AtomRow> m_Atoms;
  std::vector<oo7_ConnectionRow> m_Connections; // those out of the first atomic part, of the second ...
};

struct oo7_AssemblyRow {
  int m_Id = 0; // complex and base assemblies are counted apart
  int m_Type = 0;
  int m_BuildDate = 0;
  int m_Super = 0; // the id of its complex assembly; 0 for the root
  bool m_IsBase = false;
  std::vector<int> m_Private; // ids of composite parts, for a base assembly
  std::vector<int> m_Shared;
};

struct oo7_ModuleRow {
  int m_Id = 1;
  int m_Type = 0;
  int m_BuildDate = 0;
  std::vector<oo7_AssemblyRow> m_Assemblies; // depth first, an assembly before its sub-assemblies
};

struct oo7_Rows {
  oo7_Parameters m_Parameters;
  oo7_ModuleRow m_Module;
  std::vector<oo7_CompositeRow> m_Composites; // in the order of their ids
};
