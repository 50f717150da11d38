#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/objects_Samples.h"

/// One way to keep a million small objects in a file. What has its objects ready saves them with a durable
/// end; what loads starts from a closed file and builds every object anew.
class objects_Contender {
 public:
  objects_Contender() = default;
  objects_Contender(objects_Contender const&) = delete;
  objects_Contender& operator=(objects_Contender const&) = delete;
  virtual ~objects_Contender() = default;

  /// Makes the file ready to save to. Not part of the measure.
  virtual void Prepare(std::string const& path) = 0;
  /// Saves all objects, durably.
  virtual void Save() = 0;
  /// Closes what Prepare, Load or LoadShuffled has opened.
  virtual void Close() {}

  /// Opens the file and builds all objects, in the order of saving.
  virtual void Load(std::string const& path) = 0;
  /// The same one by one in a given order; false when the file allows no such thing.
  virtual bool LoadShuffled(std::string const&, std::vector<int> const&) { return false; }

  /// What is loaded.
  [[nodiscard]] virtual objects_Tally Loaded() const = 0;
  /// Destroys what is loaded.
  virtual void Release() = 0;
};

/// Ends the program when something that a measure stands on does not work.
void objects_Require(bool works, std::string const& what);

/// The sum over the objects that a contender has built.
template <class Objects> [[nodiscard]] objects_Tally objects_TallyOf(Objects const& objects) {
  objects_Tally tally;
  for (auto const& object : objects)
    if constexpr (requires { object->AddTo(tally); })
      object->AddTo(tally);
    else
      object.AddTo(tally);
  return tally;
}
