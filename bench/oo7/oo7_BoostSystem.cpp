#include "bench/oo7/oo7_BoostSystem.h"

#include <boost/serialization/base_object.hpp>
#include <boost/serialization/shared_ptr.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <boost/serialization/weak_ptr.hpp>

#include "bench/oo7/oo7_ArchiveFile.h"
#include "bench/oo7/oo7_Graph.h"
#include "bench/oo7/oo7_GraphClasses.h"

using oo7_ArchivedClasses = oo7_graph::Classes<oo7_SharedPointers>;
using oo7_ArchivedAssembly = oo7_graph::Assembly<oo7_SharedPointers>;

namespace boost::serialization {

using oo7_graph::DesignObject;

template <class Archive> void serialize(Archive& archive, DesignObject& object, unsigned int) {
  archive& object.m_Id& object.m_Type& object.m_BuildDate;
}
template <class Archive>
void serialize(Archive& archive, oo7_ArchivedClasses::Connection& object, unsigned int) {
  archive& object.m_Type& object.m_Length& object.m_From& object.m_To;
}
template <class Archive> void serialize(Archive& archive, oo7_ArchivedClasses::Atom& object, unsigned int) {
  archive& base_object<DesignObject>(object) &
      object.m_X& object.m_Y& object.m_DocId& object.m_To& object.m_From& object.m_PartOf;
}
template <class Archive>
void serialize(Archive& archive, oo7_ArchivedClasses::Document& object, unsigned int) {
  archive& object.m_Id& object.m_Title& object.m_Text& object.m_Part;
}
template <class Archive>
void serialize(Archive& archive, oo7_ArchivedClasses::Composite& object, unsigned int) {
  archive& base_object<DesignObject>(object) & object.m_Documentation& object.m_Parts& object
                                                   .m_RootPart& object.m_UsedInPrivate& object.m_UsedInShared;
}
template <class Archive> void serialize(Archive& archive, oo7_ArchivedAssembly& object, unsigned int) {
  archive& base_object<DesignObject>(object) & object.m_Super& object.m_Module;
}
template <class Archive>
void serialize(Archive& archive, oo7_ArchivedClasses::Complex& object, unsigned int) {
  archive& base_object<oo7_ArchivedAssembly>(object) & object.m_SubAssemblies;
}
template <class Archive> void serialize(Archive& archive, oo7_ArchivedClasses::Base& object, unsigned int) {
  archive& base_object<oo7_ArchivedAssembly>(object) & object.m_Private& object.m_Shared;
}
template <class Archive> void serialize(Archive& archive, oo7_ArchivedClasses::Manual& object, unsigned int) {
  archive& object.m_Id& object.m_Title& object.m_Text& object.m_TextLength& object.m_Module;
}
template <class Archive> void serialize(Archive& archive, oo7_ArchivedClasses::Module& object, unsigned int) {
  archive& base_object<DesignObject>(object) & object.m_Manual& object.m_Assemblies& object.m_DesignRoot;
}
template <class Archive>
void serialize(Archive& archive, oo7_ArchivedClasses::Library& object, unsigned int) {
  archive.template register_type<oo7_ArchivedClasses::Complex>();
  archive.template register_type<oo7_ArchivedClasses::Base>();
  archive& object.m_Module& object.m_Composites;
}

} // namespace boost::serialization

std::unique_ptr<oo7_System> oo7_MakeBoostSystem() {
  using File = oo7_ArchiveFile<oo7_ArchivedClasses::Library>;
  return std::make_unique<oo7_SystemOf<oo7_Graph<oo7_ArchivedClasses, File>>>();
}
