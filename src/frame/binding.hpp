#pragma once

// The libraries behind the stubs. The exported functions are declared in <nuv/nuv_services.h>.
//
// Nothing here takes a lock and nothing is ever unloaded. A handle goes from null to a value once. Threads that race at
// the first call store the same handle, with one accepted exception: a thread that finds the processor tier set and the
// handle still null opens the fallback library while another opens the tier's own, and the last store stays.

namespace nuv {

extern void* nuv_serv_dll_handle;     ///< kernel library
extern void* nuv_thread_handle;       ///< thread layer
extern void* nuv_serv_lapack_handle;  ///< library named by the configuration, for other libraries of the set
extern void* nuv_serv_oql_handle;     ///< sibling library, likewise

}  // namespace nuv
