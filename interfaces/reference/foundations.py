"""Papers and books behind families whose comments name none: where an operation is defined, or where a method that belongs
to common knowledge stands. The first entry that begins a family's name counts."""

LEVEL_1 = ('C. L. Lawson, R. J. Hanson, D. R. Kincaid and F. T. Krogh, "Basic linear algebra subprograms for Fortran usage", '
           "ACM TOMS 5, 1979")
LEVEL_1_SPARSE = ('D. S. Dodson, R. G. Grimes and J. G. Lewis, "Sparse extensions to the FORTRAN basic linear algebra '
                  'subprograms", ACM TOMS 17, 1991')
LEVEL_2 = ('J. J. Dongarra, J. Du Croz, S. Hammarling and R. J. Hanson, "An extended set of FORTRAN basic linear algebra '
           'subprograms", ACM TOMS 14, 1988')
LEVEL_3 = ('J. J. Dongarra, J. Du Croz, S. Hammarling and I. Duff, "A set of level 3 basic linear algebra subprograms", ACM '
           "TOMS 16, 1990")
PACKED_PRODUCTS = ('K. Goto and R. A. van de Geijn, "Anatomy of high-performance matrix multiplication", ACM TOMS 34, 2008')
STABILITY = 'N. J. Higham, "Accuracy and Stability of Numerical Algorithms", second edition, SIAM, 2002, chapter '
REFLECTORS = ('A. S. Householder, "Unitary triangularization of a nonsymmetric matrix", J. ACM 5, 1958')
BLOCKED_REFLECTORS = ('R. Schreiber and C. Van Loan, "A storage-efficient WY representation for products of Householder '
                      'transformations", SIAM J. Sci. Stat. Comput. 10, 1989')
LEAST_SQUARES = 'G. H. Golub, "Numerical methods for solving linear least squares problems", Numer. Math. 7, 1965'
SCALING = 'A. van der Sluis, "Condition numbers and equilibration of matrices", Numer. Math. 14, 1969'
ERROR_BOUNDS = ('M. Arioli, J. W. Demmel and I. S. Duff, "Solving sparse linear systems with sparse backward error", SIAM J. '
                "Matrix Anal. Appl. 10, 1989")
SYMMETRIC = 'B. N. Parlett, "The Symmetric Eigenvalue Problem", SIAM, 1998'
DIVIDE = ('J. J. M. Cuppen, "A divide and conquer method for the symmetric tridiagonal eigenproblem", Numer. Math. 36, 1981')
DIVIDE_SINGULAR = ('M. Gu and S. C. Eisenstat, "A divide-and-conquer algorithm for the bidiagonal SVD", SIAM J. Matrix Anal. '
                   "Appl. 16, 1995")
GENERALISED = ('R. S. Martin and J. H. Wilkinson, "Reduction of the symmetric eigenproblem Ax = lambda Bx and related problems '
               'to standard form", Numer. Math. 11, 1968')
BISECTION = ('W. Kahan, "Accurate eigenvalues of a symmetric tri-diagonal matrix", Stanford University CS 41, 1966')
DQDS = ('B. N. Parlett and O. A. Marques, "An implementation of the dqds algorithm (positive case)", Linear Algebra Appl. 309, '
        "2000")
ROTATIONS = 'W. Givens, "Computation of plane unitary rotations transforming a general matrix to triangular form", SIAM J. 6, 1958'
TEST_MATRICES = ('J. Demmel and A. McKenney, "A test matrix generation suite", Argonne National Laboratory, MCS-P69-0389, 1989')

FOUNDATIONS = {
    "kernels/level1/sparse": [LEVEL_1_SPARSE],
    "kernels/level1": [LEVEL_1],
    "kernels/level2": [LEVEL_2],
    "kernels/special/symv_nb": [LEVEL_2],
    "kernels/special/syr2_nb": [LEVEL_2],
    "kernels/special/syr2k_nb": [LEVEL_3],
    "kernels/special/lasr": [ROTATIONS],
    "kernels/special/lartv": [ROTATIONS],
    "kernels/special/rot3": [REFLECTORS],
    "kernels/special/potrf_small": [STABILITY + "10"],
    "kernels/special/ptts2": [STABILITY + "10"],
    "kernels/special/gtsv_small": [STABILITY + "9"],
    "threading/level3": [LEVEL_3, PACKED_PRODUCTS],
    "orthogonal/least_squares": [LEAST_SQUARES],
    "orthogonal/lq_ql_rq": [REFLECTORS, BLOCKED_REFLECTORS],
    "orthogonal": [BLOCKED_REFLECTORS],
    "solvers/equilibration": [SCALING],
    "solvers/expert": [ERROR_BOUNDS],
    "solvers/triangular": [STABILITY + "8"],
    "solvers/packed_triangular": [STABILITY + "8"],
    "solvers/band_triangular": [STABILITY + "8"],
    "solvers/complex_symmetric_products": [LEVEL_2],
    "solvers/tridiagonal_lu": [STABILITY + "9"],
    "solvers": [STABILITY + "10"],
    "svd/dqds": [DQDS],
    "svd/plane_rotations": [ROTATIONS],
    "svd/batched_rotations": [ROTATIONS],
    "svd": [DIVIDE_SINGULAR],
    "symmetric/generalised": [GENERALISED],
    "symmetric/bisection": [BISECTION],
    "symmetric/values_by_blocks": [BISECTION],
    "symmetric/divide_and_conquer": [DIVIDE],
    "symmetric/merge_tree": [DIVIDE],
    "symmetric": [SYMMETRIC],
    "environment/rotation": [ROTATIONS],
    "environment/norms": [STABILITY + "6"],
    "generators": [TEST_MATRICES],
}


def foundations(family):
    return next((sources for start, sources in FOUNDATIONS.items() if family.startswith(start)), [])
