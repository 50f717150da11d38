#include "module/cls_StartUpLock.h"

#include <mutex>

namespace {
constinit std::recursive_mutex s_Mutex;
}

cls_StartUpLock::cls_StartUpLock() {
  s_Mutex.lock();
}

cls_StartUpLock::~cls_StartUpLock() {
  s_Mutex.unlock();
}
