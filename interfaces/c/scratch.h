/* Workspace for the calls by value.
 *
 * Memory comes from i_malloc, where the library's pool has its own from, and which a host may set: the pool itself takes
 * sizes of 32 bits, and asks i_malloc alike for what is too large to keep. */

#ifndef NUV_INTERFACES_C_SCRATCH_H
#define NUV_INTERFACES_C_SCRATCH_H

#include <float.h>
#include <limits.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <nuv/nuv.h>
#include <nuv/nuv_services.h>

/* Sizes are computed in double precision, which holds every number of elements that any memory has, and overflows
 * nowhere. */

static inline double size_max(double x, double y) {
  return x < y ? y : x;
}

static inline double size_min(double x, double y) {
  return y < x ? y : x;
}

/* The least l with 2^l >= x. */
static inline double size_log2(double x) {
  double l = 0;
  for (double power = 1; power < x; power *= 2) ++l;
  return l;
}

/* Whether an option is an upper-case letter in either case. */
static inline int is(char option, char letter) {
  return option == letter || option == letter - 'A' + 'a';
}

/* A size as an argument of a routine, at least one; what no int holds is refused before it gets there. */
static inline int as_int(double size) {
  return size < 1 ? 1 : size < INT_MAX ? (int)size : INT_MAX;
}

/* An answer to the question for a size, if a routine can be told of so much. */
static inline double answered(double size) {
  return size <= INT_MAX ? size : DBL_MAX;
}

/* Memory for so many elements, one at least, or null. */
static inline void* scratch(double elements, size_t element) {
  elements = size_max(elements, 1);
  return elements * (double)element < (double)PTRDIFF_MAX ? i_malloc((size_t)elements * element) : NULL;
}

static inline void give_back(void* memory) {
  if (memory != NULL) i_free(memory);
}

#endif
