"""Which routines the C interface has, and how a row-major call of each becomes a column-major one.

A row-major matrix is, to column-major eyes, its transpose. So the triangle and the side that a call names become the
other ones, and what else changes stands here, a line a routine.
"""

from dataclasses import dataclass, field

# Names by which no precision of the published interface goes.
UNPUBLISHED = ("crot", "zrot", "cspr")

LEVEL1 = """?asum ?axpy dcabs1 ?copy ?dot ?dotu ?dotc dsdot sdsdot i?amax ?nrm2 ?rot ?rotg ?rotm ?rotmg ?scal
    ?swap""".split()


@dataclass(frozen=True)
class Rule:
    """matrices   argument -> "rows by columns" as stored, or the height of a band. An option in front says when it is
               stored as that: untransposed, or (side) on the left of a square matrix of the first order or the second
    exchanges  pairs of arguments that change places; the leading dimension or increment of each goes with it
    trans      what becomes of the transposition: "" if it stays, or the function that gives the other one
    adjoint    for the complex members of which ConjTrans has no column-major name: "in place" if the vector x is
               conjugated before the call and behind it, or "copy" if row_major.hpp has the operation
    row_major  row_major.hpp has the operation, since its vectors are to be conjugated
    """

    matrices: dict = field(default_factory=dict)
    exchanges: tuple = ()
    trans: str = ""
    adjoint: str = ""
    row_major: bool = False


GENERAL = {"a": "m by n"}
SQUARE = {"a": "n by n"}
BAND = {"a": "k + 1"}
SIDED = {"a": "side m or n", "b": "m by n"}
SIDED_SUM = {**SIDED, "c": "m by n"}
OUTER = {"a": "trans n by k", "c": "n by n"}
OUTER_PAIR = {"a": "trans n by k", "b": "trans n by k", "c": "n by n"}
PRODUCT = {"a": "transa m by k", "b": "transb k by n", "c": "m by n"}
FACTORS = (("transa", "transb"), ("m", "n"), ("a", "b"))

RULES = {
    "gemv": Rule(GENERAL, (("m", "n"),), "transposed", adjoint="copy"),
    "gbmv": Rule({"a": "kl + ku + 1"}, (("m", "n"), ("kl", "ku")), "transposed", adjoint="copy"),
    "symv": Rule(SQUARE),
    "hemv": Rule(SQUARE, row_major=True),
    "sbmv": Rule(BAND),
    "hbmv": Rule(BAND, row_major=True),
    "spmv": Rule(),
    "hpmv": Rule(row_major=True),
    "ger": Rule(GENERAL, (("m", "n"), ("x", "y"))),
    "geru": Rule(GENERAL, (("m", "n"), ("x", "y"))),
    "gerc": Rule(GENERAL, row_major=True),
    "syr": Rule(SQUARE),
    "her": Rule(SQUARE, row_major=True),
    "spr": Rule(),
    "hpr": Rule(row_major=True),
    "syr2": Rule(SQUARE),
    "her2": Rule(SQUARE, row_major=True),
    "spr2": Rule(),
    "hpr2": Rule(row_major=True),
    "trmv": Rule(SQUARE, trans="transposed", adjoint="in place"),
    "trsv": Rule(SQUARE, trans="transposed", adjoint="in place"),
    "tbmv": Rule(BAND, trans="transposed", adjoint="in place"),
    "tbsv": Rule(BAND, trans="transposed", adjoint="in place"),
    "tpmv": Rule(trans="transposed", adjoint="in place"),
    "tpsv": Rule(trans="transposed", adjoint="in place"),
    "gemm": Rule(PRODUCT, FACTORS),
    "gemm3m": Rule(PRODUCT, FACTORS),
    "symm": Rule(SIDED_SUM, (("m", "n"),)),
    "hemm": Rule(SIDED_SUM, (("m", "n"),)),
    "syrk": Rule(OUTER, trans="transposed"),
    "herk": Rule(OUTER, trans="adjoint"),
    "syr2k": Rule(OUTER_PAIR, trans="transposed"),
    # The conjugate of alpha B A^H + conj(alpha) A B^H has alpha beside the other product.
    "her2k": Rule(OUTER_PAIR, (("a", "b"),), "adjoint"),
    "trmm": Rule(SIDED, (("m", "n"),)),
    "trsm": Rule(SIDED, (("m", "n"),)),
}
