#pragma once

#include <memory>
#include <vector>

#include "bench/objects_Contender.h"

// Serialization libraries that write all objects to a plain file and synchronise it once.

/// Boost.Serialization, binary archive, pointers to the base class.
std::unique_ptr<objects_Contender> objects_MakeBoostPointers(std::vector<objects_Sample> const& samples);
/// Boost.Serialization, binary archive, objects of one class by value.
std::unique_ptr<objects_Contender> objects_MakeBoostValues(std::vector<objects_Sample> const& samples);
/// cereal, portable binary archive, pointers to the base class.
std::unique_ptr<objects_Contender> objects_MakeCerealPointers(std::vector<objects_Sample> const& samples);
/// cereal, portable binary archive, objects of one class by value.
std::unique_ptr<objects_Contender> objects_MakeCerealValues(std::vector<objects_Sample> const& samples);
