 *
 * nuv for C: every routine by value and without workspace.
 *
 *     int info = nuv_dgesv(n, nrhs, a, lda, ipiv, b, ldb);
 *
 * Sizes and options are values, options by a letter in either case. Matrices are pointers to columns of a leading
 * dimension each. What the routine returns at other places than its arrays goes through pointers, in the order of its
 * arguments. Logical values are 0 or 1, complex ones are returned.
 *
 * The value of a routine is its info: 0; -k if argument k was bad, by the count of the routine's full list of arguments,
 * workspace among them, which is that of nuv_lapack.h; or what its comment tells. Workspace is allocated for the time of
 * the call. If there is no such memory, or a size does not fit its type, the value is NUV_NO_MEMORY and nothing was done;
 * that goes for routines, too, that have no info, and for norms, which are never negative. Whatever the comments say about
 * workspace and its length is taken care of; results that some routines leave there are lost, and there for those who call
 * the form with workspace, nuv_lapack_dgesvd.
 */

#ifndef NUV_H
#define NUV_H

#include "nuv_lapack.h"

/* There was no memory for the workspace. No routine has this info for a bad argument. */
#define NUV_NO_MEMORY (-1000)

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* Where these are declared to C++, a complex value comes back as C returns it. */
#if defined(__clang__) && defined(__cplusplus)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif
