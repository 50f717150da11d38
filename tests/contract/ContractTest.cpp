#include "tests/contract/ContractTest.h"

#include <unistd.h>

#include <iostream>

namespace {

/// The back end of the running test.
ContractBackEnd const* s_BackEnd = nullptr;

} // namespace

std::vector<ContractSetting> HugeContractSettings() {
  std::vector<ContractSetting> settings = ContractSettings();
  std::erase_if(settings, [](ContractSetting const& setting) { return !setting.m_TakesHuge; });
  return settings;
}

std::string MessageOf(ContractError kind, HeldFunction<> const& act) {
  try {
    act();
  } catch (nex_Exception& exception) {
    std::string text(exception.AsString().View());
    if (s_BackEnd != nullptr && s_BackEnd->Abilities().m_TellsApart.contains(kind)) {
      EXPECT_EQ(static_cast<int>(s_BackEnd->Classify(exception)), static_cast<int>(kind)) << text;
    }
    return text;
  } catch (std::exception const& exception) {
    ADD_FAILURE() << "raised an exception that is not of the nex_ family: " << exception.what();
    return {};
  }
  ADD_FAILURE() << "raised nothing";
  return {};
}

ContractTest::ContractTest() {
  std::string name = (std::filesystem::temp_directory_path() / "kvl-contract-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
  m_Folder = name;
  m_BackEnd = GetParam().m_Make(name);
  if (m_BackEnd == nullptr) throw std::runtime_error("the setting makes no back end");
  m_Abilities = m_BackEnd->Abilities();
  s_BackEnd = m_BackEnd.get();
}

ContractTest::~ContractTest() {
  m_Kept.clear();
  m_Session.reset();
  s_BackEnd = nullptr;
  m_BackEnd.reset();
  std::error_code ignored;
  std::filesystem::remove_all(m_Folder, ignored);
}

std::unique_ptr<ContractSession> ContractTest::Open(std::string const& storage, ContractMode mode) {
  std::unique_ptr<ContractSession> session;
  Noting([&] { session = m_BackEnd->Open(storage, mode, *m_Classes); });
  if (session == nullptr) throw std::runtime_error("the back end opens no session");
  return session;
}

ContractSession& ContractTest::Session() {
  if (m_Session == nullptr) {
    m_Session = Open("main", m_NextMode);
    m_NextMode = ContractMode::ReadWrite;
  }
  return *m_Session;
}

void ContractTest::Step() {
  if (GetParam().m_IsReopened) Reopen();
}

void ContractTest::Reopen(ContractMode mode) {
  EndSession();
  m_NextMode = mode;
}

void ContractTest::ReopenWith(cls_ClassRegistrar const& registrar) {
  Reopen();
  m_Classes = &registrar;
}

void ContractTest::ReopenIfPossible() {
  if (Can().m_Reopens) Reopen();
}

void ContractTest::EndSession() {
  static_cast<void>(Session());
  m_Session.reset();
}

std::unique_ptr<ContractSession> ContractTest::SecondSession() {
  return Open("main", ContractMode::ReadWrite);
}

std::unique_ptr<ContractSession> ContractTest::OtherStorage(std::string const& name, ContractMode mode) {
  return Open(name, mode);
}

void ContractTest::TearDown() {
  if (HasFailure() && !m_LastRaised.empty()) std::cerr << "raised last: " << m_LastRaised << "\n";
}

template <class Act> void ContractTest::Noting(Act act) {
  try {
    act();
  } catch (nex_Exception& exception) {
    m_LastRaised = exception.AsString().Chars();
    throw;
  }
}

void ContractTest::Save(ContractSession& session, Scripted const& object, std::string_view root) {
  bool isWritten = false;
  Scripted noting([&](cls_WriteVisitor const& visitor) {
    isWritten = true;
    if (object.m_Write) object.m_Write(visitor);
  });
  noting.m_Uid = object.m_Uid;
  session.Save(std::string(root), noting);
  EXPECT_TRUE(isWritten) << "the object was not asked for its fields";
}

void ContractTest::Load(ContractSession& session, ReadFields const& read, std::string_view root) {
  bool isRead = false;
  session.Load(std::string(root), [&](cls_ReadVisitor const& visitor) {
    isRead = true;
    static_cast<void>(MementoOf(visitor));
    read(visitor);
  });
  EXPECT_TRUE(isRead) << "the object was not read";
}

void ContractTest::Write(WriteFields write, std::string_view root) {
  Noting([&] {
    Save(Session(), Scripted(std::move(write)), root);
    m_Written.emplace(root);
    m_Kept.clear();
  });
  Step();
}

void ContractTest::Rewrite(WriteFields write, std::string_view root) {
  Noting([&] {
    Scripted object(std::move(write));
    Load(
        Session(), [&](cls_ReadVisitor const& visitor) { object.m_Uid = visitor.GetUid(); }, root);
    Save(Session(), object, root);
  });
  Step();
}

void ContractTest::WriteOrRewrite(WriteFields write, std::string_view root) {
  HasWritten(root) ? Rewrite(std::move(write), root) : Write(std::move(write), root);
}

void ContractTest::Read(ReadFields const& read, std::string_view root) {
  Noting([&] { Load(Session(), read, root); });
}

void ContractTest::ExpectObjects(std::int64_t count, char const* why) {
  ExpectObjects(Session(), count, why);
}

void ContractTest::ExpectObjects(ContractSession& session, std::int64_t count, char const* why) {
  if (!Can().m_CountsObjects) return;
  EXPECT_EQ(session.ObjectCount(), count) << why;
}

void ContractTest::ExpectNoRoot(std::string_view root) {
  ExpectNoRoot(Session(), root);
}

void ContractTest::ExpectNoRoot(ContractSession& session, std::string_view root) {
  EXPECT_FALSE(Can().m_NamesRoots && session.HasRoot(std::string(root)));
  std::string const message = MessageOf(ContractError::NotFound, [&] {
    session.Load(std::string(root), [](cls_ReadVisitor const&) { ADD_FAILURE() << "the root is there"; });
  });
  EXPECT_TRUE(Contains(message, root)) << message;
}
