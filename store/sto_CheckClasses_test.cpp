#include "store/sto_CheckClasses.h"

#include <gtest/gtest.h>
