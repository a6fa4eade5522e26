"""Manual pages in the language of groff's macro package man."""

import calls
from paragraphs import of_comment, of_markdown, split_markup

SECTIONS = {1: "User commands", 3: "Library functions", 7: "Overview"}


def escape(text):
    """Text as the formatter is to show it: neither its characters nor its start of a line give orders."""
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\`").replace("^", "\\(ha")
    text = text.replace("~", "\\(ti")
    return "\n".join("\\&" + line if line.startswith(".") else line for line in text.split("\n"))


def bold(text):
    return f"\\fB{escape(text)}\\fR"


def top(name, section, version):
    return [f'.TH "{escape(name.upper())}" {section} "" "nuv {version}" "{SECTIONS[section]}"']


def verbatim(text):
    return [".PP", ".nf", ".RS 4", escape(text), ".RE", ".fi"]


def comment(text):
    out = []
    for piece in of_comment(text):
        out += verbatim(piece.text) if piece.kind == "code" else [".PP", escape(piece.text)]
    return out


def item(head, text):
    return [".TP", head, escape(text) or "\\&"]


# ------------------------------------------------------------------------------------------------------- an operation


def synopsis(variant):
    precision, _, exported = variant.principal
    out = [".PP", escape(", ".join(n for _, n, _ in variant.members))]
    if calls.has_simple_call(variant.routine):
        out += verbatim(calls.cxx(variant.routine, precision))
        out += verbatim(calls.c_by_value(variant.routine, precision))
    out += verbatim(calls.c_by_reference(variant.routine, precision, exported))
    out += verbatim(calls.fortran(variant))
    return out


def arguments(page):
    out = []
    for variant in page.variants:
        heading = "ARGUMENTS"
        if len(page.variants) > 1:
            heading += " OF " + ", ".join(n for _, n, _ in variant.members)
        out.append(f".SH {escape(heading)}")
        for row in variant.rows:
            out += item(f"{bold(row.name)} ({escape(row.type)}, {row.direction})", row.text)
        if variant.workspaces:
            out += [".PP", "Workspace:"]
            for name, size in variant.workspaces:
                out += item(bold(name), size)
    return out


def routine_page(page, version):
    name = "nuv_" + page.principal
    names = ", ".join(dict.fromkeys([name] + ["nuv_" + n for _, n, _ in page.members]))
    out = top(name, 3, version)
    out += [".SH NAME", f"{escape(names)} \\- {escape(page.meaning.rstrip('.'))}", ".SH SYNOPSIS"]
    for variant in page.variants:
        out += synopsis(variant)
    if page.prose:
        out.append(".SH DESCRIPTION")
        for text in page.prose:
            out += comment(text)
    out += arguments(page)
    out += [".PP", "T is the scalar of the precision, R its real type; Int and Logical have 32 bits. Select and "
            "SelectGeneralised are functions of the caller that return whether an eigenvalue is wanted, 1 or 0."]
    if page.sources or page.family_prose:
        out.append(".SH METHOD")
        for source in page.sources:
            out += [".PP", escape(source)]
        out += comment(page.family_prose)
    if page.speeds:
        out += [".SH SPEED", "On this machine, on one thread:"]
        for member, size, rate, share in page.speeds:
            out += [".br", escape(f"{member}, size {size}: {rate}, {share:.2f} of the limit")]
    out += [".SH SEE ALSO", ", ".join([bold("nuv") + "(7)"] + [bold("nuv_" + p.principal) + "(3)" for p in page.neighbours])]
    return "\n".join(out) + "\n"


def routine_files(pages, version):
    """The page of each operation stands under the name of its principal member; the others lead there."""
    files = {}
    for page in pages:
        file = f"man3/nuv_{page.principal}.3"
        files[file] = routine_page(page, version)
        for _, name, _ in page.members:
            files.setdefault(f"man3/nuv_{name}.3", f".so {file}\n")
    return files


# -------------------------------------------------------------------------------------------------- documents, section 7


def document_page(name, about, texts, version):
    """Pages of docs/ one behind the other; the title of each is a section."""
    out = top(name, 7, version) + [".SH NAME", f"{name} \\- {escape(about)}"]
    for text in texts:
        for piece in of_markdown(text):
            body = "".join(markup(*run) for run in split_markup(piece.text))
            if piece.kind == "heading":
                out.append(f".S{'H' if piece.level == 1 else 'S'} {body}")
            elif piece.kind == "code":
                out += verbatim(piece.text)
            elif piece.kind == "item":
                out += [".IP \\(bu 2", body]
            else:
                out += [".PP", body]
    return "\n".join(out) + "\n"


def markup(kind, text, target):
    return bold(text) if kind == "code" else escape(text)


# ----------------------------------------------------------------------------------------------- the command, section 1


def option_item(option):
    is_option = option["names"][0].startswith("-")
    names = ", ".join(bold(n) for n in option["names"])
    value = f" \\fI{escape(option['value'])}\\fR" if option["value"] and is_option else ""
    choices = f" {{{', '.join(option['choices'])}}}" if option["choices"] else ""
    return item(f"{names}{value}{escape(choices)}", option["about"])


def usage(command):
    words = [a["names"][0] if a["is_required"] else f"[{a['names'][0]}]" for a in command["arguments"]]
    return " ".join(["[OPTIONS]"] * bool(command["options"]) + words)


def command_page(program, version):
    name = program["name"]
    help_options = {tuple(o["names"]) for o in program["options"]}
    about = " ".join(program["about"].split())
    out = top(name, 1, version) + [".SH NAME", f"{name} \\- {escape(about.rstrip('.'))}", ".SH SYNOPSIS"]
    for command in program["commands"]:
        out += [f"{bold(name)} {bold(command['name'])} {escape(usage(command))}", ".br"]
    out += [".SH DESCRIPTION", escape(about)]
    out += verbatim(program["footer"]) if program["footer"] else []
    out.append(".SH OPTIONS")
    for option in program["options"]:
        out += option_item(option)
    for command in program["commands"]:
        out += [f".SH {escape(name + ' ' + command['name'])}"]
        out += [escape(command["about"])]
        for option in command["arguments"] + command["options"]:
            if tuple(option["names"]) not in help_options:
                out += option_item(option)
        if command["footer"]:
            out += [".PP", ".nf", escape(command["footer"]), ".fi"]
    out += [".SH SEE ALSO", f"{bold('nuv')}(7): variables of the environment, configuration, thread layers, and what goes "
            "wrong at first"]
    return "\n".join(out) + "\n"
