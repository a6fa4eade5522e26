"""The bridge example: its matrix and loads against statics and closed forms, and the sentences of its report."""

import csv
import math
import subprocess
import sys
import tempfile
import unittest
from functools import lru_cache
from pathlib import Path

BRIDGE = Path(__file__).resolve().parents[2] / "examples" / "bridge"
sys.dont_write_bytecode = True
sys.path.insert(0, str(BRIDGE))

import make_bridge  # noqa: E402
from make_bridge import PANEL, PANELS, SPAN, YOUNGS_MODULUS, Member, Truss  # noqa: E402

EPSILON = sys.float_info.epsilon


# ---------------------------------------------------------------- small dense algebra, matrices as lists of rows


def full_matrix(size, lower):
    matrix = [[0.0] * size for _ in range(size)]
    for (row, column), value in lower.items():
        matrix[row - 1][column - 1] = matrix[column - 1][row - 1] = value
    return matrix


def product(matrix, vector):
    return [math.fsum(a * x for a, x in zip(row, vector)) for row in matrix]


def solve(matrix, columns):
    """Gaussian elimination with row exchanges; takes and returns a list of columns."""
    size = len(matrix)
    rows = [list(row) + [column[i] for column in columns] for i, row in enumerate(matrix)]
    for k in range(size):
        best = max(range(k, size), key=lambda i: abs(rows[i][k]))
        rows[k], rows[best] = rows[best], rows[k]
        for i in range(k + 1, size):
            factor = rows[i][k] / rows[k][k]
            if factor != 0:
                rows[i][k:] = [a - factor * b for a, b in zip(rows[i][k:], rows[k][k:])]
    for k in reversed(range(size)):
        for j in range(size, size + len(columns)):
            known = math.fsum(rows[k][i] * rows[i][j] for i in range(k + 1, size))
            rows[k][j] = (rows[k][j] - known) / rows[k][k]
    return [[rows[i][size + j] for i in range(size)] for j in range(len(columns))]


def smallest_cholesky_pivot(matrix):
    """Smallest Cholesky pivot as a share of its diagonal element; stops at the first that is not positive."""
    factor = []
    smallest = math.inf
    for i, row in enumerate(matrix):
        line = []
        for j in range(i):
            line.append((row[j] - math.fsum(a * b for a, b in zip(line, factor[j]))) / factor[j][j])
        pivot = row[i] - math.fsum(a * a for a in line)
        smallest = min(smallest, pivot / row[i])
        if smallest <= 0:
            break
        factor.append(line + [math.sqrt(pivot)])
    return smallest


# ---------------------------------------------------------------- files


def read_matrix_market(path):
    """Header words, comment lines, size words and the remaining lines' words."""
    lines = path.read_text(encoding="ascii").splitlines()
    comments = [line for line in lines[1:] if line.startswith("%")]
    content = [line.split() for line in lines[1:] if not line.startswith("%")]
    return lines[0].split(), comments, [int(word) for word in content[0]], content[1:]


def kept_stiffness():
    _, _, (size, _, _), content = read_matrix_market(BRIDGE / "bridge.mtx")
    return size, {(int(row), int(column)): float(value) for row, column, value in content}


def kept_loads():
    _, _, (rows, columns), content = read_matrix_market(BRIDGE / "loads.mtx")
    values = [float(word) for (word,) in content]
    return [values[j * rows:(j + 1) * rows] for j in range(columns)]


def array_text(columns):
    values = [repr(value) for column in columns for value in column]
    return "\n".join(["%%MatrixMarket matrix array real general", f"{len(columns[0])} {len(columns)}"] + values) + "\n"


@lru_cache(maxsize=None)
def kept_displacements():
    """The displacements of all load cases, from the kept files alone."""
    size, entries = kept_stiffness()
    return solve(full_matrix(size, entries), kept_loads())


# ---------------------------------------------------------------- statics, without any stiffness


def displacement_map(truss, displacements):
    """(joint, direction) -> m, the held directions included."""
    everything = {(joint, axis): 0.0 for joint in truss.joints for axis in "xy"}
    everything.update(zip(make_bridge.number_unknowns(truss), displacements))
    return everything


def elongation(truss, member, moved):
    _, cosine = make_bridge.length_and_direction(truss, member)
    return sum((moved[member.end, axis] - moved[member.start, axis]) * cosine[axis] for axis in "xy")


