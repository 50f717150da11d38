// Vectors of bytes are blobs: a byte takes one byte in the store.

#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "persist/identity/cls_OwnUid.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

using Octets = std::vector<unsigned char>;
using StdBytes = std::vector<std::byte>;

/// Bytes that do not become fewer when they are compressed.
Octets MixedOctets(std::size_t count) {
  Octets octets(count);
  unsigned int state = 1;
  for (unsigned char& octet : octets) {
    state = state * 1664525U + 1013904223U;
    octet = static_cast<unsigned char>(state >> 24);
  }
  return octets;
}

struct Signature {
  KVL_VALUE(Signature)
  static constexpr void Describe(auto& field) {
    field(KVL_F(name));
    field(KVL_F(key));
  }
  friend bool operator==(Signature const& a, Signature const& b) {
    return a.name == b.name && a.key == b.key;
  }
  std::string name;
  StdBytes key;
};

class DescribedBlobs : public DescribedRoundTrip {
 protected:
  template <class As, class T> std::string LoadingRefused(T const& saved) {
    std::string const name = std::to_string(m_Names++) + ".kvs";
    SaveNew(saved, name);
    return RefusalOf([&] { static_cast<void>(Load<As>(name)); });
  }

 private:
  int m_Names = 0;
};

TEST_F(DescribedBlobs, ComeBack) {
  StdBytes const some{std::byte{0}, std::byte{255}};
  Check<Octets>({{}, {7}, {0, 255}, MixedOctets(16384), MixedOctets(300'000)});
  Check<StdBytes>({{}, some});
  Check<std::optional<Octets>>({std::nullopt, Octets(), Octets{1, 2}});
  Check<std::vector<Octets>>({{}, {{}}, {{1, 2}, {}, {3}, MixedOctets(100'000)}});
  Check<std::map<std::string, StdBytes>>({{}, {{"a", {}}, {"b", some}}});
  Check<Signature>({{}, {"one", some}});
  Check<std::vector<Signature>>({{}, {{"one", some}, {"two", {}}}});
}

TEST_F(DescribedBlobs, ByteTakesOneByte) {
  SaveNew(Kept<Octets>(MixedOctets(1'000'000)), "alone.kvs");
  SaveNew(Kept<std::vector<Octets>>({MixedOctets(500'000), MixedOctets(500'000)}), "list.kvs");
  for (char const* const name : {"alone.kvs", "list.kvs"})
    EXPECT_NEAR(std::stod(SqlFile(Path(name)).Texts("SELECT sum(length(data)) FROM block").at(0)), 1e6, 1e4);
}

namespace byHand {
class Photo {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x780050; }
  Photo() = default;
  explicit Photo(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    cls_Uid uid;
    cls_BlobReader const reader(visitor, Field(), uid);
    m_PixelsUid = uid;
    m_Pixels.resize(static_cast<std::size_t>(reader.Agent().Size()));
    reader.Agent().Read(0, reader.Agent().Size(), m_Pixels.data());
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_BlobWriter const writer(visitor, Field(), m_PixelsUid);
    writer.Agent().Write(0, static_cast<long long>(m_Pixels.size()), m_Pixels.data());
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Photo>("Photo"_cow, 1, 1))
        .AddAttribute(Field(), ATTR_OBJECT, 1, COLLECTION_NONE);
  }
  Octets m_Pixels;

 private:
  static cls_FieldHandle Field() { return {0, "m_Pixels"_cow}; }
  cls_OwnUid m_PixelsUid;
  cls_OwnUid m_Uid;
};
} // namespace byHand

namespace described {
class Photo {
 public:
  KVL_PERSISTED(Photo, 0x780050, "Photo", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Pixels)); }
  Photo() = default;
  Octets m_Pixels;
};
} // namespace described

TEST_F(DescribedBlobs, BytesAreThoseOfTheClassByHand) {
  byHand::Photo byHand;
  described::Photo described;
  byHand.m_Pixels = described.m_Pixels = MixedOctets(40'000);
  SaveNew(byHand, "hand.kvs");
  SaveNew(described, "described.kvs");
  EXPECT_EQ(DescribedContent(Path("described.kvs")), DescribedContent(Path("hand.kvs")));
  EXPECT_EQ(Load<described::Photo>("hand.kvs")->m_Pixels, byHand.m_Pixels);
  EXPECT_EQ(Load<byHand::Photo>("described.kvs")->m_Pixels, byHand.m_Pixels);
}

TEST_F(DescribedBlobs, CopyHasBytesOfItsOwn) {
  auto first = std::make_shared<described::Photo>();
  first->m_Pixels = {1, 2, 3};
  auto const second = std::make_shared<described::Photo>(*first);
  second->m_Pixels.push_back(4);
  using Photos = std::vector<std::shared_ptr<described::Photo>>;
  SaveNew(Kept<Photos>({first, second}));
  auto const loaded = Load<Kept<Photos>>();
  EXPECT_EQ(loaded->m_Value.at(0)->m_Pixels, (Octets{1, 2, 3}));
  EXPECT_EQ(loaded->m_Value.at(1)->m_Pixels, (Octets{1, 2, 3, 4}));
}

/// A second version whose member is another type.
template <class T> class KeptLater {
 public:
  KVL_PERSISTED(KeptLater, 0x780001, "Kept", 2)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Value)); }
  KeptLater() = default;
  T m_Value{};
};

/// One that takes the numbers of the first.
class TakesNumbers {
 public:
  KVL_PERSISTED(TakesNumbers, 0x780001, "Kept", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Bytes), Since(2));
    field("m_Value"_field, Dropped(&TakesNumbers::TakeNumbers));
  }
  TakesNumbers() = default;
  Octets m_Bytes;

 private:
  void TakeNumbers(std::deque<unsigned char> const& numbers) {
    m_Bytes.assign(numbers.begin(), numbers.end());
  }
};

