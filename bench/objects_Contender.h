#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/objects_Samples.h"

/// One way to keep a million small objects in a file. Saving starts with the objects in memory and ends when
/// they are durable; loading starts with a closed file and builds every object anew.
class objects_Contender {
 public:
  objects_Contender() = default;
  objects_Contender(objects_Contender const&) = delete;
  objects_Contender& operator=(objects_Contender const&) = delete;
  virtual ~objects_Contender() = default;

  /// Prepares the file for Save. Not measured.
  virtual void Prepare(std::string const& path) = 0;
  /// Saves all objects, durably.
  virtual void Save() = 0;
  /// Closes what Prepare, Load or LoadShuffled opened.
  virtual void Close() {}

  /// Opens the file and builds all objects in the order in which they were saved.
  virtual void Load(std::string const& path) = 0;
  /// Loads the objects one by one in the given order; false if the file does not allow that.
  virtual bool LoadShuffled(std::string const&, std::vector<int> const&) { return false; }

  /// The sum of what is loaded.
  [[nodiscard]] virtual objects_Tally Loaded() const = 0;
  /// Destroys the loaded objects.
  virtual void Release() = 0;
};

/// Ends the program if a step that a measurement depends on failed.
void objects_Require(bool works, std::string const& what);

/// The sum over the loaded objects of a contender.
template <class Objects> [[nodiscard]] objects_Tally objects_TallyOf(Objects const& objects) {
  objects_Tally tally;
  for (auto const& object : objects)
    if constexpr (requires { object->AddTo(tally); })
      object->AddTo(tally);
    else
      object.AddTo(tally);
  return tally;
}
