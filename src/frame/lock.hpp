#pragma once

// The library's one lock, which guards the workspace pool. nuv_serv_lock and nuv_serv_unlock, declared in
// <nuv/nuv_services.h>, hand it to the host.
//
// A fork waits until it has the lock, so that the child finds the pool as one request left it and the lock free. Where
// the forking thread has the lock itself, it keeps it in parent and child.

#include <nuv/nuv_services.h>
#include <pthread.h>

namespace nuv {

extern pthread_mutex_t mutex;

/// Holds the lock in a scope.
class Lock {
 public:
  Lock() { nuv_serv_lock(); }
  ~Lock() { nuv_serv_unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
};

}  // namespace nuv
