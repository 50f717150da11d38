#include "store/copy/sto_CopyStore.h"

#include "store/base/sto_Exception.h"
#include "store/copy/sto_ContentCopy.h"
#include "store/copy/sto_CopyTarget.h"

void sto_CopyStore(sto_Driver& source, std::string const& shown, std::string const& location,
                   sto_Meter* meter) {
  sto_CopyTarget target(location);
  if (!sto_ContentCopy(source, shown, target.Driver(), meter).CanContinue()) target.StartAgain();
  try {
    sto_ContentCopy(source, shown, target.Driver(), meter).Run();
  } catch (sto_Exception const& failure) {
    if (failure.Kind() == sto_ErrorKind::Damaged) target.StartAgain(); // there is nothing to go on with
    throw;
  }
  if (meter != nullptr) meter->End();
  target.Publish();
}
