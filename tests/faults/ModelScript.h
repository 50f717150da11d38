#pragma once

#include <string>
#include <vector>

/// What a script can do. Arguments are plain numbers, which the executor takes modulo what there is, so that
/// a script stays one when steps are taken out.
enum class ModelOp {
  New,            ///< slot, kind: a new object in memory
  Drop,           ///< slot
  Load,           ///< slot, root
  Values,         ///< slot, number: other values of the plain members
  Append,         ///< slot, array, count
  AppendRun,      ///< slot, array, count: straight to storage
  Set,            ///< slot, array, index
  Get,            ///< slot, array, index
  Flush,          ///< slot, array
  Release,        ///< slot, array
  Copies,         ///< slot: makes copies of the arrays
  Check,          ///< slot: compares all of it
  Save,           ///< slot, root
  SaveThrows,     ///< slot, root, point
  SaveUndeclared, ///< slot, root, point
  Begin,
  Commit,
  Rollback,   ///< how: asked for, or by the destructor
  RemoveRoot, ///< root
  Collect,
  Write,    ///< slot, place, count: into a blob, a list or map of objects, or a stream
  Cut,      ///< slot, how, count: truncate, set a count, remove
  Futile,   ///< slot, how: a change that changes nothing, or fails
  Conflict, ///< slot, array, index: both sessions change one array
  Reopen,   ///< how
  Verify,   ///< compares what a new session loads
  Count_
};

/// One step of a script. `m_Fault` strikes at the `m_FaultAt`-th operation on files within the step.
struct ModelStep {
  ModelOp m_Op = ModelOp::Verify;
  int m_Session = 0;
  int m_Args[3] = {0, 0, 0};
  int m_Fault = 0; ///< 0 none, 1 input/output error, 2 no room
  int m_FaultAt = 0;
};

/// A script and how its store is made.
struct ModelScript {
  bool m_ReadersBesideWriter = false;
  std::vector<ModelStep> m_Steps;
};

ModelScript ModelGenerate(unsigned int seed, int steps);
std::string ModelText(ModelScript const& script);
ModelScript ModelParse(std::string const& text);
std::string ModelText(ModelStep const& step);
