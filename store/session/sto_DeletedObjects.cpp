#include "store/session/sto_DeletedObjects.h"

#include "store/session/sto_Session.h"

void sto_DeleteObject(sto_Session& session, std::int64_t id) {
  sto_ClassInUse& inUse = session.ClassToWrite(sto_DeletedClassId);
  sto_RecordBuilder record;
  record.Expect(inUse.LatestShape());
  record.AddPart(sto_DeletedClassId, inUse.Metadata().Version(), id);
  session.WriteObject(id, session.ToWrite(record, &inUse));
}
