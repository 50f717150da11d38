#include "persist/identity/cls_HistoryEntry.h"

cls_HistoryEntry::~cls_HistoryEntry() = default;
