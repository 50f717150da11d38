#include "store/session/sto_KeptBytes.h"

#include "store/session/sto_Session.h"

void sto_KeptBytes::RaiseFull(std::int64_t more, std::string const& what) const {
  m_Session.Raise(
      sto_ErrorKind::Full,
      what + " has " + std::to_string(more) +
          " bytes in memory, which must be kept until the transaction ends; with what is kept already that "
          "is more than the " +
          std::to_string(m_Limit) +
          " that sto_Options::m_MaxKeptBytes allows. Commit earlier, save the array before it is filled, or "
          "raise the limit.");
}
