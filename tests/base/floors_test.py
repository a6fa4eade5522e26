"""Tests that each room of the sources includes headers of its own floor and of those below alone."""

import re
import sys
import tempfile
import unittest
from pathlib import Path

TREE = Path(__file__).resolve().parents[2]
FAMILIES = {"generalised", "generators", "nonsymmetric", "orthogonal", "solvers", "svd", "symmetric"}

# Folder: the rooms that it may include. The layers take sizes and the shapes of shared work from the families that call
# them; no code.
FLOORS = {
    "src/base": {"base"},
    "src/frame": {"base", "frame"},
    "kernels": {"base", "frame", "kernels"},
    "threading": {"base", "frame", "kernels", "environment", "svd", "symmetric", "threading"},
    "src/environment": {"base", "frame", "environment"},
    **{f"src/{family}": {"base", "frame", "environment"} | FAMILIES for family in FAMILIES},
    "interfaces": {"base", "frame", "interfaces"},
}


def wrong_includes(root: Path) -> list[str]:
    """Each include of a room that its own floor must not know, as FILE: HEADER, and folders without a floor."""
    wrong = []
    folders = [folder for folder in (root / "src").iterdir() if folder.is_dir()]
    folders += [root / name for name in ("kernels", "threading", "interfaces") if (root / name).is_dir()]
    for folder in folders:
        name = str(folder.relative_to(root))
        if name not in FLOORS:
            wrong.append(f"{name}: no floor")
            continue
        for source in folder.rglob("*.[hc]*"):
            if source.suffix not in (".hpp", ".cpp", ".h", ".c"):
                continue
            for header in re.findall(r'^\s*#\s*include "(\w+/[^"]+)"', source.read_text(), re.MULTILINE):
                if header.split("/")[0] not in FLOORS[name]:
                    wrong.append(f"{source.relative_to(root)}: {header}")
    return sorted(wrong)


class Floors(unittest.TestCase):
    def test_the_tree(self):
        self.assertEqual(wrong_includes(TREE), [])

    def test_what_is_wrong_is_found(self):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            files = {
                "src/base/types.hpp": '#include "frame/pool.hpp"\n',
                "src/svd/driver.cpp": '#include "base/types.hpp"\n# include "tools/table.hpp"\n',
                "src/newcomer/a.hpp": "",
                "kernels/special/sum.cpp": '#include "layer.hpp"\n#include "threading/level3/parallel.hpp"\n',
            }
            for name, text in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            self.assertEqual(wrong_includes(root), [
                "kernels/special/sum.cpp: threading/level3/parallel.hpp",
                "src/base/types.hpp: frame/pool.hpp",
                "src/newcomer: no floor",
                "src/svd/driver.cpp: tools/table.hpp",
            ])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
