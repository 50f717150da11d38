# Every source of the project, in one place. The tidy test compares it with the tree.
set(KVL_MEM_SOURCES
  platform/mem/mem_Memory.cpp
  platform/mem/mem_initialize.cpp)

set(KVL_OMNI_SOURCES
  platform/omni/omni_initialize.cpp)

set(KVL_THR_SOURCES
  platform/thr/thr_GlobalLock.cpp
  platform/thr/thr_ThrSingletonRegistry.cpp
  platform/thr/thr_ThreadSlot.cpp
  platform/thr/thr_initialize.cpp)

set(KVL_COW_SOURCES
  platform/cow/cow_Counter.cpp
  platform/cow/cow_String.cpp
  platform/cow/cow_SystemErrorCode.cpp
  platform/cow/cow_initialize.cpp)

set(KVL_TYP_SOURCES
  platform/typ/typ_ArchCompTable.cpp
  platform/typ/typ_initialize.cpp)

set(KVL_ATR_SOURCES
  platform/atr/atr_String.cpp
  platform/atr/atr_initialize.cpp
  platform/atr/atr_translate.cpp)

set(KVL_PERSIST_SOURCES
  errors/nex_AssertException.cpp
  errors/nex_BadCastException.cpp
  errors/nex_Cast.cpp
  errors/nex_CommandException.cpp
  errors/nex_Exception.cpp
  errors/nex_ExitException.cpp
  errors/nex_InvalidObjException.cpp
  errors/nex_OutOfMemoryException.cpp
  errors/nex_SystemErrorException.cpp
  errors/nex_TextException.cpp
  errors/nex_TypeTable.cpp
  metadata/cls_RegistrarHook.cpp
  module/cls_initialize.cpp
  module/nex_initialize.cpp
  persist/cls_Agents.cpp
  persist/cls_AgentRequest.cpp
  persist/cls_HistoryEntry.cpp
  persist/cls_MementoRead.cpp
  persist/cls_MementoWrite.cpp
  persist/cls_ReadCollectionBase.cpp
  persist/cls_ReadVisitor.cpp
  persist/cls_Static.cpp
  persist/cls_UidCatalog.cpp
  persist/cls_WriteCollectionBase.cpp
  persist/cls_WriteVisitor.cpp
  wrappers/cls_xp1DArray.cpp
  wrappers/cls_xp1DArrayList.cpp
  wrappers/cls_xpList.cpp)

set(KVL_STORE_SOURCES
  store/sqlite/sto_SqliteConnection.cpp
  store/sqlite/sto_SqliteDriver.cpp
  store/sto_Catalogue.cpp
  store/sto_Checksum.cpp
  store/sto_Exception.cpp
  store/sto_IdentityMap.cpp
  store/sto_MementoRead.cpp
  store/sto_MementoReadGaps.cpp
  store/sto_MementoWrite.cpp
  store/sto_MementoWriteGaps.cpp
  store/sto_ObjectWriter.cpp
  store/sto_Record.cpp
  store/sto_Session.cpp
  store/sto_Shared.cpp
  store/sto_Store.cpp)

# Tests, one program for each layer.
set(KVL_PLATFORM_TEST_SOURCES
)

set(KVL_IDENTITY_TEST_SOURCES
)

set(KVL_PERSIST_TEST_SOURCES
)

set(KVL_ERRORS_TEST_SOURCES
)

set(KVL_WRAPPERS_TEST_SOURCES
)

set(KVL_STORE_TEST_SOURCES
)
