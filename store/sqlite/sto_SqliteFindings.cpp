#include "store/sqlite/sto_SqliteFindings.h"

#include <utility>

void sto_SqliteFindings::Add(sto_CheckKind kind, char const* table, std::int64_t key, std::string text) {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_Table = table;
  finding.m_Key = key;
  finding.m_Text = std::move(text);
  m_Visitor.Find(std::move(finding));
}

void sto_SqliteFindings::AddObject(sto_CheckKind kind, char const* table, std::int64_t id, std::string text) {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_Table = table;
  finding.m_Key = finding.m_ObjectId = id;
  finding.m_Text = std::move(text);
  m_Visitor.Find(std::move(finding));
}

void sto_SqliteFindings::AddFailure(sto_CheckKind kind, char const* table, sto_Exception const& failure) {
  if (failure.Kind() != sto_ErrorKind::Damaged && failure.Kind() != sto_ErrorKind::NotFound) throw failure;
  std::string text(failure.AsString().View());
  if (std::string const file = m_Connection.Path() + ": "; text.starts_with(file)) text.erase(0, file.size());
  Add(kind, table, 0, std::move(text));
}
