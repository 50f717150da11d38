#pragma once

#include <memory>
#include <span>
#include <vector>

#include "bench/objects_Stored.h"

/// How a store holds the objects under one root: as an object with a list of them. No other file knows.
class objects_Holding {
 public:
  using Objects = std::span<std::unique_ptr<objects_Part>>;

  static constexpr unsigned int TypeId() noexcept { return 0x671003; }
  static void Declare(cls_ClassRegistrar& registrar);

  /// Takes the objects.
  explicit objects_Holding(Objects objects);
  explicit objects_Holding(cls_ReadVisitor const& visitor);

  void DBWrite(cls_WriteVisitor const& visitor) const;
  void AddTo(objects_Tally& tally) const;

 private:
  std::vector<std::unique_ptr<objects_Part>> m_Objects;
  cls_Uid m_ListUid;
  cls_Uid m_Uid;
};
