#include "persist/backend/cls_AgentRequest.h"

#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"

// A request passes both of its operations on to its collection, with its index or key, arguments unchanged.

namespace {

class AgentRequest : public ::testing::Test {
 protected:
  AgentRequest() {
    m_Recorder.KeepAll();
    m_Recorder.Name(m_Uid, "U");
    m_Recorder.Name(&m_Object, "O");
  }

  /// Makes both calls of a request and compares what its collection saw.
  void ExpectPasses(cls_AgentRequest const& request, std::string const& collection,
                    std::string const& place) {
    cls_MementoWrite const* const plain = request.MakeWriteObj(0x990001, m_Uid);
    cls_MementoWrite const* const withPtr = request.MakeWriteObjWithPtr(0x990002, m_Uid, &m_Object);
    EXPECT_NE(plain, nullptr);
    EXPECT_NE(plain, withPtr);
    EXPECT_EQ(m_Recorder.TakeLines(),
              Lines({collection + ".MakeWriteObj(" + place + "uint 0x990001, uid U) = write1",
                     collection + ".MakeWriteObjWithPtr(" + place + "uint 0x990002, uid U, O) = write2"}));
  }

  Recorder m_Recorder;
  cls_Uid m_Uid;
  int m_Object = 0;
};

/// Implements what a request must, and no more.
struct PlainRequest : cls_AgentRequest {
  explicit PlainRequest(cls_MementoWrite* answer) : m_Answer(answer) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override {
    m_ClassId = classId;
    m_Uid = &uid;
    return m_Answer;
  }
  cls_MementoWrite* m_Answer;
  mutable unsigned int m_ClassId = 0;
  mutable cls_Uid const* m_Uid = nullptr;
};

} // namespace

TEST_F(AgentRequest, WithPtrForwardsToThePlainOperationByDefault) {
  RecordingMementoWrite memento(m_Recorder);
  PlainRequest const request(&memento);
  EXPECT_EQ(request.MakeWriteObjWithPtr(0x990001, m_Uid, &m_Object), &memento);
  EXPECT_EQ(request.m_ClassId, 0x990001U);
  EXPECT_EQ(request.m_Uid, &m_Uid);
}

TEST_F(AgentRequest, WithPtrPassesADeclinedObjectOn) {
  PlainRequest const request(nullptr);
  EXPECT_EQ(request.MakeWriteObjWithPtr(0x990001, m_Uid, &m_Object), nullptr);
}

TEST_F(AgentRequest, OfAListAgentPassesItsIndex) {
  RecordingListObjAgent agent(m_Recorder);
  ExpectPasses(cls_AgentRequestListObj(&agent, -3), "listObjAgent1", "int -3, ");
}

TEST_F(AgentRequest, OfAnIntKeyedAgentPassesItsKey) {
  RecordingMapAgent<int> agent(m_Recorder);
  ExpectPasses(cls_AgentRequestMapKey2Obj<int>(&agent, 12), "mapAgent1", "int 12, ");
}

TEST_F(AgentRequest, OfAStringKeyedAgentPassesItsKey) {
  RecordingMapAgent<cow_String> agent(m_Recorder);
  ExpectPasses(cls_AgentRequestMapKey2Obj<cow_String>(&agent, "left"_cow), "mapAgent1", R"(string "left", )");
}

TEST_F(AgentRequest, OfAStringKeyedAgentHoldsItsKeyByValue) {
  RecordingMapAgent<cow_String> agent(m_Recorder);
  cow_String key("left");
  cls_AgentRequestMapKey2Obj<cow_String> const request(&agent, key);
  key = "changed"_cow;
  ExpectPasses(request, "mapAgent1", R"(string "left", )");
}

TEST_F(AgentRequest, OfAListBuilderPassesTheArguments) {
  RecordingListObjWriter list(m_Recorder);
  ExpectPasses(cls_WriteRequestListObj(&list), "listObjWriter1", "");
}

TEST_F(AgentRequest, OfAnIntKeyedBuilderPassesItsKey) {
  RecordingMapObjWriter<int, cls_WriteMapInt2Obj> map(m_Recorder);
  ExpectPasses(cls_WriteRequestMapInt2Obj(&map, -12), "mapObjWriter1", "int -12, ");
}

TEST_F(AgentRequest, OfAStringKeyedBuilderPassesItsKey) {
  RecordingMapObjWriter<cow_String, cls_WriteMapString2Obj> map(m_Recorder);
  cow_String const key("left");
  ExpectPasses(cls_WriteRequestMapString2Obj(&map, key), "mapObjWriter1", R"(string "left", )");
}

TEST_F(AgentRequest, OfAStringKeyedBuilderRefersToTheCallersKey) {
  RecordingMapObjWriter<cow_String, cls_WriteMapString2Obj> map(m_Recorder);
  cow_String key("left");
  cls_WriteRequestMapString2Obj const request(&map, key);
  key = "changed"_cow;
  ExpectPasses(request, "mapObjWriter1", R"(string "changed", )");
}

// The request refers to the key, so a temporary key does not compile.
static_assert(!std::is_constructible_v<cls_WriteRequestMapString2Obj, cls_WriteMapString2Obj*, cow_String>);

TEST_F(AgentRequest, NeverDeletesItsCollection) {
  RecordingListObjAgent agent(m_Recorder);
  RecordingListObjWriter list(m_Recorder);
  {
    cls_AgentRequestListObj const ofAgent(&agent, 0);
    cls_WriteRequestListObj const ofBuilder(&list);
  }
  EXPECT_EQ(m_Recorder.Live(), Lines({"listObjAgent1", "listObjWriter1"}));
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}
