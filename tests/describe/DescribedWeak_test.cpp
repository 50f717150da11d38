// Weak pointers in containers and values.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "persist/pointers/cls_LaterReads.h"
#include "tests/describe/DescribedTest.h"

namespace {

class WeakBar;

class WeakJoint {
 public:
  KVL_PERSISTED(WeakJoint, 0x790001, "WeakJoint", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Bars));
  }
  explicit WeakJoint(int number) : m_Number(number) {}
  int m_Number = 0;
  std::vector<std::weak_ptr<WeakBar>> m_Bars; // all bars that end here
};

class WeakBar {
 public:
  KVL_PERSISTED(WeakBar, 0x790002, "WeakBar", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Ends)); }
  explicit WeakBar(std::vector<std::shared_ptr<WeakJoint>> ends) : m_Ends(std::move(ends)) {}
  std::vector<std::shared_ptr<WeakJoint>> m_Ends;
};

/// A value with a weak pointer.
struct WeakMark {
  KVL_VALUE(WeakMark)
  static constexpr void Describe(auto& field) {
    field(KVL_F(text));
    field(KVL_F(at));
  }
  std::string text;
  std::weak_ptr<WeakJoint> at;
};

class WeakFrame {
 public:
  KVL_PERSISTED(WeakFrame, 0x790003, "WeakFrame", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Marks)); // before what owns the joints
    field(KVL_F(m_Supports));
    field(KVL_F(m_Named));
    field(KVL_F(m_Last));
    field(KVL_F(m_Bars));
  }
  WeakFrame() = default;
  std::vector<WeakMark> m_Marks;
  std::vector<std::weak_ptr<WeakJoint>> m_Supports;
  std::map<std::string, std::weak_ptr<WeakJoint>> m_Named;
  std::optional<std::weak_ptr<WeakBar>> m_Last;
  std::vector<std::shared_ptr<WeakBar>> m_Bars;
};

/// A chain of bars from joint to joint.
WeakFrame MakeWeakFrame(int bars) {
  WeakFrame frame;
  auto last = std::make_shared<WeakJoint>(0);
  frame.m_Supports.push_back(last);
  for (int i = 1; i <= bars; ++i) {
    auto const next = std::make_shared<WeakJoint>(i);
    auto const bar = std::make_shared<WeakBar>(std::vector{last, next});
    last->m_Bars.push_back(bar);
    next->m_Bars.push_back(bar);
    frame.m_Bars.push_back(bar);
    last = next;
  }
  frame.m_Supports.push_back(last);
  frame.m_Marks = {{"first", frame.m_Bars.front()->m_Ends.front()}, {"none", {}}, {"last", last}};
  frame.m_Named = {{"last", last}, {"none", {}}};
  frame.m_Last = frame.m_Bars.back();
  return frame;
}

void ExpectWeakFrame(WeakFrame const& frame, int bars) {
  ASSERT_EQ(frame.m_Bars.size(), static_cast<std::size_t>(bars));
  for (std::size_t i = 0; i < frame.m_Bars.size(); ++i) {
    WeakBar const& bar = *frame.m_Bars[i];
    ASSERT_EQ(bar.m_Ends.size(), 2U);
    ASSERT_EQ(bar.m_Ends[0]->m_Number, static_cast<int>(i));
    ASSERT_EQ(bar.m_Ends[1]->m_Number, static_cast<int>(i) + 1);
    ASSERT_EQ(bar.m_Ends[0]->m_Bars.back().lock(), frame.m_Bars[i]) << i;
    ASSERT_EQ(bar.m_Ends[1]->m_Bars.front().lock(), frame.m_Bars[i]) << i;
    ASSERT_EQ(frame.m_Bars[i].use_count(), 1) << i; // nothing else owns it
  }
  auto const first = frame.m_Bars.front()->m_Ends.front();
  auto const last = frame.m_Bars.back()->m_Ends.back();
  ASSERT_EQ(frame.m_Supports.size(), 2U);
  EXPECT_EQ(frame.m_Supports[0].lock(), first);
  EXPECT_EQ(frame.m_Supports[1].lock(), last);
  ASSERT_EQ(frame.m_Marks.size(), 3U);
  EXPECT_EQ(frame.m_Marks[0].at.lock(), first);
  EXPECT_EQ(frame.m_Marks[1].at.lock(), nullptr);
  EXPECT_EQ(frame.m_Marks[2].at.lock(), last);
  ASSERT_EQ(frame.m_Named.size(), 2U);
  EXPECT_EQ(frame.m_Named.at("last").lock(), last);
  EXPECT_EQ(frame.m_Named.at("none").lock(), nullptr);
  ASSERT_TRUE(frame.m_Last.has_value());
  EXPECT_EQ(frame.m_Last->lock(), frame.m_Bars.back());
}

