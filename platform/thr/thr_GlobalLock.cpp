#include "platform/thr/thr_GlobalLock.h"

thr_GlobalLock& omi_Singleton<thr_GlobalLock>::Instance() {
  // Never destroyed: threads may still be ending while the process exits.
  static thr_GlobalLock& lock = *new thr_GlobalLock;
  return lock;
}

thr_GlobalLock::Guard::Guard() {
  omi_Singleton<thr_GlobalLock>::Instance().Lock();
}
thr_GlobalLock::Guard::~Guard() {
  omi_Singleton<thr_GlobalLock>::Instance().Unlock();
}
