#pragma once

/// Runs the tests in a child process, so that a back end that crashes, aborts or hangs fails the test that it
/// does so in. The tests behind that one run in another child. Prints what failed that way, and how many
/// tests were skipped for each ability that the back end lacks. Returns the program's exit status.
///
/// A test hangs when it takes longer than KVL_CONTRACT_SECONDS of the environment, or 900. REQUIRES: the
/// framework is initialised, and the program has one thread. With --gtest_output the file is that of the last
/// child.
int RunContractIsolated();
