/* Solves A x = b by UMFPACK, A from a Matrix Market file in coordinates and x known, and prints the scaled residual
 *
 *     max |A x - b| / (||A|| max |x| n eps)     in the norm of row sums
 *
 * and what is mapped into the process. */
#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <umfpack.h>

static void fail(const char* what) {
  fprintf(stderr, "sparse_solve: %s\n", what);
  exit(1);
}

static void* room(size_t count, size_t size) {
  void* memory = calloc(count, size);
  if (memory == NULL) fail("memory");
  return memory;
}

static void show_maps(void) {
  FILE* maps = fopen("/proc/self/maps", "r");
  char line[4096];
  while (maps != NULL && fgets(line, sizeof line, maps) != NULL) fputs(line, stdout);
}

int main(int argc, char** argv) {
  FILE* file = argc == 2 ? fopen(argv[1], "r") : NULL;
  if (file == NULL) fail("no file");
  char line[4096] = "%";
  while (line[0] == '%') {
    if (fgets(line, sizeof line, file) == NULL) fail("no size");
  }
  int n, columns, count;
  if (sscanf(line, "%d %d %d", &n, &columns, &count) != 3 || n != columns) fail("not a square matrix in coordinates");
  int *row = room(count, sizeof(int)), *column = room(count, sizeof(int));
  double* value = room(count, sizeof(double));
  for (int k = 0; k < count; ++k) {
    if (fscanf(file, "%d %d %lf", &row[k], &column[k], &value[k]) != 3) fail("too few elements");
    --row[k], --column[k];
  }

  double *x = room(n, sizeof *x), *b = room(n, sizeof *b), *row_sum = room(n, sizeof *b), *residual = room(n, sizeof *b);
  for (int k = 0; k < count; ++k) {
    b[row[k]] += value[k] * (1 + column[k] % 7);
    row_sum[row[k]] += fabs(value[k]);
  }

  int *start = room(n + 1, sizeof(int)), *index = room(count, sizeof(int));
  double* element = room(count, sizeof(double));
  void *symbolic, *numeric;
  if (umfpack_di_triplet_to_col(n, n, count, row, column, value, start, index, element, NULL) != UMFPACK_OK ||
      umfpack_di_symbolic(n, n, start, index, element, &symbolic, NULL, NULL) != UMFPACK_OK ||
      umfpack_di_numeric(start, index, element, symbolic, &numeric, NULL, NULL) != UMFPACK_OK ||
      umfpack_di_solve(UMFPACK_A, start, index, element, x, b, numeric, NULL, NULL) != UMFPACK_OK) {
    fail("the solver failed");
  }

  double norm = 0, largest = 0, worst = 0;
  for (int i = 0; i < n; ++i) residual[i] = -b[i];
  for (int k = 0; k < count; ++k) residual[row[k]] += value[k] * x[column[k]];
  for (int i = 0; i < n; ++i) {
    norm = fmax(norm, row_sum[i]);
    largest = fmax(largest, fabs(x[i]));
    worst = fmax(worst, fabs(residual[i]));
  }
  printf("%.3g\n", worst / (norm * largest * n * DBL_EPSILON));
  show_maps();
  return 0;
}
