#include <boost/serialization/shared_ptr.hpp>
#include <boost/serialization/split_free.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <boost/serialization/weak_ptr.hpp>

#include "bench/oo7/oo7_ArchiveFile.h"
#include "bench/oo7/oo7_Oo1Classes.h"
#include "bench/oo7/oo7_Oo1Graph.h"
#include "bench/oo7/oo7_Oo1System.h"

// An archive writes what a pointer leads to at once, so a graph without levels would fill the stack. All parts come
// first, and then their connections, which find them in the archive. The ways back are made anew.

using oo7_Oo1Archived = oo7_oo1::Classes<oo7_SharedPointers>;

namespace boost::serialization {

template <class Archive> void serialize(Archive& archive, oo7_Oo1Archived::Part& part, unsigned int) {
  archive& part.m_Id& part.m_Type& part.m_X& part.m_Y& part.m_BuildDate;
}
template <class Archive>
void serialize(Archive& archive, oo7_Oo1Archived::Connection& connection, unsigned int) {
  archive& connection.m_Type& connection.m_Length& connection.m_From& connection.m_To;
}
template <class Archive> void save(Archive& archive, oo7_Oo1Archived::Library const& library, unsigned int) {
  archive << library.m_Parts;
  for (auto const& part : library.m_Parts) archive << part->m_To;
}
template <class Archive> void load(Archive& archive, oo7_Oo1Archived::Library& library, unsigned int) {
  archive >> library.m_Parts;
  for (auto const& part : library.m_Parts) {
    archive >> part->m_To;
    for (auto const& connection : part->m_To) connection->m_To->m_From.push_back(connection);
  }
}
template <class Archive>
void serialize(Archive& archive, oo7_Oo1Archived::Library& library, unsigned int version) {
  split_free(archive, library, version);
}

} // namespace boost::serialization

std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeBoost() {
  using File = oo7_ArchiveFile<oo7_Oo1Archived::Library>;
  return std::make_unique<oo7_Oo1SystemOf<oo7_Oo1Graph<oo7_Oo1Archived, File>>>();
}
