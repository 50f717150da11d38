#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <typeinfo>
#include <unordered_map>
#include <utility>
#include <vector>

#include "persist/visitors/cls_FieldHandle.h"
#include "platform/kvl_Export.h"

class cls_MementoRead;
class cls_LaterReads;
class cls_LaterSource;
class cls_ObjectSource;
class cls_ReadListObj;

/// A stored object that another one holds, named without reading it.
struct cls_HeldObject {
  cls_LaterSource* m_Source = nullptr; ///< null: its back end cannot say, so it is read at once
  std::int64_t m_Id = 0;               ///< its number; 0: there is none
  std::int64_t m_Holder = 0;           ///< the number of the object or collection that holds it, for messages
  cls_FieldHandle m_Field;             ///< the field that holds it; none for an element of a collection
  int m_Depth = 0;            ///< how many objects are being read, one inside another, up to the holder
  int m_Part = 0;             ///< which part of the object, counted from the most derived class
  bool m_IsReference = false; ///< it is only referred to, and may be missing; something else holds it
};

/// What a back end offers whose objects can be read after their holders. Its source of objects derives from this
/// class too, and says so in its constructor (cls_ObjectSource::OffersLater). Thread rule: as the source.
class KVL_EXPORT cls_LaterSource {
 public:
  /// The object that a field of `memento` holds or refers to. No source if `memento` is not this back end's own,
  /// for example one that passes on to it, or if the field cannot be read as an object.
  [[nodiscard]] virtual cls_HeldObject HeldIn(cls_MementoRead& memento, cls_FieldHandle const& field) = 0;
  /// The object, or the part of it, that `memento` itself reads. No source as above, and for an object that is not
  /// stored.
  [[nodiscard]] virtual cls_HeldObject Self(cls_MementoRead& memento) = 0;
  /// The memento of that object, which is nested one deeper; the caller owns it. If the object is missing: null for a
  /// reference, otherwise raises the back end's error.
  [[nodiscard]] virtual cls_MementoRead* MakeReadObj(cls_HeldObject const& held) = 0;
  /// The source of objects itself.
  [[nodiscard]] virtual cls_ObjectSource& Source() noexcept = 0;

 protected:
  cls_LaterSource() = default;
  cls_LaterSource(cls_LaterSource const&) = default;
  cls_LaterSource& operator=(cls_LaterSource const&) = default;
  ~cls_LaterSource() = default;
};

/// The object that a pointer leads to, if the running load has built it behind a shared pointer to this class; otherwise
/// null. Its record is not read again.
[[nodiscard]] KVL_EXPORT std::shared_ptr<void> cls_FindLoaded(cls_HeldObject const& held,
                                                              std::type_info const& type);

/// What a cursor over a list of objects offers if its elements can be read later; it derives from this class too.
class KVL_EXPORT cls_NamesElements {
 public:
  /// Goes on to the next element, as cls_ReadListObj::Next, and names its object. Errors are those of Next, except
  /// that the object's own record is not read.
  [[nodiscard]] virtual cls_HeldObject NextHeld() = 0;

  /// What a cursor offers; null if `list` is null or does not derive from this class.
  [[nodiscard]] static cls_NamesElements* Of(cls_ReadListObj* list) noexcept;

 protected:
  cls_NamesElements() = default;
  cls_NamesElements(cls_NamesElements const&) = default;
  cls_NamesElements& operator=(cls_NamesElements const&) = default;
  ~cls_NamesElements() = default;
};

