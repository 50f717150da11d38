#include "metadata/cls_ClassNotes.h"

#include <gtest/gtest.h>

#include "metadata/cls_ClassRegistrar.h"

namespace {

TEST(ClassNotes, EverythingThatIsSaidIsThere) {
  cls_ClassNotes notes;
  notes.Note("source", "catalogue")
      .Unit("m_Length", "mm")
      .Default("m_Length", "0.5")
      .Enumerator("m_Head", "round", 0)
      .Enumerator("m_Head", "hexagonal", -3)
      .Note("m_Head", "drawing", "A-7");
  EXPECT_EQ(notes.Notes(), (cls_ClassNotes::Texts{{"source", "catalogue"}}));
  ASSERT_NE(notes.Find("m_Length"), nullptr);
  EXPECT_EQ(notes.Find("m_Length")->m_Unit, "mm");
  EXPECT_EQ(notes.Find("m_Length")->m_Default, "0.5");
  EXPECT_TRUE(notes.Find("m_Length")->m_Enumerators.empty());
  EXPECT_EQ(notes.Find("m_Head")->m_Enumerators,
            (cls_ClassNotes::Enumerators{{"hexagonal", -3}, {"round", 0}}));
  EXPECT_EQ(notes.Find("m_Head")->m_Notes, (cls_ClassNotes::Texts{{"drawing", "A-7"}}));
  EXPECT_FALSE(notes.Find("m_Head")->m_Default);
  EXPECT_EQ(notes.Find("m_Other"), nullptr);
  EXPECT_EQ(notes.OfAttributes().size(), 2U);
}

TEST(ClassNotes, CompressionIsSaidOrLeftToTheStore) {
  cls_ClassNotes notes;
  notes.Compress("m_History").Compress("m_Ids", false).Unit("m_Other", "mm");
  EXPECT_EQ(notes.Find("m_History")->m_Compress, true);
  EXPECT_EQ(notes.Find("m_Ids")->m_Compress, false);
  EXPECT_FALSE(notes.Find("m_Other")->m_Compress.has_value());
}

TEST(ClassNotes, LaterWordReplacesAnEarlierOne) {
  cls_ClassNotes notes;
  notes.Unit("m_Length", "mm").Unit("m_Length", "m").Note("a", "1").Note("a", "2");
  EXPECT_EQ(notes.Find("m_Length")->m_Unit, "m");
  EXPECT_EQ(notes.Notes().at("a"), "2");
}

TEST(ClassNotes, RegistrarKeepsThoseOfEachClassVersion) {
  cls_ClassRegistrar registrar;
  EXPECT_EQ(registrar.FindNotes(0x650001, 1), nullptr);
  cls_ClassNotes& first = registrar.NotesOf(0x650001, 1);
  first.Note("a", "1");
  registrar.NotesOf(0x650001, 2).Note("a", "2");
  registrar.NotesOf(0x650002, 1);
  EXPECT_EQ(&registrar.NotesOf(0x650001, 1), &first);
  EXPECT_EQ(registrar.FindNotes(0x650001, 1), &first);
  EXPECT_EQ(registrar.FindNotes(0x650001, 2)->Notes().at("a"), "2");
  EXPECT_TRUE(registrar.FindNotes(0x650002, 1)->Notes().empty());
  EXPECT_EQ(registrar.FindNotes(0x650001, 3), nullptr);
  EXPECT_FALSE(registrar.ClassIsPresent(0x650001)); // a note registers no class
}

} // namespace
