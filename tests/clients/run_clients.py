"""Runs programs of the distribution on the libblas.so.3 and liblapack.so.3 of a build, and judges what they say.

    run_clients.py [--large] BUILD_DIR SOLVER_DIR

SOLVER_DIR holds the unpacked packages of the sparse solver. With --large hpcc solves systems of order 2000 and 8000, and its
rate at 8000 is compared to that of a product on one thread.
"""

import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
RESIDUAL_BOUND = 10.0
# The interpreter that packages of the distribution are for; the machine may have another one first on its path.
PYTHON = "/usr/bin/python3"
# A package without its tests would pass all of them.
LEAST_NUMPY_TESTS = 200
PROCESSES = 2

# Order, block size. A block is the depth of the products with which the system is updated: deep enough that they run at
# full speed, and small enough that the panels, which one process factors while others wait, stay short.
SMALL_RUNS = ((600, 64),)
LARGE_RUNS = ((2000, 128), (8000, 128))
LEAST_RATIO, LEAST_RATIO_BESIDE_OTHER_WORK = 0.6, 0.45

PARAMETERS = """\
first line of two that are not read
second line
out.txt  name of the output
8        where it goes: a file
1        number of orders
{order}
1        number of block sizes
{block}
0        order of the processes
1        number of process grids
1        rows
{processes}        columns
16.0     bound of the scaled residual
1        number of ways to factor a panel
2
1        number of widths at which a panel's recursion ends
16
1        number of parts of a panel
2
1        number of ways to factor in the recursion
1
1        number of ways to pass panels on
0
1        number of depths of looking ahead
1
2        way to exchange rows
64       bound for the exchange
0        storage of the panel's triangle
0        storage of the rows
1        whether messages are balanced
8        alignment in doubles
##### not read
0        number of further orders for the transposition
100      orders
0        number of further block sizes for it
16       block sizes
"""


class Failure(Exception):
    pass


