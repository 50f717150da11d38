#include "store/format/sto_ChunkDirectory.h"

#include <gtest/gtest.h>