/// The pointers that the running load has still to fill, and what it does when all are filled. An object behind a
/// pointer is built inside its holder until so many are nested (MaxNested), so that objects that are visited one after
/// the other are close together in memory. From then on, and if the pointer leads back to an object that is not finished
/// yet, it is filled after the outermost holder is built. So a chain of objects takes no stack, however long it is. What
/// was left is filled in its order, except that what filling one pointer leaves is filled before what was left earlier
/// (cls_LaterOrder): so what one object leads to is close together, too.
///
/// A field that only refers to an object which something else holds (cls_HeldObject::m_IsReference) waits until that one is
/// built. If it is not, it is built for the reference, at the end of the load. While MaxReferences wait, further ones are
/// treated as other pointers are.
///
/// A load that runs inside another one fills its own pointers before it returns.
///
/// A pointer must stay where it is until it is filled, and an object until its call. A class can have an owner that
/// knows better: something at a fixed place in its objects that reports their moves, copies and ends (OwnerMoved,
/// OwnerCopied, OwnerGone). What is left for later then moves along, is done for the copy too, or is forgotten.
///
/// Errors: adding throws std::bad_alloc; then nothing has changed. Thread rule: one thread.
class KVL_EXPORT cls_LaterReads {
 public:
  /// A pointer to fill: `m_Fill` builds or finds the object, and then sets what is at `m_Target`, unless that has
  /// become null meanwhile.
  struct Read {
    cls_HeldObject m_Held;
    void* m_Target;
    void (*m_Fill)(Read const& read);
    void const* m_Owner = nullptr; ///< null: nothing reports moves; otherwise the target lies in its object
    std::size_t m_Index = 0;       ///< of the pointer, if the target is a container
    std::type_info const* m_SharedAs =
        nullptr;                ///< the object's class, for one of several holders; null for its owner
    bool m_IsCopy = false;      ///< the target belongs to a copy of the object that was read
    std::uint64_t m_Number = 0; ///< set by Add
  };
  /// A call for an object when the graph is whole.
  struct Call {
    void* m_Object;
    int m_Argument;
    void (*m_Call)(void* object, int argument);
    void const* m_Owner = nullptr; ///< null: nothing reports moves
    std::uint64_t m_Number = 0;    ///< set by AddCall
  };

  /// How many objects are nested before the next one is left for later.
  static constexpr int MaxNested = 32;
  /// How many references wait for what holds their objects.
  static constexpr std::size_t MaxReferences = 65536;

  /// Where a load began.
  struct Mark {
    std::size_t m_Reads;
    std::size_t m_References;
    std::size_t m_Calls;
  };

  /// Whether a load runs that will fill pointers. Outside of one, read at once.
  [[nodiscard]] bool IsOn() const noexcept { return m_Loads > 0 && m_AtOnce == 0; }

  /// Whether objects of the running loads still wait for what they lead to, so that saving them would lose it.
  [[nodiscard]] bool IsWaiting() const noexcept { return !m_Reads.empty() || !m_References.empty(); }

  /// REQUIRES: IsOn; the target stays where it is until the load has filled it or has failed.
  void Add(Read read) { Add(m_Reads, std::move(read)); }
  /// The same for a reference; false, and nothing is added, if too many wait already.
  [[nodiscard]] bool AddReference(Read read) {
    if (m_References.size() >= m_SweepAt) Sweep();
    if (m_References.size() >= MaxReferences) return false;
    Add(m_References, std::move(read));
    return true;
  }
  /// REQUIRES: IsOn; the object stays where it is until the load ends.
  void AddCall(Call call) {
    if (call.m_Owner != nullptr) NoteOwner();
    call.m_Number = ++m_LastNumber;
    m_Calls.push_back(call);
  }

  /// An owner has moved from one place to another one in the same way as its object.
  static void OwnerMoved(void const* from, void const* to) noexcept {
    if (s_HaveOwners.load(std::memory_order_relaxed) != 0) MoveOwner(from, to);
  }
  /// An owner at another place belongs to a copy of the object. Throws std::bad_alloc.
  static void OwnerCopied(void const* from, void const* to) {
    if (s_HaveOwners.load(std::memory_order_relaxed) != 0) CopyOwner(from, to);
  }
  /// An owner ends: what its object still waits for is forgotten.
  static void OwnerGone(void const* owner) noexcept {
    if (s_HaveOwners.load(std::memory_order_relaxed) != 0) MoveOwner(owner, nullptr);
  }

  /// While it lives, nothing is left for later: for reading into what will be copied or moved.
  class AtOnce {
   public:
    /// `later` may be null.
    explicit AtOnce(cls_LaterReads* later) noexcept : m_Later(later) {
      if (m_Later != nullptr) ++m_Later->m_AtOnce;
    }
    AtOnce(AtOnce const&) = delete;
    AtOnce& operator=(AtOnce const&) = delete;
    ~AtOnce() {
      if (m_Later != nullptr) --m_Later->m_AtOnce;
    }

   private:
    cls_LaterReads* m_Later;
  };

