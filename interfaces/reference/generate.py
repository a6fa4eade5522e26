#!/usr/bin/env python3
"""Makes the reference: HTML, manual pages, and what the shell knows of the command.

    generate.py --root TREE --output DIR --version VERSION [--command FILE] [--results DIR]

`--command` is what `nuv describe` prints; without it there is no page on the command. `--results` is where scripts/bench
leaves its measurements.
"""

import argparse
import json
import shutil
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parents[1] / "catalogue"), str(HERE.parents[1] / "bench")]

from completion import bash_completion
from html_pages import Site
from man_pages import command_page, document_page, routine_files
from pages import make_pages
from report import UNITS, read_results
from signatures import write_if_changed

DOCUMENTS = ("languages", "running", "troubleshooting")
SHOWN_SIZES = 4


def add_speeds(pages, results):
    """The largest sizes that were measured of each member."""
    lines, units, _ = read_results(results)
    for page in pages:
        for _, name, _ in page.members:
            if name in units:
                unit, scale = UNITS[units[name]]
                points = sorted(lines[name].get("nuv", []))[-SHOWN_SIZES:]
                page.speeds += [(name, size, f"{rate / scale:.3g} {unit}", share) for size, rate, share in points]


def all_files(root, version, program=None, results=None):
    """Path relative to the output folder -> text."""
    pages, services = make_pages(root)
    if results and results.is_dir():
        add_speeds(pages, results)
    site = Site(pages, version)
    documents = {name: (root / "docs" / f"{name}.md").read_text() for name in DOCUMENTS}
    targets = {f"{name}.md": f"{name}.html" for name in DOCUMENTS}
    others = [(f"{name}.html", text.splitlines()[0].lstrip("# ")) for name, text in documents.items()]
    others.append(("services.html", "Services"))

    files = {f"html/routines/{page.name}.html": site.page(page) for page in pages}
    files |= {f"html/{name}.html": site.document(text, targets) for name, text in documents.items()}
    files["html/services.html"] = site.services(services)
    files |= {f"man/{path}": text for path, text in routine_files(pages, version).items()}
    files["man/man7/nuv.7"] = document_page(
        "nuv", "calls from each language, variables of the environment, and what goes wrong at first", documents.values(), version)
    if program:
        others.insert(0, ("command.html", "The command"))
        files["html/command.html"] = site.command(program)
        files["man/man1/nuv.1"] = command_page(program, version)
        files["completions/nuv"] = bash_completion(program)
    files["html/index.html"] = site.index(others)
    return files


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", type=Path, required=True)
    parser.add_argument("--output", type=Path, required=True, metavar="DIR")
    parser.add_argument("--version", required=True)
    parser.add_argument("--command", type=Path, metavar="FILE")
    parser.add_argument("--results", type=Path, metavar="DIR")
    options = parser.parse_args(argv)
    program = json.loads(options.command.read_text()) if options.command else None
    files = all_files(options.root.resolve(), options.version, program, options.results)
    for name, text in files.items():
        write_if_changed(options.output / name, text)
    for file in (HERE / "static").iterdir():
        shutil.copyfile(file, options.output / "html" / file.name)
    kept = {options.output / name for name in files} | {options.output / "html" / f.name for f in (HERE / "static").iterdir()}
    for file in options.output.rglob("*"):
        if file.is_file() and file not in kept and file.suffix in (".html", ".3"):
            file.unlink()  # of an operation that has gone
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
