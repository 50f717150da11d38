// What docs/using-stores.md shows of histories that do not fit into memory, on a solver of three nodes. Prints
// the history as another load finds it.

#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <kvlpersist/collections/cls_ArrayPrim.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/persist/adapters/cls_TypeAdapter.h>
#include <kvlpersist/store/sto_Store.h>

namespace {

constexpr int NodeCount = 3;

class Result {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x400001; }

  Result() = default;
  explicit Result(cls_ReadVisitor const& visitor)
      : m_History(cls_ReadVisitor(visitor, HistoryField())), m_Uid(visitor.GetUid()) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_History.DBWrite(cls_WriteVisitor(visitor, HistoryField(), nullptr, &m_History));
  }

  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Result>("Result"_cow, 1, 1))
        .AddAttribute(HistoryField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  }

  cls_ArrayPrimDouble m_History;

 private:
  static cls_FieldHandle HistoryField() { return {0, "m_History"_cow}; }

  cls_Uid m_Uid;
};

class Solver {
 public:
  std::vector<double> Step() {
    ++m_Step;
    return std::vector<double>(NodeCount, m_Step);
  }

 private:
  int m_Step = 0;
};

void WriteHistory(sto_Store& store, Solver& solver, Result& result, int stepCount) {
#include <blocks/docs/using-stores/histories-that-do-not-fit-into-memory-1>
}

struct Bar {
  void Show(std::int64_t done, std::int64_t total) { m_IsFull = done == total; }
  bool m_IsFull = false;
};

struct Button {
  [[nodiscard]] bool IsPressed() const { return m_IsPressed; }
  bool m_IsPressed = false;
};

void Copy(sto_Store& store, Bar& bar, Button const& stopButton) {
#include <blocks/docs/using-stores/progress-1>
}

void CopyAtSecondTry(sto_Store& store) {
  Bar bar;
  Copy(store, bar, {true});
  Copy(store, bar, {false});
  std::cout << (bar.m_IsFull ? "copied\n" : "not copied\n");
}

void List(sto_Store& store) {
#include <blocks/docs/using-stores/roots-copies-garbage-1>
}

void Run() {
  cls_ClassRegistrar registrar;
  Result::Declare(registrar);
  sto_Store store = sto_Store::Open("history.kvs", sto_Mode::Create, registrar);
  {
    Result result;
    Solver solver;
    store.Save("result", result);
    store.Save("analysis/step-1", Result());
    WriteHistory(store, solver, result, 2000);
  }
  std::unique_ptr<Result> const stored = store.Load<Result>("result");
  int const count = stored->m_History.Size();
  std::cout << count << " temperatures, the last " << stored->m_History.ConstGet(count - 1) << '\n';
  stored->m_History.Release();
  List(store);
  CopyAtSecondTry(store);
#include <blocks/docs/checking-a-store/checking-a-store-1>
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  Run();
  nex_finalize(modules);
}