def member_forces(truss, load_vectors):
    """Tensions in N by the method of joints; needs a statically determinate truss. One list per load case."""
    equations = {unknown: k for k, unknown in enumerate((joint, axis) for joint in truss.joints for axis in "xy")}
    matrix = [[0.0] * len(equations) for _ in equations]
    for k, member in enumerate(truss.members):
        _, cosine = make_bridge.length_and_direction(truss, member)
        for axis in "xy":
            matrix[equations[member.start, axis]][k] -= cosine[axis]
            matrix[equations[member.end, axis]][k] += cosine[axis]
    for k, support in enumerate(sorted(truss.held), start=len(truss.members)):
        matrix[equations[support]][k] = -1.0
    columns = [[load.get(unknown, 0.0) for unknown in equations] for load in load_vectors]
    return [forces[:len(truss.members)] for forces in solve(matrix, columns)]


def flexibility(truss, member):
    length, _ = make_bridge.length_and_direction(truss, member)
    return length / (YOUNGS_MODULUS * truss.areas[member.group])


class SmallTrusses(unittest.TestCase):
    """Trusses small enough for a closed form."""

    AREA = 0.002

    def deflection(self, joints, bars, held, loads):
        truss = Truss(joints, [Member("bar", start, end) for start, end in bars], {"bar": self.AREA}, frozenset(held))
        numbers = make_bridge.number_unknowns(truss)
        matrix = full_matrix(len(numbers), make_bridge.stiffness(truss))
        (solution,) = solve(matrix, [[loads.get(unknown, 0.0) for unknown in numbers]])
        return dict(zip(numbers, solution))

    def test_one_bar_stretches_by_force_times_length_over_area_times_modulus(self):
        moved = self.deflection({"A": (0.0, 0.0), "B": (3.0, 0.0)}, [("A", "B")],
                                {("A", "x"), ("A", "y"), ("B", "y")}, {("B", "x"): 7e4})
        self.assertAlmostEqual(moved["B", "x"] / (7e4 * 3 / (YOUNGS_MODULUS * self.AREA)), 1, places=14)

    def test_three_bars_hanging_from_a_ceiling(self):
        # Timoshenko's statically indeterminate example: P L / (E A (1 + 2 cos^3 alpha)) with alpha from the vertical.
        height, reach, load = 2.0, 1.5, 5e4
        joints = {"L": (-reach, height), "C": (0.0, height), "R": (reach, height), "P": (0.0, 0.0)}
        held = {(joint, axis) for joint in "LCR" for axis in "xy"}
        moved = self.deflection(joints, [("L", "P"), ("C", "P"), ("P", "R")], held, {("P", "y"): -load})
        expected = load * height / (YOUNGS_MODULUS * self.AREA * (1 + 2 * 0.8 ** 3))
        self.assertAlmostEqual(moved["P", "y"] / -expected, 1, places=13)
        self.assertLess(abs(moved["P", "x"]), expected * 1e-13)

    def test_bracket_of_two_bars_by_virtual_work(self):
        # A tie of 4 m and a strut of 5 m carry P at 3 m below the strut's foot: N = 4/3 P and -5/3 P.
        load = 3e4
        moved = self.deflection({"A": (0.0, 3.0), "F": (0.0, 0.0), "P": (4.0, 3.0)}, [("A", "P"), ("F", "P")],
                                {("A", "x"), ("A", "y"), ("F", "x"), ("F", "y")}, {("P", "y"): -load})
        unit = load / (YOUNGS_MODULUS * self.AREA)
        self.assertAlmostEqual(moved["P", "y"] / (-unit * ((4 / 3) ** 2 * 4 + (5 / 3) ** 2 * 5)), 1, places=13)
        self.assertAlmostEqual(moved["P", "x"] / (unit * 4 / 3 * 4), 1, places=13)


