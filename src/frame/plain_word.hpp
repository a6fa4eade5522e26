#pragma once

// Words that threads share without a lock, on purpose: every writer stores the same value, or the race is accepted and
// told where the word is declared. Relaxed atomic accesses cost what plain ones cost and say so to the reader, the
// compiler and the thread sanitizer.

namespace nuv {

template <class Word>
Word plain_load(const Word& word) {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

template <class Word, class Value>
void plain_store(Word& word, Value value) {
  __atomic_store_n(&word, static_cast<Word>(value), __ATOMIC_RELAXED);
}

}  // namespace nuv