/// Refers to the next one of a list, and to the last.
class WeakLink {
 public:
  KVL_PERSISTED(WeakLink, 0x790010, "WeakLink", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Next));
    field(KVL_F(m_Last));
  }
  explicit WeakLink(int number) : m_Number(number) {}
  int m_Number = 0;
  std::weak_ptr<WeakLink> m_Next;
  std::weak_ptr<WeakLink> m_Last;
};

class WeakLinks {
 public:
  KVL_PERSISTED(WeakLinks, 0x790011, "WeakLinks", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Middle)); // before what owns it
    field(KVL_F(m_Links));
  }
  WeakLinks() = default;
  std::weak_ptr<WeakLink> m_Middle;
  std::vector<std::shared_ptr<WeakLink>> m_Links;
};

WeakLinks MakeWeakLinks(int count) {
  WeakLinks links;
  for (int i = 0; i < count; ++i) links.m_Links.push_back(std::make_shared<WeakLink>(i));
  for (std::size_t i = 0; i < links.m_Links.size(); ++i) {
    if (i + 1 < links.m_Links.size()) links.m_Links[i]->m_Next = links.m_Links[i + 1];
    links.m_Links[i]->m_Last = links.m_Links.back();
  }
  links.m_Middle = links.m_Links[links.m_Links.size() / 2];
  return links;
}

class DescribedWeak : public DescribedTest {};

TEST_F(DescribedWeak, ContainersLeadBackToWhatOwnsTheirObjects) {
  SaveNew(MakeWeakFrame(3));
  ExpectWeakFrame(*Load<WeakFrame>(), 3);
  std::size_t const count = ObjectCount();
  SaveAgain<WeakFrame>();
  EXPECT_EQ(ObjectCount(), count);
  ExpectWeakFrame(*Load<WeakFrame>(), 3);
}

TEST_F(DescribedWeak, ChainOfAnyLengthComesBack) {
  SaveNew(MakeWeakFrame(20'000));
  ExpectWeakFrame(*Load<WeakFrame>(), 20'000);
}

TEST_F(DescribedWeak, PointersThatHaveExpiredAreEmpty) {
  WeakFrame frame = MakeWeakFrame(2);
  frame.m_Supports = {std::make_shared<WeakJoint>(7), frame.m_Supports.front()};
  SaveNew(frame);
  auto const loaded = Load<WeakFrame>();
  ASSERT_EQ(loaded->m_Supports.size(), 2U);
  EXPECT_EQ(loaded->m_Supports[0].lock(), nullptr);
  EXPECT_EQ(loaded->m_Supports[1].lock()->m_Number, 0);
}

/// The list keeps the object in the store; in memory nothing holds it after the load.
TEST_F(DescribedWeak, ObjectsThatNothingElseHoldsAreEmptyAfterALoad) {
  auto const joint = std::make_shared<WeakJoint>(7);
  WeakFrame frame = MakeWeakFrame(2);
  frame.m_Supports = {joint};
  SaveNew(frame);
  auto const loaded = Load<WeakFrame>();
  ASSERT_EQ(loaded->m_Supports.size(), 1U);
  EXPECT_EQ(loaded->m_Supports[0].lock(), nullptr);
}

/// What knows objects in one version may own them in the next, but not the other way round.
template <class Pointer, int Version> class JointList {
 public:
  KVL_PERSISTED(JointList, 0x790004, "JointList", Version)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Joints));
    field(KVL_F(m_First));
    field(KVL_F(m_Named));
  }
  JointList() = default;
  std::vector<Pointer> m_Joints;
  std::optional<Pointer> m_First;
  std::map<std::string, std::pair<Pointer, int>> m_Named;
};
using Owner = std::shared_ptr<WeakJoint>;
using Knower = std::weak_ptr<WeakJoint>;

TEST_F(DescribedWeak, ListOfWeakPointersBecomesOneOfOwners) {
  auto const joint = std::make_shared<WeakJoint>(7);
  JointList<Knower, 1> known;
  known.m_Joints = {joint, Knower()};
  known.m_Named["a"] = {joint, 1};
  SaveNew(known);
  auto const owning = Load<JointList<Owner, 2>>();
  ASSERT_EQ(owning->m_Joints.size(), 2U);
  EXPECT_EQ(owning->m_Joints[0]->m_Number, 7);
  EXPECT_EQ(owning->m_Joints[1], nullptr);
  EXPECT_EQ(owning->m_Named.at("a").first, owning->m_Joints[0]);
}

