#pragma once

#include <functional>

// How a long step reports its progress: called now and then with a share from 0 to 1. May be empty.
using heat_ProgressCall = std::function<void(double)>;
