// The example of docs/described-classes.md: saves a frame, reads it again, and reads a tank that an older program has
// written.

#include <iostream>
#include <map>

#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/store/sto_Store.h>

#include <blocks/docs/described-classes/described-classes-1>

#include <blocks/docs/described-classes/base-classes-1>

#include <blocks/docs/described-classes/base-classes-2>

#include <blocks/docs/described-classes/what-a-member-becomes-1>

#include <blocks/docs/described-classes/values-1>

#include <blocks/docs/described-classes/single-fields-by-hand-1>

namespace before {
#include <blocks/docs/described-classes/when-a-class-changes-1>
} // namespace before

#include <blocks/docs/described-classes/when-a-class-changes-2>

namespace {

void SaveMembers() {
  cls_ClassRegistrar registrar;
  Bar::Declare(registrar);
  Spring::Declare(registrar);
  sto_Store store = sto_Store::Open("frame.kvs", sto_Mode::Create, registrar, {.m_Strict = true});
  Bar bar(10);
  bar.m_Name = "left";
  bar.m_Ends = {std::make_shared<Joint>(1, 2), std::make_shared<Joint>(3, 4)};
  Spring spring(5.5);
  spring.m_Name = "right";
  spring.m_Ends = {std::make_shared<Joint>(5, 6)};
  store.Save("bar", bar);
  store.Save("spring", spring);
  store.Close();
}

void PrintMembers() {
  cls_ClassRegistrar registrar;
  Bar::Declare(registrar);
  Spring::Declare(registrar);
  sto_Store store = sto_Store::Open("frame.kvs", sto_Mode::ReadOnly, registrar, {.m_Strict = true});
  for (char const* const root : {"bar", "spring"}) {
    std::unique_ptr<Member> const member = store.Load<Member>(root);
    std::cout << member->m_Name << ' ' << member->Stiffness() << ' ' << member->m_Ends.back()->X() << '\n';
  }
}

void SavePlate() {
  cls_ClassRegistrar registrar;
  Plate::Declare(registrar);
  sto_Store store = sto_Store::Open("plate.kvs", sto_Mode::Create, registrar, {.m_Strict = true});
  Plate plate;
  plate.m_Outline = {{0, 0}, {100, 0}, {0, 50}};
  plate.m_Holes = {{"left", {10, 10}}, {"right", {70, 10}}};
  store.Save("plate", plate);
  store.Close();
}

void PrintPlate() {
  cls_ClassRegistrar registrar;
  Plate::Declare(registrar);
  sto_Store store = sto_Store::Open("plate.kvs", sto_Mode::ReadOnly, registrar, {.m_Strict = true});
  std::unique_ptr<Plate> const plate = store.Load<Plate>("plate");
  std::cout << plate->m_Outline.at(1).x << ' ' << plate->m_Holes.at("right").x << '\n';
}

void SaveRecordAndGauge() {
  cls_ClassRegistrar registrar;
  Record::Declare(registrar);
  Gauge::Declare(registrar);
  sto_Store store = sto_Store::Open("record.kvs", sto_Mode::Create, registrar, {.m_Strict = true});
  Record record;
  record.m_Axes[2][1] = 0.5;
  for (int i = 0; i < 5000; ++i) record.m_Values.Append(i);
  store.Save("record", record);
  Gauge gauge;
  gauge.m_Count = 7;
  gauge.m_Values = {1.5, 2.5};
  store.Save("gauge", gauge);
  store.Close();
}

void PrintRecordAndGauge() {
  cls_ClassRegistrar registrar;
  Record::Declare(registrar);
  Gauge::Declare(registrar);
  sto_Store store = sto_Store::Open("record.kvs", sto_Mode::ReadOnly, registrar, {.m_Strict = true});
  std::unique_ptr<Record> const record = store.Load<Record>("record");
  std::cout << record->m_Interval.count() << " ms " << record->m_Axes[2][1] << ' '
            << record->m_Values.ConstGet(4999) << '\n';
  std::unique_ptr<Gauge> const gauge = store.Load<Gauge>("gauge");
  std::cout << gauge->m_Count << ' ' << gauge->m_Limit.has_value() << ' ' << gauge->m_Values.at(1) << '\n';
}

void SaveOldTank() {
  cls_ClassRegistrar registrar;
  before::Tank::Declare(registrar);
  sto_Store store = sto_Store::Open("tank.kvs", sto_Mode::Create, registrar, {.m_Strict = true});
  store.Save("tank", before::Tank());
  store.Close();
}

void PrintTank() {
  cls_ClassRegistrar registrar;
  Tank::Declare(registrar);
  sto_Store store = sto_Store::Open("tank.kvs", sto_Mode::ReadOnly, registrar, {.m_Strict = true});
  std::unique_ptr<Tank> const tank = store.Load<Tank>("tank");
  std::cout << tank->m_Radius << " mm, " << tank->m_Pressure << " bar of " << tank->m_Medium << '\n';
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  SaveMembers();
  PrintMembers();
  SavePlate();
  PrintPlate();
  SaveRecordAndGauge();
  PrintRecordAndGauge();
  SaveOldTank();
  PrintTank();
  nex_finalize(modules);
}