class Model(unittest.TestCase):
    """The bridge as make_bridge.py builds it."""

    def setUp(self):
        self.truss = make_bridge.bridge()

    def unsupported(self):
        free = self.truss._replace(held=frozenset())
        numbers = make_bridge.number_unknowns(free)
        return numbers, full_matrix(len(numbers), make_bridge.stiffness(free))

    def test_is_statically_determinate(self):
        self.assertGreaterEqual(len(self.truss.joints), 60)
        self.assertEqual(len(self.truss.members) + 3, 2 * len(self.truss.joints))
        self.assertEqual(len({frozenset(member[1:]) for member in self.truss.members}), len(self.truss.members))

    def test_is_a_mirror_image_of_itself(self):
        mirrored = {(SPAN - x, y): joint for joint, (x, y) in self.truss.joints.items()}
        partner = {joint: mirrored[place] for joint, place in self.truss.joints.items()}
        bars = {(group, frozenset((start, end))) for group, start, end in self.truss.members}
        self.assertEqual({(group, frozenset(partner[joint] for joint in ends)) for group, ends in bars}, bars)

    def test_middle_joints_lie_on_their_diagonals(self):
        for i in range(1, PANELS, 2):
            halves = [member for member in self.truss.members
                      if f"M{i}" in member and member.group in ("diagonals", "end posts")]
            (_, first), (_, second) = (make_bridge.length_and_direction(self.truss, half) for half in halves)
            self.assertAlmostEqual(first["x"], second["x"], places=14)
            self.assertAlmostEqual(first["y"], second["y"], places=14)

    def test_rigid_motions_without_supports_need_no_force(self):
        numbers, matrix = self.unsupported()
        motions = {
            "along": lambda axis, x, y: 1.0 if axis == "x" else 0.0,
            "up": lambda axis, x, y: 1.0 if axis == "y" else 0.0,
            "turn": lambda axis, x, y: -y if axis == "x" else x,
            "stretch": lambda axis, x, y: x if axis == "x" else 0.0,  # not rigid: the control
        }
        for name, motion in motions.items():
            moved = [motion(axis, *self.truss.joints[joint]) for joint, axis in numbers]
            forces = product(matrix, moved)
            scales = [math.fsum(abs(a * x) for a, x in zip(row, moved)) for row in matrix]
            rigid = all(abs(force) <= 8 * EPSILON * scale for force, scale in zip(forces, scales))
            self.assertEqual(rigid, name != "stretch", name)

    def test_each_support_is_needed(self):
        for support in self.truss.held:
            loose = self.truss._replace(held=self.truss.held - {support})
            matrix = full_matrix(len(make_bridge.number_unknowns(loose)), make_bridge.stiffness(loose))
            self.assertLess(smallest_cholesky_pivot(matrix), 1e-10, support)

    def test_axles_reach_the_floor_beams_by_the_lever_rule(self):
        for middle in (SPAN / 2, SPAN / 4, 37.3):
            forces = make_bridge.locomotive(middle)
            total = sum(forces.values())
            moment = sum(self.truss.joints[joint][0] * force for (joint, _), force in forces.items())
            self.assertAlmostEqual(total, -6 * make_bridge.AXLE_LOAD, places=6)
            self.assertAlmostEqual(moment / total, middle, places=10)
            self.assertTrue(all(force < 0 for force in forces.values()))
        at_joints = make_bridge.locomotive(7.0 + 5 * PANEL)
        self.assertEqual(at_joints["B5", "y"], -make_bridge.AXLE_LOAD * (1 + (1 - 1.75 / PANEL) + 0.5 / PANEL))

    def test_own_weight_is_the_weight_of_the_steel(self):
        volume = sum(make_bridge.length_and_direction(self.truss, member)[0] * self.truss.areas[member.group]
                     for member in self.truss.members)
        total = sum(make_bridge.own_weight(self.truss).values())
        self.assertAlmostEqual(total / (-volume * 7850 * 9.81 * 1.2), 1, places=12)


