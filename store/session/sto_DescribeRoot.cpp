#include "store/session/sto_DescribeRoot.h"

#include <string>

namespace {

[[noreturn]] void RaiseDamaged(sto_Session const& session, std::string_view root, std::int64_t id,
                               std::string const& problem) {
  session.Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + ", which is root " +
                                            std::string(root) + ", " + problem + ".");
}

} // namespace

sto_RootDescription sto_DescribeRoot(sto_Session& session, std::string_view root, std::int64_t id) {
  if (!session.IsGivenOut(id)) RaiseDamaged(session, root, id, "was never in the store");
  if (sto_OpenCollection* const open = session.Collections().Find(id)) open->WriteRecord();
  session.Catalogue().Load(session.Driver());
  sto_Record& record = session.Records().Scratch();
  std::string problem;
  if (!session.Records().Fetch(id, record, problem)) RaiseDamaged(session, root, id, "is missing");
  // Not compared with the program's classes: a root that only a newer program can load has a description too.
  if (!problem.empty()) RaiseDamaged(session, root, id, "is damaged: " + problem);
  sto_RootDescription description;
  description.m_ObjectId = id;
  description.m_ClassId = record.ClassId();
  description.m_ClassName = session.Catalogue().DescribeClass(record.ClassId());
  description.m_Version = record.Parts().front().m_Version;
  description.m_Bytes = static_cast<std::int64_t>(record.Stored().m_Bytes.size());
  if (auto const save = session.Driver().LastChange(root, id)) {
    description.m_Save = save->m_Number;
    description.m_Milliseconds = save->m_Milliseconds;
  }
  return description;
}