  /// While it lives, an object behind a pointer is built: it stays where it is, so inside it things may be left again,
  /// whatever is read around it.
  class InPlace {
   public:
    /// `later` may be null.
    explicit InPlace(cls_LaterReads* later) noexcept
        : m_Later(later != nullptr && later->m_AtOnce != 0 ? later : nullptr),
          m_AtOnce(m_Later == nullptr ? 0 : std::exchange(m_Later->m_AtOnce, 0)) {}
    InPlace(InPlace const&) = delete;
    InPlace& operator=(InPlace const&) = delete;
    ~InPlace() {
      if (m_Later != nullptr) m_Later->m_AtOnce = m_AtOnce;
    }

   private:
    cls_LaterReads* m_Later;
    int m_AtOnce;
  };

  /// A load begins.
  [[nodiscard]] Mark Begin() noexcept {
    ++m_Loads;
    return {m_Reads.size(), m_References.size(), m_Calls.size()};
  }
  /// Fills the pointers that were added since the load began, also those that are added meanwhile, in the order that the
  /// class describes; references last. Then makes its calls, each once, in the order of adding. Whatever these raise passes
  /// through; the rest is then left undone. Throws std::bad_alloc.
  void Finish(Mark const& mark);
  /// The load ends. What it has not done is forgotten.
  void End(Mark const& mark) noexcept;

  cls_LaterReads() = default;
  cls_LaterReads(cls_LaterReads const&) = delete;
  cls_LaterReads& operator=(cls_LaterReads const&) = delete;
  ~cls_LaterReads() { ForgetOwners(); }

 private:
  /// Those of this thread that have owners, in a chain.
  static cls_LaterReads*& Chain() noexcept;
  void NoteOwner() noexcept {
    if (!m_HasOwners) BeginOwners();
  }
  void BeginOwners() noexcept;
  void ForgetOwners() noexcept;
  /// `to`: null if the owner is gone.
  static void MoveOwner(void const* from, void const* to) noexcept;
  static void CopyOwner(void const* from, void const* to);
  void MoveOne(std::uint64_t number, void const* from, void const* to) noexcept;
  void CopyOne(std::uint64_t number, void const* from, void const* to);
  /// Brings m_ByOwner up to date: whoever never moves anything never pays for it.
  void IndexOwners();
  /// Calls `act` with the number of each read and call that an owner has, or had. REQUIRES: the index is up to date.
  template <class Act> void ForEachOf(void const* owner, Act act) const;

  /// The pointer that is being filled; several if loads are nested.
  struct Filling {
    Filling(cls_LaterReads& reads, Read const& read)
        : m_Reads(reads), m_Read(read), m_Outer(std::exchange(reads.m_Filling, this)) {}
    Filling(Filling const&) = delete;
    Filling& operator=(Filling const&) = delete;
    ~Filling() { m_Reads.m_Filling = m_Outer; }
    cls_LaterReads& m_Reads;
    Read m_Read;
    Filling* m_Outer;
  };
  void Add(std::vector<Read>& to, Read&& read) {
    if (read.m_Owner != nullptr) NoteOwner();
    read.m_Number = ++m_LastNumber;
    to.push_back(std::move(read));
  }
  void Fill(Read& read);
  /// Fills the references whose objects are built by now, if no load needs their places.
  void Sweep();

  KVL_LOCAL void ForgetReads(Mark const& mark) noexcept;
  /// Whether anything waits that was added since the mark.
  [[nodiscard]] bool HasAdded(Mark const& mark) const noexcept {
    return m_Reads.size() != mark.m_Reads || m_References.size() != mark.m_References ||
           m_Calls.size() != mark.m_Calls;
  }
  /// Forgets what was added since the mark.
  KVL_LOCAL void Forget(Mark const& mark) noexcept;

  static std::atomic<int> s_HaveOwners; // how many, in all threads
  static constexpr std::size_t FirstSweep = 1024;

  int m_Loads = 0;
  int m_AtOnce = 0;
  bool m_HasOwners = false;
  bool m_FillsReferences = false; // some load does
  cls_LaterReads* m_NextInChain = nullptr;
  Filling* m_Filling = nullptr;
  // All in the order of their numbers.
  std::vector<Read> m_Reads;
  std::vector<Read> m_References;
  std::size_t m_SweepAt = FirstSweep; // when there are so many references
  std::vector<Call> m_Calls;
  std::uint64_t m_LastNumber = 0;
  std::uint64_t m_LastIndexed = 0;
  std::unordered_multimap<void const*, std::uint64_t>
      m_ByOwner; // of those up to m_LastIndexed; also of gone ones
};
