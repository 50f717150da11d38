#include "examples/truss/trs_Model.h"

void trs_Declare(cls_ClassRegistrar& registrar) {
  trs_Truss::Declare(registrar);
  trs_Spring::Declare(registrar); // only behind pointers to trs_Member
  trs_Cable::Declare(registrar);
  trs_Run::Declare(registrar);
}
