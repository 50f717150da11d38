#include "store/format/sto_CollectionFields.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// Object 5 with one part, to which `write` writes fields, as it is read.
template <class Write> void Build(sto_Record& record, Write write) {
  sto_RecordBuilder builder;
  builder.AddPart(cls_InternalListTypeId, 800, 5);
  write(builder);
  record.Stored().m_Bytes = builder.ValuesWithShape();
  std::string problem;
  ASSERT_TRUE(record.Decode(5, nullptr, problem)) << problem;
}

TEST(StoreCollectionFields, NumbersComeBack) {
  sto_Record record;
  Build(record, [](sto_RecordBuilder& builder) {
    sto_CollectionFields::SizeHint.Write(builder, -12);
    sto_CollectionFields::OldChange.Write(builder, 1LL << 40);
    sto_CollectionFields::OldChange.Write(builder, (1LL << 40) + 1); // replaces it
  });
  sto_Part const& part = record.Parts().front();
  EXPECT_EQ(part.m_Fields.size(), 2U);
  EXPECT_EQ(sto_CollectionFields::SizeHint.Read(part), -12);
  EXPECT_EQ(sto_CollectionFields::OldChange.Read(part), (1LL << 40) + 1);
  // The size of a blob has the number of a list's hint, and another type.
  EXPECT_FALSE(sto_CollectionFields::BlobBytes.Read(part).has_value());
}

TEST(StoreCollectionFields, PartWithoutTheFieldHasNone) {
  sto_Record record;
  Build(record, [](sto_RecordBuilder&) {});
  EXPECT_FALSE(sto_CollectionFields::SizeHint.Read(record.Parts().front()).has_value());
  EXPECT_FALSE(sto_CollectionFields::OldChange.Read(record.Parts().front()).has_value());
}

TEST(StoreCollectionFields, NumbersAreThoseOfTheStoredForm) {
  EXPECT_EQ(sto_CollectionFields::SizeHint.m_Number, 0);
  EXPECT_EQ(sto_CollectionFields::BlobBytes.m_Number, 0);
  EXPECT_EQ(sto_CollectionFields::OldChange.m_Number, 1);
  for (int number = -1; number < 4; ++number)
    EXPECT_EQ(sto_CollectionFields::IsNumber(number), number == 0 || number == 1) << number;
}

} // namespace
