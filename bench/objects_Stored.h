#pragma once

#include "bench/objects_Samples.h"
#include "metadata/cls_ClassRegistrar.h"
#include "store/sto_Store.h"

/// The base part of a small object.
class objects_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671001; }
  static void Declare(cls_ClassRegistrar& registrar);

  explicit objects_Part(objects_Sample const& sample);
  explicit objects_Part(cls_ReadVisitor const& visitor);
  objects_Part(objects_Part const&) = delete;
  objects_Part& operator=(objects_Part const&) = delete;
  virtual ~objects_Part() = default;

  virtual void DBWrite(cls_WriteVisitor const& visitor) const;
  virtual void AddTo(objects_Tally& tally) const;

 protected:
  cow_String m_Name;
  int m_Number;

 private:
  cls_Uid m_Uid;
};

/// A small object: a message above its base part.
class objects_Note : public objects_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671002; }
  static void Declare(cls_ClassRegistrar& registrar);

  explicit objects_Note(objects_Sample const& sample);
  explicit objects_Note(cls_ReadVisitor const& visitor);

  void DBWrite(cls_WriteVisitor const& visitor) const override;
  void AddTo(objects_Tally& tally) const override;

 private:
  cow_String m_Message;
  cls_Uid m_Uid;
};
