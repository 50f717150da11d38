#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/base/sto_Meter.h"
#include "store/copy/sto_CopyProgress.h"
#include "store/driver/sto_Driver.h"

/// Copies all that the open transaction of one storage sees into an empty one of any kind, under the same ids and keys.
/// It does so in portions, each a transaction of the target, and goes on where an earlier copy of the same state was
/// interrupted. In the end both have the same sum.
///
/// Of the log of saves the target gets one entry for each portion, and the number and time of the copied one in the note
/// of the last.
class sto_ContentCopy {
 public:
  /// `shown`: the name of the source. REQUIRES: `source` has an open transaction, and `target` none.
  sto_ContentCopy(sto_Driver& source, std::string shown, sto_Driver& target, sto_Meter* meter);

  /// Whether the target is empty, or has a part of a copy of this state.
  [[nodiscard]] bool CanContinue();
  /// Copies what is missing. Damaged if the sums differ; then, and after any other failure, the target is only a part of
  /// a copy.
  void Run();

 private:
  /// Reads how far the target has come.
  void FindPlace(std::vector<sto_SaveEntry> const& saves);
  void CopyCatalogue();
  void CopyObjects();
  void CopyBlocks();
  void CopyRest();
  void CopyIndex(sto_IndexRow const& index);
  /// Ends a portion with the progress as its note, and begins the next one.
  void EndPortion();
  void CompareSums();
  void Step() {
    if (m_Meter != nullptr) m_Meter->Step();
  }

  sto_Driver& m_Source;
  std::string m_Shown;
  sto_Driver& m_Target;
  sto_Meter* m_Meter;
  sto_StoreInfo m_Info; // of the source
  sto_CopyProgress m_Progress;
  bool m_IsEmpty = true, m_IsOfThis = false;
};
