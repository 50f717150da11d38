# The contract suite: what every back end is tested with, here and by programs that use the installed package. The
# headers that these include from tests/ belong to it.
set(KVL_CONTRACT_SOURCES
  tests/contract/Absent_test.cpp
  tests/contract/Agents_test.cpp
  tests/contract/Blobs_test.cpp
  tests/contract/Branches_test.cpp
  tests/contract/Collecting_test.cpp
  tests/contract/ContractBackEnd.cpp
  tests/contract/ContractContent.cpp
  tests/contract/ContractMain.cpp
  tests/contract/ContractRunner.cpp
  tests/contract/ContractTest.cpp
  tests/contract/Copies_test.cpp
  tests/contract/Coverage.cpp
  tests/contract/Extremes_test.cpp
  tests/contract/Failures_test.cpp
  tests/contract/Huge_test.cpp
  tests/contract/Lists_test.cpp
  tests/contract/Maps_test.cpp
  tests/contract/Nesting_test.cpp
  tests/contract/ObjectAgents_test.cpp
  tests/contract/ObjectCollections_test.cpp
  tests/contract/Objects_test.cpp
  tests/contract/Overwrite_test.cpp
  tests/contract/Pointers_test.cpp
  tests/contract/Scalars_test.cpp
  tests/contract/Shared_test.cpp)
