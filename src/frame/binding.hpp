#pragma once

// The libraries behind the stubs. The exported functions are declared in <nuv/nuv_services.h>.
//
// Nothing here takes a lock and nothing is ever unloaded. A handle goes from null to a value once and stays: of threads
// that race at the first call the first to store wins, and an open that fails stores nothing. So all stubs find their
// targets in one library, and no name is ever looked up through a null handle, which would search the whole process and
// find the stub itself.
//
// Which kernel library that is may depend on the race: a thread that finds the processor tier set and the handle still
// null opens the fallback while another opens the tier's own. That is accepted.

namespace nuv {

extern void* nuv_serv_dll_handle;     ///< kernel library
extern void* nuv_thread_handle;       ///< thread layer
extern void* nuv_serv_lapack_handle;  ///< library named by the configuration, for other libraries of the set
extern void* nuv_serv_oql_handle;     ///< sibling library, likewise

/// Opens the kernel library of a tier, and binds it unless one is bound. False if it can't be opened.
bool bind_kernels_of(int tier);

}  // namespace nuv
