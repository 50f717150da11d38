#pragma once

#include <string>

#include "bench/objects_Samples.h"

/// A polymorphic object of a program that does not use the store.
struct objects_PlainPart {
  explicit objects_PlainPart(objects_Sample const& sample)
      : m_Name(sample.m_Name), m_Number(sample.m_Number) {}
  objects_PlainPart() = default;
  objects_PlainPart(objects_PlainPart const&) = delete;
  objects_PlainPart& operator=(objects_PlainPart const&) = delete;
  virtual ~objects_PlainPart() = default;
  virtual void AddTo(objects_Tally& tally) const { tally.Add(m_Name, m_Number, {}); }

  std::string m_Name;
  int m_Number = 0;
};

struct objects_PlainNote : objects_PlainPart {
  explicit objects_PlainNote(objects_Sample const& sample)
      : objects_PlainPart(sample), m_Message(sample.m_Message) {}
  objects_PlainNote() = default;
  void AddTo(objects_Tally& tally) const override { tally.Add(m_Name, m_Number, m_Message); }

  std::string m_Message;
};