def run(*command, **options):
    done = subprocess.run([str(c) for c in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise Failure(f"{command}: exit status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class Judge:
    """Which files a process may have mapped."""

    # What such a library defines, whatever its file is called.
    NAMES = re.compile(r" [TtWiu] (cblas_dgemm|dgemm_|dgetrf_|dpotrf_)$", re.MULTILINE)

    def __init__(self, libraries):
        self.libraries = libraries.resolve()
        self.known = {}

    def is_of_the_kind(self, path):
        if path not in self.known:
            done = subprocess.run(["nm", "-D", "--defined-only", path], capture_output=True, text=True)
            self.known[path] = bool(self.NAMES.search(done.stdout))
        return self.known[path]

    def check(self, who, maps, wanted):
        """`maps` as the system shows them; `wanted` are files of nuv that must be there, and no others of the kind."""
        files = {line.split(None, 5)[5] for line in maps.splitlines() if len(line.split(None, 5)) == 6}
        files = {Path(f) for f in files if f.startswith("/") and ".so" in f}
        of_nuv = {f for f in files if self.libraries in f.parents}
        for name in wanted:
            if not any(f.name.startswith(name) for f in of_nuv):
                raise Failure(f"{who}: nuv's {name} is not mapped, but\n{maps}")
        others = [str(f) for f in files - of_nuv if self.is_of_the_kind(f)]
        if others:
            raise Failure(f"{who}: other libraries of the kind are mapped: {others}")
        print(f"  {who}: mapped are {', '.join(sorted(f.name for f in of_nuv))}, and no other of the kind")


def hpcc_processes():
    for process in Path("/proc").iterdir():
        try:
            if process.name.isdigit() and os.readlink(process / "exe").endswith("/hpcc"):
                yield process
        except OSError:
            pass  # gone, or somebody else's


def run_hpcc(environment, judge, order, block):
    """Rate of the linear system, in 10^9 operations a second."""
    with tempfile.TemporaryDirectory(prefix="nuv-hpcc-") as folder:
        Path(folder, "hpccinf.txt").write_text(PARAMETERS.format(order=order, block=block, processes=PROCESSES))
        command = ["mpirun", "--oversubscribe", "--bind-to", "none", "-np", str(PROCESSES), "hpcc"]
        if os.geteuid() == 0:
            command.insert(1, "--allow-run-as-root")
        others = set(hpcc_processes())
        with open(Path(folder, "messages"), "w+") as messages:
            running = subprocess.Popen(command, cwd=folder, env=environment, stdout=messages, stderr=messages)
            maps = {}
            while running.poll() is None:
                for process in set(hpcc_processes()) - others:
                    try:
                        maps[process] = (process / "maps").read_text() or maps.get(process, "")
                    except OSError:
                        pass
                time.sleep(0.05)
            messages.seek(0)
            said = messages.read()
        output = Path(folder, "hpccoutf.txt")
        text = output.read_text() if output.exists() else ""
    if running.returncode != 0 or not text:
        raise Failure(f"hpcc: exit status {running.returncode}\n{said}{text[-2000:]}")
    if len(maps) != PROCESSES:
        raise Failure(f"hpcc: {len(maps)} processes were seen, not {PROCESSES}")
    for number, shown in enumerate(maps.values()):
        judge.check(f"hpcc, order {order}, process {number}", shown, ("libblas.so", "libnuv_lapack", "libnuv_kp"))
    residuals = re.findall(r"^(\|\|Ax-b\|\|.*=\s*(\S+) \.+ (\w+))$", text, re.MULTILINE)
    values = dict(re.findall(r"^(\w+)=(\S+)$", text, re.MULTILINE))
    if not residuals or any(verdict != "PASSED" for _, _, verdict in residuals) or values.get("Success") != "1":
        raise Failure(f"hpcc, order {order}: residuals {residuals}, success {values.get('Success')}\n{text[-3000:]}")
    rate = 1000 * float(values["HPL_Tflops"])
    print(f"  hpcc, order {order}, blocks of {block}: scaled residual {residuals[0][1]}, {residuals[0][2]}; "
          f"{rate:.2f} Gflop/s in {float(values['HPL_time']):.2f} s")
    return rate


def compile_client(folder, source, *options):
    program = Path(folder) / Path(source).stem
    run("gcc", "-O2", HERE / source, *options, "-o", program)
    return program


def check_hpcc(environment, judge, libraries, large):
    print("hpcc over two MPI processes of one thread each")
    environment = {**environment, "NUV_NUM_THREADS": "1"}
    with tempfile.TemporaryDirectory(prefix="nuv-rate-") as folder:
        product = compile_client(folder, "product_rate.c", libraries / "nuv/libblas.so.3")
        rates = [float(run(product, env=environment))]
        for order, block in LARGE_RUNS if large else SMALL_RUNS:
            rate = run_hpcc(environment, judge, order, block)
        rates.append(float(run(product, env=environment)))
    print(f"  dgemm on one thread: {rates[0]:.2f} Gflop/s before, {rates[1]:.2f} behind")
    if large:
        ratio = rate / (PROCESSES * max(rates))
        least = LEAST_RATIO if os.getloadavg()[2] < PROCESSES + 0.5 else LEAST_RATIO_BESIDE_OTHER_WORK
        print(f"  {ratio:.3f} of what two threads of dgemm would reach; at least {least} is wanted")
        if ratio < least:
            raise Failure(f"hpcc: {ratio:.3f} is too little")


def check_solver(environment, judge, build, solver):
    print("UMFPACK on a band matrix")
    place = next(solver.rglob("libumfpack.so.5")).parent.resolve()
    environment = {**environment, "LD_LIBRARY_PATH": f"{environment['LD_LIBRARY_PATH']}:{place}"}
    with tempfile.TemporaryDirectory(prefix="nuv-sparse-") as folder:
        matrix = Path(folder, "matrix.mtx")
        run(build / "bin/nuv", "make", "band", 2000, "--lower", 20, "--upper", 30, "--cond", 1e6, "-o", matrix)
        program = compile_client(folder, "sparse_solve.c", "-I", next(solver.rglob("umfpack.h")).parent,
                                 place / "libumfpack.so.5", f"-Wl,-rpath-link,{environment['LD_LIBRARY_PATH']}", "-lm")
        residual, maps = run(program, matrix, env=environment).split("\n", 1)
    judge.check("UMFPACK", maps, ("libblas.so", "liblapack.so", "libnuv_lapack", "libnuv_kp"))
    print(f"  scaled residual {residual}")
    if not float(residual) < RESIDUAL_BOUND:
        raise Failure(f"UMFPACK: the residual is too large: {residual}")


def count_of_tests(summary):
    """How many tests passed, by the last line of a run of which none failed."""
    counts = {what: int(number) for number, what in re.findall(r"(\d+) (\w+)", summary)}
    bad = {what: counts[what] for what in ("failed", "error", "errors", "xpassed") if what in counts}
    if bad or counts.get("passed", 0) < LEAST_NUMPY_TESTS:
        raise Failure(f"NumPy: {summary}")
    return counts["passed"]


def check_numpy(environment, judge):
    print("NumPy's tests of its linear algebra")
    with tempfile.TemporaryDirectory(prefix="nuv-numpy-") as folder:
        output = run(PYTHON, "-B", HERE / "numpy_tests.py", env={**environment, "PYTHONNOUSERSITE": "1"}, cwd=folder)
    said, maps = output.split("== maps\n")
    judge.check("NumPy", maps, ("libblas.so", "liblapack.so", "libnuv_lapack", "libnuv_kp"))
    print(f"  {count_of_tests(said.strip().splitlines()[-1])} tests passed, and none failed")


def main(arguments):
    large = arguments[0] == "--large"
    build, solver = Path(arguments[-2]).resolve(), Path(arguments[-1]).resolve()
    libraries = build / "lib"
    environment = {k: v for k, v in os.environ.items() if not k.startswith(("NUV_", "LD_"))}
    environment["LD_LIBRARY_PATH"] = str(libraries / "nuv")
    judge = Judge(libraries)
    try:
        check_numpy(environment, judge)
        check_solver(environment, judge, build, solver)
        check_hpcc(environment, judge, libraries, large)
    except Failure as failure:
        sys.exit(f"clients: {failure}")


if __name__ == "__main__":
    main(sys.argv[1:])
