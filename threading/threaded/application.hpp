#pragma once

// What the program around the layer does with threads of its own.

namespace nuv::threading {

/// True inside a parallel region of the program's OpenMP, whichever runtime of it the process has.
bool in_parallel_region();

/// Threads that the program's OpenMP would use, or 0 if the process has none.
int threads_of_openmp();

/// Processors that the process may run on, at least 1.
int processors();

/// Counts the libraries that the process has loaded so far.
unsigned long long libraries_loaded();

}  // namespace nuv::threading
