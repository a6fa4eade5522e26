"""The reference in HTML: an index with search, a page for each operation, and the pages of docs/ that go with it. Files
that lie beside each other, without a server or anything from elsewhere."""

import html
import re
from collections import defaultdict

import calls
from pages import AREAS
from paragraphs import of_comment, of_markdown, split_markup

# Names of operations that are words, too.
ORDINARY_WORDS = {"copy", "swap", "large"}
MEANING_OF_TYPES = ("T is the scalar of the precision, R its real type: float for s and c, double for d and z. Int and "
                    "Logical have 32 bits. Select and SelectGeneralised are functions of the caller that return whether an eigenvalue "
                    "is wanted, 1 or 0.")

escape = html.escape


class Site:
    def __init__(self, pages, version):
        self.pages = pages
        self.version = version
        self.names = {p.name for p in pages if len(p.name) >= 4} - ORDINARY_WORDS

    # ------------------------------------------------------------------------------------------------------- pieces

    def linked(self, text, own_name=""):
        """Text of a comment, with names of operations as links."""
        link = lambda m: (f'<a href="{m[0]}.html">{m[0]}</a>' if m[0] in self.names and m[0] != own_name else m[0])
        return re.sub(r"[a-z]\w+(?![\w/.])", link, escape(text))

    def prose(self, text, own_name=""):
        out = []
        for piece in of_comment(text):
            body = self.linked(piece.text, own_name)
            out.append(f"<pre>{body}</pre>" if piece.kind == "code" else f"<p>{body}</p>")
        return "\n".join(out)

    def frame(self, title, body, depth, search_id=""):
        up = "../" * depth
        field = (f'<form action="{up}index.html" role="search"><input type="search" name="q" placeholder="Search: dgesv, '
                 f'least squares, ..." aria-label="Search the reference" autocomplete="off"{search_id}></form>')
        return f"""<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{escape(title)}</title>
<link rel="stylesheet" href="{up}style.css">
</head>
<body>
<a class="skip" href="#content">To the content</a>
<header class="top"><div><a class="home" href="{up}index.html">nuv reference</a>{field}</div></header>
<main id="content">
{body}
</main>
<footer>nuv {escape(self.version)}. Made from the catalogue and the comments in the headers.</footer>
</body>
</html>
"""

    # -------------------------------------------------------------------------------------------------- an operation

    def arguments(self, page, variant):
        rows = []
        for row in variant.rows:
            rows.append(f'<div class="argument"><dt><b>{row.name}</b><br><span class="type">{escape(row.type)}, '
                        f'{row.direction}</span></dt><dd>{self.linked(row.text, page.name)}</dd></div>')
        return '<dl class="arguments">' + "\n".join(rows) + "</dl>"

    def variant(self, page, variant):
        precision, _, exported = variant.principal
        heading = ", ".join(n for _, n, _ in variant.members)
        out = []
        if len(page.variants) > 1:
            out.append(f"<h2>{heading}</h2>")
            if variant.routine.meaning != page.meaning:
                out.append(f"<p>{self.linked(variant.routine.meaning, page.name)}</p>")
        sub = "h3" if len(page.variants) > 1 else "h2"
        out.append(f"<{sub}>Calls</{sub}>")
        if calls.has_simple_call(variant.routine):
            out.append(f"<h3>C++</h3><pre>{escape(calls.cxx(variant.routine, precision))}</pre>")
            out.append(f"<h3>C</h3><pre>{escape(calls.c_by_value(variant.routine, precision))}</pre>")
        out.append("<h3>C, by the Fortran convention, as all libraries export it</h3>"
                   f"<pre>{escape(calls.c_by_reference(variant.routine, precision, exported))}</pre>")
        out.append(f"<h3>Fortran</h3><pre>{escape(calls.fortran(variant))}</pre>")
        out.append(f"<{sub}>Arguments</{sub}>")
        out.append(self.arguments(page, variant))
        if variant.workspaces:
            out.append(f"<{sub}>Workspace</{sub}><ul>")
            out += [f"<li><code>{name}</code>: {escape(size)}</li>" for name, size in variant.workspaces]
            out.append("</ul>")
        return "\n".join(out)

    def speeds(self, page):
        if not page.speeds:
            return ""
        rows = "".join(f"<tr><td>{member}</td><td>{size}</td><td>{rate}</td><td>{share:.2f}</td></tr>"
                       for member, size, rate, share in page.speeds)
        return ("<h2>Speed on this machine</h2><table><tr><th>routine</th><th>size</th><th>rate</th><th>of limit</th></tr>"
                f"{rows}</table><p class=\"soft\">On one thread, measured by <code>scripts/bench</code>; the limit is that "
                "of arithmetic or memory, whichever the routine is measured against.</p>")

    def method(self, page):
        items = "".join(f"<li>{escape(source)}</li>" for source in page.sources)
        sources = f"<ul>{items}</ul>" if items else ""
        family = self.prose(page.family_prose, page.name)
        if not sources and not family:
            return ""
        details = f"<details><summary>What its family has in common</summary>{family}</details>" if family else ""
        return f"<h2>Method</h2>{sources}{details}"

    def page(self, page):
        members = " ".join(name for _, name, _ in page.members)
        body = [f"<h1>{page.name}</h1>", f'<p class="members">{members}</p>',
                f'<p class="lead">{self.linked(page.meaning, page.name)}</p>']
        body += [self.prose(text, page.name) for text in page.prose if text != page.meaning]
        body += [self.variant(page, variant) for variant in page.variants]
        body.append(f'<p class="soft">{MEANING_OF_TYPES}</p>')
        body += [self.method(page), self.speeds(page)]
        if page.neighbours:
            links = " ".join(f'<a href="{p.name}.html">{p.name}</a>' for p in page.neighbours)
            body.append(f'<h2>See also</h2><nav class="pages">{links}</nav>')
        return self.frame(f"{page.name}: {page.meaning}", "\n".join(body), 1)

    # ----------------------------------------------------------------------------------------------------- the index

    def entry(self, page):
        names = " ".join([page.name, *(name for _, name, _ in page.members)])
        words = " ".join(re.sub(r"[^\w()']+", " ", f"{page.meaning} {page.topic} {AREAS[page.area]}").lower().split())
        return (f'<li data-names="{names}" data-words="{escape(words)}"><a href="routines/{page.name}.html">{page.name}</a>'
                f"<span>{escape(page.meaning)}</span></li>")

    def index(self, others):
        by_area = defaultdict(lambda: defaultdict(list))
        for page in self.pages:
            by_area[page.area][page.topic].append(page)
        listed = []
        for area, title in AREAS.items():
            if area not in by_area:
                continue
            listed.append(f'<h2 id="{area}">{title}</h2>')
            for topic, pages in by_area[area].items():
                listed.append(f"<h3>{escape(topic)}</h3><ul class=\"routines\">")
                listed += [self.entry(page) for page in pages]
                listed.append("</ul>")
        areas = "".join(f'<a href="#{area}">{title}</a>' for area, title in AREAS.items() if area in by_area)
        pages = "".join(f'<a href="{file}">{escape(title)}</a>' for file, title in others)
        body = f"""<h1>Reference</h1>
<p>Each name stands for its members in the precisions s, d, c and z (real and complex, single and double): gesv for sgesv,
dgesv, cgesv and zgesv. Search takes names of any interface and words that say what a routine does; <kbd>/</kbd> goes to the
field, <kbd>↑</kbd> and <kbd>↓</kbd> choose, <kbd>Enter</kbd> opens.</p>
<nav class="pages" aria-label="Other pages">{pages}</nav>
<p id="count" class="soft" role="status"></p>
<ul class="routines" id="answer"></ul>
<div id="everything">
<h2>Areas</h2>
<nav class="pages" aria-label="Areas">{areas}</nav>
{chr(10).join(listed)}
</div>
<script src="search.js"></script>"""
        return self.frame("nuv reference", body, 0, ' id="search"')

    # ------------------------------------------------------------------------------------------------------ documents

    def document(self, text, targets):
        """A page of docs/; `targets` maps its links to files of the reference. Other links become plain text."""
        out, title, in_list = [], "", False
        for piece in of_markdown(text):
            body = "".join(self.run(*run, targets) for run in split_markup(piece.text))
            if (piece.kind == "item") != in_list:
                out.append("<ul>" if not in_list else "</ul>")
                in_list = not in_list
            if piece.kind == "heading":
                title = title or piece.text
                out.append(f"<h{piece.level}>{body}</h{piece.level}>")
            elif piece.kind == "code":
                out.append(f"<pre>{escape(piece.text)}</pre>")
            else:
                out.append(f"<li>{body}</li>" if in_list else f"<p>{body}</p>")
        if in_list:
            out.append("</ul>")
        return self.frame(title, "\n".join(out), 0)

    def run(self, kind, text, target, targets):
        if kind == "code":
            return f"<code>{escape(text)}</code>"
        if kind == "link" and target in targets:
            return f'<a href="{targets[target]}">{escape(text)}</a>'
        return escape(text)

    def services(self, services):
        rows = "".join(f'<div><dt><b><code>{escape(s.declaration)}</code></b></dt><dd>{escape(s.meaning)}</dd></div>'
                       for s in services)
        return self.frame("nuv: services", f'<h1>Services</h1><p class="lead">What the libraries offer beside their '
                          f'routines, in <code>nuv/nuv_services.h</code>.</p><dl class="arguments services">{rows}</dl>', 0)

    def command(self, program):
        body = ["<h1>The command</h1>", f'<p class="lead">{escape(program["about"])}</p>']
        for command in program["commands"]:
            usage = " ".join(a["names"][0] if a["is_required"] else f"[{a['names'][0]}]" for a in command["arguments"])
            body.append(f'<h2 id="{command["name"]}">nuv {command["name"]} {usage}</h2><p>{escape(command["about"])}</p>')
            rows = []
            for option in command["arguments"] + command["options"]:
                value = f" {option['value']}" if option["value"] and option["names"][0].startswith("-") else ""
                choices = f"<br><span class=\"type\">{', '.join(option['choices'])}</span>" if option["choices"] else ""
                rows.append(f"<div><dt><code>{escape(', '.join(option['names']) + value)}</code>{choices}</dt>"
                            f"<dd>{escape(option['about'])}</dd></div>")
            body.append(f'<dl class="arguments">{"".join(rows)}</dl>')
            if command["footer"]:
                body.append(f"<pre>{escape(command['footer'])}</pre>")
        return self.frame("nuv: the command", "\n".join(body), 0)
