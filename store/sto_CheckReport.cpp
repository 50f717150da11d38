#include "store/sto_CheckReport.h"

char const* sto_CheckKindName(sto_CheckKind kind) noexcept {
  switch (kind) {
  case sto_CheckKind::Structure:
    return "Structure";
  case sto_CheckKind::Header:
    return "Header";
  case sto_CheckKind::Log:
    return "Log";
  case sto_CheckKind::Catalogue:
    return "Catalogue";
  case sto_CheckKind::DamagedRow:
    return "DamagedRow";
  case sto_CheckKind::DamagedObject:
    return "DamagedObject";
  case sto_CheckKind::MissingObject:
    return "MissingObject";
  case sto_CheckKind::DanglingReference:
    return "DanglingReference";
  case sto_CheckKind::DanglingRoot:
    return "DanglingRoot";
  case sto_CheckKind::WrongClass:
    return "WrongClass";
  case sto_CheckKind::MissingBlock:
    return "MissingBlock";
  case sto_CheckKind::WrongBlock:
    return "WrongBlock";
  case sto_CheckKind::OrphanBlock:
    return "OrphanBlock";
  case sto_CheckKind::OrphanRow:
    return "OrphanRow";
  case sto_CheckKind::Sum:
    return "Sum";
  case sto_CheckKind::Index:
    return "Index";
  }
  return "unknown";
}
