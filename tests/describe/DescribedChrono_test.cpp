// Durations and times come back, as numbers whose unit the store knows.

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "describe/dsc_Chrono.h"
#include "persist/identity/cls_OwnUid.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

using namespace std::chrono_literals;
using Seconds = std::chrono::duration<double>;
using ShortSeconds = std::chrono::duration<short>;
using Frames = std::chrono::duration<unsigned int, std::ratio<1, 25>>;
using Instant = std::chrono::system_clock::time_point;

class DescribedChrono : public DescribedRoundTrip {};

TEST_F(DescribedChrono, DurationsAndTimes) {
  Check<std::chrono::nanoseconds>(
      {0ns, 1ns, std::chrono::nanoseconds::min(), std::chrono::nanoseconds::max()});
  Check<std::chrono::hours>({0h, -5h, std::chrono::hours::max()});
  Check<ShortSeconds>({ShortSeconds(0), ShortSeconds::min(), ShortSeconds::max()});
  Check<Frames>({Frames(0), Frames::max()});
  Check<std::chrono::duration<unsigned long long, std::milli>>(
      {std::chrono::duration<unsigned long long, std::milli>::max()});
  Check<Seconds>({Seconds(0), Seconds(-1.5e300)});
  Check<std::chrono::duration<float, std::ratio<60>>>({std::chrono::duration<float, std::ratio<60>>(2.5F)});
  Check<Instant>({Instant(), Instant::min(), Instant::max(), std::chrono::system_clock::now()});
  Check<std::chrono::sys_days>({std::chrono::sys_days(std::chrono::days(20000))});
  Check<std::optional<std::chrono::milliseconds>>({std::nullopt, 0ms, -3ms});
  Check<std::optional<Instant>>({std::nullopt, Instant()});
}

TEST_F(DescribedChrono, InListsAndMaps) {
  using Milliseconds = std::chrono::milliseconds;
  Check<std::vector<Milliseconds>>(
      {{}, {Milliseconds::min(), -1ms, 0ms, Milliseconds::max()}, std::vector<Milliseconds>(5000, 7ms)});
  Check<std::vector<Seconds>>({{}, {Seconds(0.5), Seconds(-2)}});
  Check<std::vector<Instant>>({{}, {Instant::min(), Instant::max()}});
  Check<std::vector<ShortSeconds>>({{}, {ShortSeconds::min(), ShortSeconds::max()}});
  Check<std::vector<std::optional<Milliseconds>>>({{}, {std::nullopt, 4ms}});
  Check<std::vector<std::vector<Milliseconds>>>({{}, {{}, {1ms, 2ms}}});
  Check<std::array<Milliseconds, 2>>({{1ms, -2ms}});
  Check<std::set<std::chrono::minutes>>({{}, {3min, 1min}});
  Check<std::map<std::string, Milliseconds>>({{}, {{"a", 1ms}, {"b", -1ms}}});
  Check<std::map<std::string, Seconds>>({{}, {{"a", Seconds(0.5)}}});
  Check<std::map<Instant, double>>({{}, {{Instant(), 1.5}, {Instant::max(), -2}}});
}

TEST_F(DescribedChrono, UnitIsThePeriod) {
  EXPECT_EQ(UnitOf<Kept<std::chrono::nanoseconds>>("m_Value"), "ns");
  EXPECT_EQ(UnitOf<Kept<std::chrono::microseconds>>("m_Value"), "us");
  EXPECT_EQ(UnitOf<Kept<std::chrono::milliseconds>>("m_Value"), "ms");
  EXPECT_EQ(UnitOf<Kept<Seconds>>("m_Value"), "s");
  EXPECT_EQ(UnitOf<Kept<std::chrono::minutes>>("m_Value"), "min");
  EXPECT_EQ(UnitOf<Kept<std::chrono::hours>>("m_Value"), "h");
  EXPECT_EQ(UnitOf<Kept<std::chrono::days>>("m_Value"), "[86400/1]s");
  EXPECT_EQ(UnitOf<Kept<Frames>>("m_Value"), "[1/25]s");
  EXPECT_EQ((UnitOf<Kept<std::chrono::duration<int, std::ratio<2, 50>>>>("m_Value")), "[1/25]s");
  EXPECT_EQ(UnitOf<Kept<std::chrono::sys_seconds>>("m_Value"), "s");
  EXPECT_EQ(UnitOf<Kept<std::vector<std::chrono::milliseconds>>>("m_Value"), "ms");
  EXPECT_EQ(UnitOf<Kept<std::vector<Seconds>>>("m_Value"), "s");
  EXPECT_EQ(UnitOf<Kept<std::optional<std::chrono::milliseconds>>>("m_Value"), "ms");
  using Map = std::map<std::chrono::minutes, std::chrono::milliseconds>;
  EXPECT_EQ(UnitOf<Kept<Map>>("m_Value.key"), "min");
  EXPECT_EQ(UnitOf<Kept<Map>>("m_Value.value"), "ms");
}

/// It has dropped a duration, and takes it in another period.
template <class Taken> class Waited {
 public:
  KVL_PERSISTED(Waited, 0x780001, "Kept", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Wait), Since(2));
    field("m_Value"_field, Dropped(&Waited::Take));
  }
  Waited() = default;
  void Take(Taken taken) { m_Wait = taken; }
  std::chrono::milliseconds m_Wait{};
};