TEST_F(DescribedBlobs, OlderListOfNumbersIsRefusedOrTaken) {
  Kept<std::deque<unsigned char>> const numbers({1, 2, 255});
  std::string const refusal = LoadingRefused<KeptLater<Octets>>(numbers);
  EXPECT_NE(refusal.find("m_Value"), std::string::npos) << refusal;
  EXPECT_NE(refusal.find("Kept"), std::string::npos) << refusal;
  std::string const inList = LoadingRefused<KeptLater<std::vector<Octets>>>(
      Kept<std::vector<std::deque<unsigned char>>>({{1, 2}, {3}}));
  EXPECT_NE(inList.find("m_Value.values"), std::string::npos) << inList;
  SaveNew(numbers);
  EXPECT_EQ(Load<TakesNumbers>()->m_Bytes, (Octets{1, 2, 255}));
}

TEST_F(DescribedBlobs, WhatIsNoBlobIsRefused) {
  Kept<std::shared_ptr<described::Photo>> const object(std::make_shared<described::Photo>());
  EXPECT_EQ(LoadingRefused<Kept<Octets>>(object),
            "Class Kept, field m_Value: what is stored is an object, and no blob.");
}

/// What a list of bytes is stored as, so that a test can store what is none.
struct RawOctets {
  KVL_VALUE(RawOctets)
  static constexpr void Describe(auto& field) {
    field(KVL_F(lengths));
    field(KVL_F(values));
  }
  std::vector<int> lengths;
  Octets values;
};

TEST_F(DescribedBlobs, LengthsThatDoNotFitAreRefused) {
  auto const refusal = [this](RawOctets const& raw) {
    return LoadingRefused<Kept<std::vector<Octets>>>(Kept<RawOctets>(raw));
  };
  EXPECT_EQ(refusal({{1, 2}, {1, 2, 3}}), "");
  EXPECT_EQ(refusal({{1, 1}, {1, 2, 3}}),
            "Class Kept, field m_Value.values: the stored blob has more bytes than the lengths say.");
  EXPECT_EQ(refusal({{1, 3}, {1, 2, 3}}),
            "Class Kept, field m_Value: the stored value 3 is none that it may have.");
  EXPECT_EQ(refusal({{-1, 4}, {1, 2, 3}}),
            "Class Kept, field m_Value: the stored value -1 is none that it may have.");
}

} // namespace
