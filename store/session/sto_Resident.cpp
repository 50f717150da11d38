#include "store/session/sto_Resident.h"

#include <functional>
#include <mutex>
#include <typeindex>
#include <unordered_map>

#include "store/session/sto_Residents.h"

namespace {

struct Key {
  void const* m_Object;
  std::type_index m_Type; // an object may begin with another one
  bool operator==(Key const& other) const noexcept {
    return m_Object == other.m_Object && m_Type == other.m_Type;
  }
};
struct KeyHash {
  std::size_t operator()(Key const& key) const noexcept { return std::hash<void const*>()(key.m_Object); }
};

/// The residents of objects that programs have made. Of all threads: a model may be made in one and saved in another.
struct Made {
  std::mutex m_Mutex;
  std::unordered_map<Key, sto_Resident*, KeyHash> m_Residents;
};
/// Never destroyed, because references may live longer than any other static object.
Made& AllMade() {
  static Made& s_Made = *new Made();
  return s_Made;
}

} // namespace

/// The residents of this thread that nobody counts any more. The first one that ends empties the chain, so that the end of
/// an object that refers to others does not nest.
class sto_Resident::Retired {
 public:
  static void Add(sto_Resident& resident) noexcept {
    if (resident.m_IsRetired) return;
    resident.m_IsRetired = true;
    resident.m_NextRetired = s_First;
    s_First = &resident;
    if (s_Holds == 0) Empty();
  }
  static void Hold() noexcept { ++s_Holds; }
  static void LetGo() noexcept {
    if (--s_Holds == 0) Empty();
  }

 private:
  static void Empty() noexcept {
    ++s_Holds;
    while (sto_Resident* const first = s_First) {
      s_First = first->m_NextRetired;
      first->m_IsRetired = false;
      if (first->m_References == 0) delete first; // someone may have found it by its id meanwhile
    }
    --s_Holds;
  }

  static thread_local sto_Resident* s_First;
  static thread_local int s_Holds;
};

thread_local sto_Resident* sto_Resident::Retired::s_First = nullptr;
thread_local int sto_Resident::Retired::s_Holds = 0;

void sto_Resident::HoldRetired() noexcept {
  Retired::Hold();
}
void sto_Resident::LetGoRetired() noexcept {
  Retired::LetGo();
}

sto_Resident& sto_Resident::InMemory(std::shared_ptr<void> object, std::type_info const& type,
                                     unsigned int classId) {
  Made& made = AllMade();
  std::scoped_lock const lock(made.m_Mutex);
  auto const [place, isNew] = made.m_Residents.try_emplace({object.get(), type}, nullptr);
  if (!isNew) return *place->second;
  try {
    place->second = new sto_Resident();
  } catch (...) {
    made.m_Residents.erase(place);
    throw;
  }
  sto_Resident& resident = *place->second;
  resident.m_Type = &type;
  resident.m_Object = std::move(object);
  resident.m_KnownAs = classId;
  return resident;
}

std::shared_ptr<void> sto_Resident::TakeObject() noexcept {
  m_KnownAs = 0;
  if (m_Type != nullptr) {
    Made& made = AllMade();
    std::scoped_lock const lock(made.m_Mutex);
    made.m_Residents.erase({m_Object.get(), *m_Type});
    m_Type = nullptr;
  }
  return std::move(m_Object);
}

sto_Resident::~sto_Resident() {
  // Before the object ends: that may look for the resident.
  if (m_Home != nullptr) m_Home->TakeOut(*this);
  static_cast<void>(TakeObject());
}

void sto_Resident::Retire() noexcept {
  Retired::Add(*this);
}
