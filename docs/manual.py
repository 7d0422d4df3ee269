"""A page of the manual: reads the HTML of one Markdown page and prints a whole document. Headings get the names that
links use, and links to Markdown pages become links to HTML pages.

    manual.py < PAGE > DOCUMENT
    manual.py --links DIRECTORY     checks the links of all pages there
"""

import html
import pathlib
import re
import sys

HEAD = """<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>{title} – libTarvUtil</title>
<style>
body {{ max-width: 50rem; margin: 2rem auto; padding: 0 1rem; font: 1rem/1.5 system-ui, sans-serif; }}
pre {{ overflow-x: auto; padding: 0.7rem; border: 1px solid #8886; border-radius: 4px; font-size: 0.85rem; }}
table {{ display: block; overflow-x: auto; border-collapse: collapse; }}
th, td {{ padding: 0.2rem 0.6rem; border: 1px solid #8886; text-align: left; vertical-align: top; }}
[align=right] {{ text-align: right; }}
img {{ max-width: 100%; background: white; }}
</style>
</head>
<body>
"""


def plain(markup):
    return html.unescape(re.sub("<[^>]*>", "", markup))


def named(heading):
    """The heading with the name that Markdown's links have for it: "Net charge, nC" -> net-charge-nc."""
    level, inside = heading.groups()
    name = re.sub(r"[^\w\- ]", "", plain(inside).lower()).replace(" ", "-")
    return f'<h{level} id="{name}">{inside}</h{level}>'


def document(body):
    title = plain(re.search("<h1>(.*?)</h1>", body)[1])
    body = re.sub(r"<h([1-6])>(.*?)</h\1>", named, body)
    body = re.sub(r'(href="[^":]+)\.md(?=["#])', r"\1.html", body)
    return HEAD.format(title=html.escape(title)) + body + "</body>\n</html>\n"


def dead_links(directory):
    pages = {path.resolve(): path.read_text() for path in pathlib.Path(directory).rglob("*.html")}
    for path, text in pages.items():
        for target, name in re.findall(r'(?:href|src)="([^":#]*)(?:#([^"]*))?"', text):
            found = (path.parent / target).resolve() if target else path
            if not found.exists() or (name and f'id="{name}"' not in pages[found]):
                yield f"{path.name}: {target}{'#' + name if name else ''} leads nowhere"


if sys.argv[1:2] == ["--links"]:
    sys.exit("\n".join(dead_links(sys.argv[2])) or 0)
sys.stdout.write(document(sys.stdin.read()))
