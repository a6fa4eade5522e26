#pragma once

// The threads of the layer: helpers that sleep until there is work to share, take the next piece of it as they come
// free, and go back to sleep.

namespace nuv::threading {

/// Most threads that work together, the caller among them.
inline constexpr int most_threads = 256;

using Piece = void (*)(void* context, int index);

/// Takes the helpers for the calling thread; false if another thread has them.
bool take_helpers();

/// Gives back what take_helpers took, and tells the longest time that the thread waited for a helper, or probably did
/// since they had one processor between them, in microseconds.
int release_helpers();

/// Keeps the helpers, which the calling thread has, from all work until they are released.
void rest_helpers();

/// True if the calling thread has the helpers and they are neither at work nor kept from it.
bool helpers_are_ready();

/// True if no thread has them.
bool helpers_are_free();

/// Runs the pieces on the calling thread, which has the helpers, and on threads - 1 of them. Where the system gives no
/// more threads, those that are there do the work.
void share_pieces(int threads, int pieces, Piece piece, void* context);

}  // namespace nuv::threading