TEST_F(DescribedChrono, DroppedInAnotherPeriodIsRefused) {
  SaveNew(Kept<std::chrono::milliseconds>(5000ms));
  EXPECT_EQ(Load<Waited<std::chrono::milliseconds>>()->m_Wait, 5000ms);
  std::string const text = RefusalOf([this] { static_cast<void>(Load<Waited<std::chrono::seconds>>()); });
  EXPECT_EQ(
      text.substr(text.find(": ") + 2),
      "Class Kept: attribute m_Value is in ms in version 1 of the store, and kvl::Dropped takes it in s. Take it in "
      "the unit that it has.");
}

TEST_F(DescribedChrono, NumberWithoutRoomIsRefused) {
  SaveNew(Kept<std::chrono::seconds>(40000s));
  EXPECT_EQ(RefusalOf([this] { static_cast<void>(Load<Kept<ShortSeconds>>()); }),
            "Class Kept, field m_Value: the stored value 40000 is none that it may have.");
}

namespace byHand {
class Timer {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x780010; }
  static cls_FieldHandle Field(int number) {
    static constexpr char const* Names[] = {"m_Timeout", "m_Started", "m_Delays", "m_Note"};
    return {number, cow_String(Names[number])};
  }
  Timer() = default;
  explicit Timer(cls_ReadVisitor const& visitor)
      : m_Timeout(visitor.Read(Field(0), 0LL)), m_Started(visitor.Read(Field(1), 0LL)),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(Field(0), m_Timeout);
    visitor.Write(Field(1), m_Started);
    cls_WriteVisitor const delays(visitor, Field(2), nullptr, nullptr);
    delays.StartWrite(cls_InternalListTypeId, m_DelaysUid);
    delays.CheckCollectionType(COLLECTION_LIST);
    std::unique_ptr<cls_WriteListPrim<long long>> const list(
        cls_MakeWriteList<long long>(*delays.Memento(), 1));
    for (long long const delay : m_Delays) list->Append(delay);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Timer>("Timer"_cow, 1, 1))
        .AddAttribute(Field(0), ATTR_LONGLONG, 1, COLLECTION_NONE)
        .AddAttribute(Field(1), ATTR_LONGLONG, 1, COLLECTION_NONE)
        .AddAttribute(Field(2), ATTR_LONGLONG, 1, COLLECTION_LIST);
    registrar.NotesOf(TypeId(), 1).Unit("m_Timeout", "ms").Unit("m_Started", "jiffy").Unit("m_Delays", "s");
  }
  long long m_Timeout = 0;
  long long m_Started = 0;
  std::vector<long long> m_Delays;

 private:
  cls_OwnUid m_DelaysUid;
  cls_OwnUid m_Uid;
};
} // namespace byHand

namespace described {
class Timer {
 public:
  KVL_PERSISTED(Timer, 0x780010, "Timer", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Timeout));
    field(KVL_F(m_Started), kvl::Unit("jiffy"));
    field(KVL_F(m_Delays));
  }
  Timer() = default;
  std::chrono::milliseconds m_Timeout{};
  std::chrono::sys_seconds m_Started;
  std::vector<std::chrono::seconds> m_Delays;
};

class LaterTimer {
 public:
  KVL_PERSISTED(LaterTimer, 0x780010, "Timer", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Limit), Was<"m_Timeout">(), As<std::chrono::milliseconds>(ToMilliseconds, ToMicroseconds),
          Unit("ms"));
    field(KVL_F(m_Started), Unit("jiffy"));
    field(KVL_F(m_Delays));
    field(KVL_F(m_Pause), Since(2, 5s));
    field(KVL_F(m_Ended), Since(2));
  }
  LaterTimer() = default;
  std::chrono::microseconds m_Limit{};
  std::chrono::sys_seconds m_Started;
  std::vector<std::chrono::seconds> m_Delays;
  std::chrono::seconds m_Pause{};
  std::chrono::sys_seconds m_Ended{9s};

 private:
  static constexpr std::chrono::milliseconds ToMilliseconds(std::chrono::microseconds value) {
    return std::chrono::floor<std::chrono::milliseconds>(value);
  }
  static constexpr std::chrono::microseconds ToMicroseconds(std::chrono::milliseconds value) { return value; }
};
} // namespace described

described::Timer MakeTimer() {
  described::Timer timer;
  timer.m_Timeout = -2500ms;
  timer.m_Started = std::chrono::sys_seconds(1'800'000'000s);
  timer.m_Delays = {1s, -1s, std::chrono::seconds(1LL << 40)};
  return timer;
}

TEST_F(DescribedChrono, BytesAreThoseOfTheClassByHand) {
  byHand::Timer byHand;
  byHand.m_Timeout = -2500;
  byHand.m_Started = 1'800'000'000;
  byHand.m_Delays = {1, -1, 1LL << 40};
  SaveNew(byHand, "hand.kvs");
  SaveNew(MakeTimer(), "described.kvs");
  EXPECT_EQ(DescribedContent(Path("described.kvs")), DescribedContent(Path("hand.kvs")));
  EXPECT_EQ(Load<byHand::Timer>("described.kvs")->m_Timeout, -2500);
}

TEST_F(DescribedChrono, VersionWithAnotherPeriod) {
  SaveNew(MakeTimer());
  SaveAgain<described::LaterTimer>();
  auto const timer = Load<described::LaterTimer>();
  EXPECT_EQ(timer->m_Limit, -2500ms);
  EXPECT_EQ(timer->m_Delays.at(2), std::chrono::seconds(1LL << 40));
  EXPECT_EQ(timer->m_Pause, 5s);
  EXPECT_EQ(timer->m_Ended, std::chrono::sys_seconds(9s));
}

} // namespace
