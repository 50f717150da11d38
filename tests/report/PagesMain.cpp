// Writes the reports that the test in a browser opens, and measures reports.
//
//     kvlstore_report_pages FOLDER
//         example.html: some of everything, hostile names, and a damaged object; many.html: 100,000 objects
//     kvlstore_report_pages FOLDER OBJECTS
//         many.html: of so many objects; prints how long it took to write

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>

#include "tests/support/store/StoreFile.h"
#include "tools/kvlstore/report/kvs_Report.h"
#include "tools/kvlstore/report/kvs_ReportClasses.h"

namespace {

using namespace report_test;

std::shared_ptr<Box> ExampleBox() {
  auto box = std::make_shared<Box>();
  box->m_Name = "box of samples";
  box->m_First = box->m_Second = std::make_shared<Bolt>("shared bolt");
  for (int i = 0; i < 450; ++i) box->m_Bolts.push_back(std::make_shared<Bolt>("bolt " + std::to_string(i)));
  for (int i = 0; i < 20000; ++i) box->m_Curve.push_back(50 * std::sin(i * 0.001));
  box->m_Curve[12345] = 400;
  box->m_Texts = {"a text", "</script><script>document.title = 'taken'</script>", "\x1b[31m \xFF"};
  box->m_Counts = {{"left", 1}, {"<img src=x onerror=alert(1)>", 2}};
  box->m_Bytes = {1, 2, 3};
  return box;
}

std::shared_ptr<Link> Chain(int length) {
  std::shared_ptr<Link> first;
  for (int number = length; number > 0; --number) {
    auto link = std::make_shared<Link>();
    link->m_Number = number;
    link->m_Next = std::exchange(first, link);
  }
  return first;
}

void WriteExample(std::string const& folder, cls_ClassRegistrar const& classes) {
  std::string const file = folder + "/example.kvs";
  {
    sto_Options options;
    options.m_Program = "solver 4.2";
    sto_Store store = sto_Store::Open(file, sto_Mode::Create, classes, options);
    store.Save("samples/<b>box</b>", *ExampleBox());
    store.Save("heat", Heat());
    store.Save("chain", *Chain(300));
    store.Save("bolt", Bolt("damaged"));
  }
  SqlFile sql(file);
  sql.Unpack();
  sql.Run("UPDATE object SET record = x'0011223344556677' WHERE id = (SELECT max(id) FROM object)");
}

void WriteMany(std::string const& folder, cls_ClassRegistrar const& classes, int objects) {
  sto_Store store = sto_Store::Open(folder + "/many.kvs", sto_Mode::Create, classes);
  constexpr int InBox = 9994; // with the box and its collections 10,000
  for (int i = 0; i < objects / 10000; ++i) {
    Box box;
    box.m_Name = "box " + std::to_string(i);
    for (int k = 0; k < InBox; ++k)
      box.m_Bolts.push_back(std::make_shared<Bolt>("bolt " + std::to_string(i * InBox + k)));
    store.Save("boxes/" + std::to_string(i), box);
  }
}

void WriteReport(std::string const& folder, std::string const& name) {
  cls_ClassRegistrar const none;
  sto_Store store = sto_Store::Open(folder + '/' + name + ".kvs", sto_Mode::ReadOnly, none);
  std::ofstream out(folder + '/' + name + ".html", std::ios::binary);
  kvs_WriteReport(store, out);
}

int Measure(std::string const& folder, cls_ClassRegistrar const& classes, int objects) {
  WriteMany(folder, classes, objects);
  auto const start = std::chrono::steady_clock::now();
  WriteReport(folder, "many");
  std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
  std::cout << objects << " objects: " << seconds.count() << " s, "
            << std::filesystem::file_size(folder + "/many.html") / 1000 << " kB\n";
  return 0;
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) return 2;
  cls_ClassRegistrar classes;
  DeclareAll(classes);
  if (argc == 3) return Measure(argv[1], classes, std::stoi(argv[2]));
  WriteExample(argv[1], classes);
  WriteMany(argv[1], classes, 100000);
  WriteReport(argv[1], "example");
  WriteReport(argv[1], "many");
  return 0;
}
