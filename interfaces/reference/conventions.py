"""What is said of an argument where no comment does: what its name means throughout the library, and the argument beside
it. A comment is the better description; this one tells no more than what holds for each routine with such an argument."""

import re

FIXED = {
    "uplo": "'U' or 'L': the triangle that is stored, upper or lower; the other one is not touched",
    "trans": "'N': the matrix itself, 'T': its transpose, 'C': its conjugate transpose",
    "transa": "op(A), 'N': the matrix itself, 'T': its transpose, 'C': its conjugate transpose",
    "transb": "op(B), 'N': the matrix itself, 'T': its transpose, 'C': its conjugate transpose",
    "diag": "'N': the diagonal as it is stored, 'U': ones, which are not stored",
    "side": "'L': the product from the left, 'R': from the right",
    "nrhs": "number of right-hand sides, the columns of B",
    "kl": "number of diagonals below the main one",
    "ku": "number of diagonals above the main one",
    "kd": "number of diagonals beside the main one, in the triangle that is stored",
    "ka": "number of diagonals of A beside the main one, in the triangle that is stored",
    "kb": "number of diagonals of B beside the main one, in the triangle that is stored",
    "nz": "number of elements that are stored",
    "indx": "place in y, from one, of each element of x",
    "alpha": "factor",
    "beta": "factor of what is updated",
    "ap": "triangle of a matrix of order n, its columns one behind the other: n (n + 1) / 2 elements",
    "bp": "triangle of a matrix of order n, its columns one behind the other: n (n + 1) / 2 elements",
    "ipiv": "exchanges of rows, counted from one",
    "tau": "factors of the reflectors",
    "vl": "with range 'V', lower end of the interval: values above it are wanted",
    "vu": "with range 'V', upper end of the interval: values up to it are wanted",
    "il": "with range 'I', number of the first value wanted, counted from one in ascending order",
    "iu": "with range 'I', number of the last value wanted",
    "dl": "the n - 1 elements below the diagonal",
    "du": "the n - 1 elements above the diagonal",
    "du2": "the n - 2 elements of the second diagonal above the main one, which pivoting fills",
    "norm": "'M': largest magnitude, 'O' or '1': one-norm, 'I': infinity-norm, 'F' or 'E': Frobenius norm",
    "info": "0; -k: argument k was bad (reported)",
}
BAND_ARRAYS = {
    "ab": "band of the matrix, a diagonal in each row of the array",
    "bb": "band of the second matrix, a diagonal in each row of the array",
}
SEVERAL_COLUMNS = ("c", "x", "y", "z", "q", "u", "v", "vt", "t", "w", "f")


def conventional_description(routine, argument):
    """None where the name means too many things."""
    name = argument.name
    names = [a.name for a in routine.arguments]
    if argument.is_scratch:
        return "workspace"
    if name in routine.scratch_lengths:
        return length_of_workspace(routine, name)
    if name in ("m", "n") and not (argument.out or argument.pointer):
        return size_of_matrix(name, names)
    if name == "kb" and "bb" not in names:
        return None
    if name.startswith("ld") and name[2:] in names:
        return f"leading dimension of {name[2:]}, the distance between the starts of its columns"
    if re.fullmatch(r"inc\w", name) and name[3:] in names:
        return f"distance between the elements of {name[3:]}; negative: from the last one back"
    if name in BAND_ARRAYS:
        return BAND_ARRAYS[name]
    if argument.pointer and "inc" + name in names:
        return "vector"
    if argument.pointer and "ld" + name in names and name in ("a", "b", *SEVERAL_COLUMNS):
        return matrix(name, names)
    if name in ("x", "y") and "indx" in names:
        return "elements that are stored" if name == "x" else "whole vector"
    return FIXED.get(name)


def length_of_workspace(routine, name):
    workspace = next(a for a in routine.scratch if name in ("l" + a.name, "ld" + a.name))
    if name.startswith("ld"):
        return f"leading dimension of {workspace.name}"
    question = f"; -1 asks for the best, which {workspace.name}(1) returns" if workspace.workspace.is_asked else ""
    return f"number of elements of {workspace.name}{question}"


def size_of_matrix(name, names):
    has_matrix = any(n.startswith("ld") or n in ("ap", "uplo") for n in names)
    if name == "n" and not has_matrix:
        return "number of elements"
    if "m" in names and "n" in names:
        return "number of rows of the matrix" if name == "m" else "number of columns of the matrix"
    return "order of the matrix" if name == "n" else "number of rows"


def matrix(name, names):
    if name == "b" and "nrhs" in names:
        return "n by nrhs, right-hand sides"
    if name == "x" and "nrhs" in names:
        return "n by nrhs, solutions"
    if name in ("a", "c") and "m" in names and "n" in names and "side" not in names:
        return "m by n matrix"
    if name == "c" and "side" in names:
        return "m by n matrix"
    return "matrix"
