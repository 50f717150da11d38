#include "examples/truss/trs_Bar.h"
#include "examples/truss/trs_Program.h"

int main(int argc, char** argv) {
  return trs_Main(argc, argv, &trs_MakeBarOf<trs_Bar>, &trs_Bar::Declare);
}