TEST_F(DescribedWeak, OwnersDoNotBecomeWeakPointers) {
  JointList<Owner, 1> owning;
  owning.m_Joints = {std::make_shared<WeakJoint>(1), nullptr};
  SaveNew(owning);
  std::string const text = RefusalOf([this] { static_cast<void>(Load<JointList<Knower, 2>>()); });
  EXPECT_EQ(
      text.substr(text.find(": ") + 2),
      "Class JointList: attribute m_First.value in version 1 of the store is ATTR_OBJECT, COLLECTION_NONE, which "
      "cannot be read as ATTR_REFERENCE, COLLECTION_NONE. Give the field a new name with kvl::Since, and take "
      "the old one with kvl::Dropped and its old type.");
}

/// The same for containers alone.
template <class Pointer, int Version> class JointVector {
 public:
  KVL_PERSISTED(JointVector, 0x790005, "JointVector", Version)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Joints)); }
  JointVector() = default;
  std::vector<Pointer> m_Joints;
};

TEST_F(DescribedWeak, ListOfOwnersDoesNotBecomeOneOfWeakPointers) {
  JointVector<Owner, 1> owning;
  owning.m_Joints = {std::make_shared<WeakJoint>(1)};
  SaveNew(owning);
  std::string const text = RefusalOf([this] { static_cast<void>(Load<JointVector<Knower, 2>>()); });
  EXPECT_NE(text.find("ATTR_OBJECT, COLLECTION_OBJ, which cannot be read as ATTR_REFERENCE, COLLECTION_OBJ"),
            std::string::npos)
      << text;
}

class JointVectorNow {
 public:
  KVL_PERSISTED(JointVectorNow, 0x790005, "JointVector", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Known), Since(2));
    field("m_Joints"_field, kvl::Dropped(&JointVectorNow::Take));
    field(KVL_F(m_Seen), kvl::Transient());
  }
  JointVectorNow() = default;
  void Take(std::vector<Owner> const& joints) {
    m_Known.assign(joints.begin(), joints.end());
    m_Seen = m_Known.at(0).lock()->m_Number;
  }
  std::vector<Knower> m_Known;
  int m_Seen = 0;
};

TEST_F(DescribedWeak, OwnersThatAreDroppedAreTakenByWeakPointers) {
  JointVector<Owner, 1> owning;
  owning.m_Joints = {std::make_shared<WeakJoint>(1)};
  SaveNew(owning);
  EXPECT_EQ(Load<JointVectorNow>()->m_Seen, 1);
}

TEST_F(DescribedWeak, MoreReferencesThanMayWaitAreFilled) {
  constexpr int Count = static_cast<int>(cls_LaterReads::MaxReferences) + 5000;
  SaveNew(MakeWeakLinks(Count));
  std::unique_ptr<WeakLinks> const loaded = Load<WeakLinks>();
  ASSERT_EQ(loaded->m_Links.size(), static_cast<std::size_t>(Count));
  EXPECT_EQ(loaded->m_Middle.lock(), loaded->m_Links[Count / 2]);
  for (std::size_t i = 0; i < loaded->m_Links.size(); ++i) {
    ASSERT_EQ(loaded->m_Links[i]->m_Number, static_cast<int>(i));
    ASSERT_EQ(loaded->m_Links[i]->m_Last.lock(), loaded->m_Links.back());
    ASSERT_EQ(loaded->m_Links[i]->m_Next.lock(),
              i + 1 < loaded->m_Links.size() ? loaded->m_Links[i + 1] : nullptr);
  }
}

TEST_F(DescribedWeak, ReferenceThatWaitsForAnObjectThatIsNotStoredIsEmpty) {
  WeakLinks links = MakeWeakLinks(10);
  auto const other = std::make_shared<WeakLink>(11);
  links.m_Middle = other;
  links.m_Links.front()->m_Next = other;
  SaveNew(links);
  std::unique_ptr<WeakLinks> const loaded = Load<WeakLinks>();
  EXPECT_TRUE(loaded->m_Middle.expired());
  EXPECT_TRUE(loaded->m_Links.front()->m_Next.expired());
  EXPECT_EQ(loaded->m_Links.front()->m_Last.lock(), loaded->m_Links.back());
}

} // namespace