class KeptFiles(unittest.TestCase):
    """bridge.mtx, loads.mtx and joints.csv as they lie in the folder."""

    def setUp(self):
        self.truss = make_bridge.bridge()
        self.numbers = make_bridge.number_unknowns(self.truss)
        self.cases = make_bridge.load_cases(self.truss)

    def test_the_script_makes_them_byte_for_byte(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, "-B", BRIDGE / "make_bridge.py", folder], check=True)
            for name in ("bridge.mtx", "loads.mtx", "joints.csv"):
                self.assertEqual((Path(folder) / name).read_bytes(), (BRIDGE / name).read_bytes(), name)

    def test_matrix_file_holds_a_lower_triangle_by_columns(self):
        header, _, (rows, columns, count), content = read_matrix_market(BRIDGE / "bridge.mtx")
        self.assertEqual(header, "%%MatrixMarket matrix coordinate real symmetric".split())
        places = [(int(column), int(row)) for row, column, _ in content]
        self.assertEqual((rows, columns, count), (len(self.numbers), len(self.numbers), len(places)))
        self.assertEqual(places, sorted(set(places)))
        self.assertTrue(all(1 <= column <= row <= rows for column, row in places))

    def test_load_file_names_its_columns(self):
        header, comments, (rows, columns), content = read_matrix_market(BRIDGE / "loads.mtx")
        self.assertEqual(header, "%%MatrixMarket matrix array real general".split())
        self.assertEqual((rows, columns, len(content)), (len(self.numbers), 5, 5 * len(self.numbers)))
        titles = [line for line in comments if line.startswith("% column ")]
        self.assertEqual(titles, [f"% column {k}: {title}" for k, title in enumerate(self.cases, start=1)])

    def test_joint_table_numbers_every_free_direction_once(self):
        with open(BRIDGE / "joints.csv", encoding="ascii", newline="") as file:
            rows = list(csv.DictReader(file))
        self.assertEqual(len(rows), 2 * len(self.truss.joints))
        self.assertEqual({(row["joint"], row["direction"]): int(row["unknown"]) for row in rows},
                         {**dict.fromkeys(self.truss.held, 0), **self.numbers})
        for row in rows:
            self.assertEqual((float(row["x_m"]), float(row["y_m"])), self.truss.joints[row["joint"]])

    def test_matrix_is_positive_definite(self):
        size, entries = kept_stiffness()
        self.assertGreater(smallest_cholesky_pivot(full_matrix(size, entries)), 1e-6)

    def test_matrix_gives_the_strain_energy_of_the_bars(self):
        size, entries = kept_stiffness()
        matrix = full_matrix(size, entries)
        for seed in range(1, 6):
            vector = [math.sin(seed * k * k) for k in range(1, size + 1)]
            moved = displacement_map(self.truss, vector)
            energy = math.fsum(elongation(self.truss, member, moved) ** 2 / flexibility(self.truss, member)
                               for member in self.truss.members)
            twice = math.fsum(x * y for x, y in zip(vector, product(matrix, vector)))
            self.assertAlmostEqual(twice / energy, 1, places=12)

    def test_reactions_balance_the_loads(self):
        free = self.truss._replace(held=frozenset())
        everywhere = make_bridge.number_unknowns(free)
        matrix = full_matrix(len(everywhere), make_bridge.stiffness(free))
        for displacements, (title, loads) in zip(kept_displacements(), self.cases.items()):
            moved = displacement_map(self.truss, displacements)
            inner = dict(zip(everywhere, product(matrix, [moved[unknown] for unknown in everywhere])))
            reaction = {support: inner[support] - loads.get(support, 0.0) for support in self.truss.held}
            size = sum(abs(force) for force in loads.values())
            for axis in "xy":
                applied = sum(force for (_, way), force in loads.items() if way == axis)
                held = sum(force for (_, way), force in reaction.items() if way == axis)
                self.assertLess(abs(applied + held), 1e-9 * size, (title, axis))
            moment = sum(self.truss.joints[joint][0] * force for (joint, axis), force in loads.items() if axis == "y")
            self.assertLess(abs(moment + SPAN * reaction[f"B{PANELS}", "y"]), 1e-9 * size * SPAN, title)

    def test_displacements_agree_with_statics_and_virtual_work(self):
        spots = [(f"B{PANELS // 2}", "y"), (f"B{PANELS // 4}", "y"), ("T10", "x"), ("M9", "y"), (f"B{PANELS}", "x")]
        forces = member_forces(self.truss, list(self.cases.values()) + [{spot: 1.0} for spot in spots])
        for displacements, tensions in zip(kept_displacements(), forces):
            moved = displacement_map(self.truss, displacements)
            stretched = [elongation(self.truss, member, moved) for member in self.truss.members]
            largest = max(abs(value) for value in displacements)
            for member, tension, stretch in zip(self.truss.members, tensions, stretched):
                self.assertLess(abs(stretch - tension * flexibility(self.truss, member)), 1e-10 * largest, member)
            for spot, virtual in zip(spots, forces[len(self.cases):]):
                work = math.fsum(n * v * flexibility(self.truss, member)
                                 for member, n, v in zip(self.truss.members, tensions, virtual))
                self.assertLess(abs(moved[spot] - work), 1e-10 * largest, spot)

    def test_top_chord_under_the_train_by_the_method_of_sections(self):
        moved = displacement_map(self.truss, kept_displacements()[1])
        member = next(m for m in self.truss.members if m.start == f"T{PANELS // 2 - 2}" and m.end == f"T{PANELS // 2}")
        _, cosine = make_bridge.length_and_direction(self.truss, member)
        thrust = elongation(self.truss, member, moved) / flexibility(self.truss, member) * cosine["x"]
        midspan_moment = make_bridge.TRAIN_LOAD * SPAN ** 2 / 8
        self.assertAlmostEqual(thrust / (-midspan_moment / make_bridge.HEIGHT_AT_MIDSPAN), 1, places=9)

    def test_braking_stretches_the_bottom_chord_alone(self):
        moved = displacement_map(self.truss, kept_displacements()[4])
        bottom = YOUNGS_MODULUS * self.truss.areas["bottom chord"]
        total = make_bridge.BRAKING_LOAD * SPAN
        self.assertAlmostEqual(moved[f"B{PANELS}", "x"] / (total * SPAN / (2 * bottom)), 1, places=9)
        for member in self.truss.members:
            if member.group != "bottom chord":
                force = elongation(self.truss, member, moved) / flexibility(self.truss, member)
                self.assertLess(abs(force), 1e-9 * total, member)

    def test_sag_and_stresses_are_those_of_a_real_bridge(self):
        deadweight, train = (displacement_map(self.truss, column) for column in kept_displacements()[:2])
        chords = [self.truss.areas[chord] for chord in ("top chord", "bottom chord")]
        inertia = chords[0] * chords[1] / sum(chords) * make_bridge.HEIGHT_AT_MIDSPAN ** 2
        beam = 5 * make_bridge.TRAIN_LOAD * SPAN ** 4 / (384 * YOUNGS_MODULUS * inertia)
        sag = -min(value for (_, axis), value in train.items() if axis == "y")
        self.assertGreater(sag, beam)  # the truss is lower towards its ends, and its web gives way too
        self.assertLess(sag, SPAN / 800)
        for member in self.truss.members:
            length, _ = make_bridge.length_and_direction(self.truss, member)
            strain = sum(elongation(self.truss, member, moved) for moved in (deadweight, train)) / length
            self.assertLess(abs(strain) * YOUNGS_MODULUS, 160e6, member)


