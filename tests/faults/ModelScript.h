#pragma once

#include <string>
#include <vector>

/// The operations of a script. Arguments are plain numbers, which the executor takes modulo what exists, so
/// that a script stays valid when steps are removed.
enum class ModelOp {
  New,            ///< slot, kind: a new object in memory
  Drop,           ///< slot
  Load,           ///< slot, root
  Values,         ///< slot, number: sets the plain members
  Append,         ///< slot, array, count
  AppendRun,      ///< slot, array, count: directly to storage
  Set,            ///< slot, array, index
  Get,            ///< slot, array, index
  Flush,          ///< slot, array
  Release,        ///< slot, array
  Copies,         ///< slot: makes copies of the arrays
  Check,          ///< slot: compares everything
  Save,           ///< slot, root
  SaveThrows,     ///< slot, root, point
  SaveUndeclared, ///< slot, root, point
  Begin,
  Commit,
  Rollback,   ///< how: explicitly, or by the destructor
  RemoveRoot, ///< root
  Collect,
  Write,    ///< slot, place, count: into a blob, a list or map of objects, or a stream
  Cut,      ///< slot, how, count: truncate, set a count, remove
  Futile,   ///< slot, how: a change without effect, or one that fails
  Conflict, ///< slot, array, index: both sessions change one array
  Reopen,   ///< how
  Verify,   ///< compares what a new session loads
  Count_
};

/// One step of a script. `m_Fault` occurs at the `m_FaultAt`-th file operation within the step.
struct ModelStep {
  ModelOp m_Op = ModelOp::Verify;
  int m_Session = 0;
  int m_Args[3] = {0, 0, 0};
  int m_Fault = 0; ///< 0 none, 1 input/output error, 2 disk full
  int m_FaultAt = 0;
};

/// A script and the settings of its store.
struct ModelScript {
  bool m_ReadersBesideWriter = false;
  std::vector<ModelStep> m_Steps;
};

ModelScript ModelGenerate(unsigned int seed, int steps);
std::string ModelText(ModelScript const& script);
ModelScript ModelParse(std::string const& text);
std::string ModelText(ModelStep const& step);
