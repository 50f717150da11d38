#include "errors/nex_Cast.h"

#include "errors/nex_BadCastException.h"
#include "platform/atr/atr_translate.h"
#include "platform/typ/typ_ArchCompTable.h"

bool nex_canDynamicCastPtr(unsigned int to, unsigned int from) noexcept {
  return to == from || typ_ArchCompTable::IsParent(from, to);
}

bool nex_canDynamicCastRef(unsigned int to, unsigned int from, char const* file, int line) {
  if (nex_canDynamicCastPtr(to, from)) return true;
  // Intentional: a backquote before the first name, an apostrophe before the second.
  atr_translate message("Bad Cast: From `%s' To '%s'.");
  atr_SubstituteFormat(message, 1, atr_StringBase(typ_ArchCompTable::GetName(from)));
  atr_SubstituteFormat(message, 2, atr_StringBase(typ_ArchCompTable::GetName(to)));
  nex_BadCastException(message.Result()).Throw(file, line);
}