class Report(unittest.TestCase):
    """report_sag.py as a user runs it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.solution = self.folder / "solution.mtx"
        self.numbers = make_bridge.number_unknowns(make_bridge.bridge())

    def write(self, name, text):
        (self.folder / name).write_text(text, encoding="ascii")
        return self.folder / name

    def run_report(self, *options):
        return subprocess.run([sys.executable, "-B", BRIDGE / "report_sag.py", self.solution, *options],
                              capture_output=True, text=True, check=False)

    def columns(self, *cases):
        """One column per case, zero but for the given displacements in m."""
        columns = [[0.0] * len(self.numbers) for _ in cases]
        for column, case in zip(columns, cases):
            for unknown, value in case.items():
                column[self.numbers[unknown] - 1] = value
        return columns

    def assert_refused(self, message, *options):
        run = self.run_report(*options)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (1, "", f"report_sag.py: {message}\n"))

    def test_a_hand_made_solution(self):
        columns = self.columns(
            {("B16", "y"): -0.128, ("T16", "y"): -0.1, ("B32", "x"): 0.02},
            {("B15", "y"): -0.064, ("B17", "y"): -0.064 * (1 + 1e-12), ("T2", "x"): -0.0125},
            {("B9", "y"): -0.001, ("M9", "y"): -0.001, ("T10", "x"): 0.003},
            {("T8", "y"): 0.5, ("B31", "x"): 1e-5},
            {("B15", "y"): -0.064, ("B17", "y"): -0.0639, ("B1", "x"): -1.0})
        self.write("solution.mtx", array_text(columns))
        run = self.run_report()
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout.splitlines(), [
            "Own weight and deck: the bridge sags 128.00 mm at joint B16, 64 m along the span of 128 m, which is "
            "1/1000 of the span. Along the bridge joint B32 moves farthest, by +20.00 mm.",
            "Train over the whole bridge: the bridge sags 64.00 mm at joints B15 and B17, 60 m and 68 m along the span "
            "of 128 m, which is 1/2000 of the span. Along the bridge joint T2 moves farthest, by -12.50 mm.",
            "Locomotive at midspan: the bridge sags 1.00 mm at joints B9 and M9, 36 m along the span of 128 m, which "
            "is 1/128000 of the span. Along the bridge joint T10 moves farthest, by +3.00 mm.",
            "Locomotive at quarter span: no joint of the bridge goes down. "
            "Along the bridge joint B31 moves farthest, by +0.01 mm.",
            "Train braking towards the roller: the bridge sags 64.00 mm at joint B15, 60 m along the span of 128 m, "
            "which is 1/2000 of the span. Along the bridge joint B1 moves farthest, by -1000.00 mm.",
        ])

    def test_the_bridge_itself(self):
        self.write("solution.mtx", array_text(kept_displacements()))
        run = self.run_report()
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        readme = (BRIDGE / "README.md").read_text(encoding="ascii")
        for line in run.stdout.splitlines():
            self.assertIn(line, readme)
        self.assertEqual(len(run.stdout.splitlines()), 5)

    def test_loads_and_joints_of_ones_own(self):
        table = "unknown,joint,direction,x_m,y_m\n0,A,x,1,0\n2,C,x,3,0\n1,C,y,3,0\n0,D,y,5,0\n"
        joints = self.write("own.csv", table)
        loads = self.write("own.mtx", array_text([[0.0, 1.0], [2.0, 3.0]]).replace("2 2", "% column 2: crane\n2 2"))
        self.write("solution.mtx", array_text([[-0.004, 0.001], [-0.002, 0.0]]))
        run = self.run_report("--joints", joints, "--loads", loads)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout.splitlines(), [
            "Load case 1: the bridge sags 4.00 mm at joint C, 3 m along the span of 4 m, which is 1/1000 of the span. "
            "Along the bridge joint C moves farthest, by +1.00 mm.",
            "Crane: the bridge sags 2.00 mm at joint C, 3 m along the span of 4 m, which is 1/2000 of the span. "
            "Along the bridge joint C moves farthest, by +0.00 mm.",
        ])

    def test_solutions_of_another_size_are_refused(self):
        columns = self.columns({}, {}, {}, {}, {})
        for rows in (len(self.numbers) - 1, len(self.numbers) + 1):
            self.write("solution.mtx", array_text([(column + [0.0])[:rows] for column in columns]))
            self.assert_refused(f"{self.solution}: {rows} rows, but {BRIDGE / 'joints.csv'} has 125 unknowns")
        self.write("solution.mtx", array_text(columns[:4]))
        self.assert_refused(f"{self.solution}: 4 columns, but {BRIDGE / 'loads.mtx'} has 5 load cases")

    def test_broken_solutions_are_refused(self):
        text = array_text(self.columns({}, {}, {}, {}, {}))
        header, size, *values = text.splitlines()
        no_header = f"{self.solution}:1: expected the header '%%MatrixMarket matrix array real general'"
        no_sizes = f"{self.solution}:2: expected the numbers of rows and columns, found "
        for broken, message in (
                ("", no_header),
                (text.replace("real", "complex"), no_header),
                (header + "\n", f"{self.solution}:1: the file ends before the numbers of rows and columns"),
                (text.replace(size, "125"), no_sizes + "'125'"),
                (text.replace(size, "125 -5"), no_sizes + "'125 -5'"),
                ("\n".join([header, size] + values[:-1]), f"{self.solution}: 125 x 5 values announced, 624 found"),
                ("\n".join([header, size] + values + ["0"]), f"{self.solution}: 125 x 5 values announced, 626 found"),
                ("\n".join([header, size, "sag"] + values[1:]), f"{self.solution}:3: expected a number, found 'sag'"),
                ("\n".join([header, size, "nan"] + values[1:]),
                 f"{self.solution}:3: 'nan' is not a finite displacement"),
        ):
            self.write("solution.mtx", broken)
            self.assert_refused(message)

    def test_missing_file_and_broken_joint_table(self):
        run = self.run_report()
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertRegex(run.stderr, r"\Areport_sag\.py: .*No such file.*solution\.mtx'\n\Z")
        self.write("solution.mtx", array_text(self.columns({}, {}, {}, {}, {})))
        header = "unknown,joint,direction,x_m,y_m\n"
        for table, words in (("a,b\n1,2\n", "not a joint table"), (header + "1,A,x\n", "not a joint table"),
                             (header + "1,A,x,0,0\n3,A,y,0,0\n", "not numbered 1, 2, 3"),
                             (header + "1,A,x,0,0\n", "directions x and y")):
            run = self.run_report("--joints", self.write("joints.csv", table))
            self.assertEqual((run.returncode, run.stdout, run.stderr.count("\n")), (1, "", 1), table)
            self.assertIn(words, run.stderr)

    def test_bad_usage_ends_with_status_2(self):
        self.assertEqual(self.run_report("--nonsense").returncode, 2)


if __name__ == "__main__":
    unittest.main()
