#pragma once

/// Held by every start and stop of the library, so that plug-ins may start and stop it on threads of their
/// own. Recursive: starts call each other, and what a stop destroys may run code of others.
///
/// Thread rule: from any thread. REQUIRES: nothing under it calls the dynamic loader, which has a lock of its
/// own while it runs the constructors of a plug-in; these may start the library.
class cls_StartUpLock {
 public:
  cls_StartUpLock();
  ~cls_StartUpLock();
  cls_StartUpLock(cls_StartUpLock const&) = delete;
  cls_StartUpLock& operator=(cls_StartUpLock const&) = delete;
};
