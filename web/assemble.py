"""Puts the page together: assemble.py LIBRARY.js LIBRARY.wasm, run at the root of the project, prints one HTML file.

Scripts and styles stand in it as they are, and its policy lets only these run, by their hashes. Data are blocks that
never run: the WebAssembly as base64, the constants of the C header and the protocols of patterns/ as JSON.
"""

import base64
import hashlib
import json
import pathlib
import re
import sys


def read(path):
    return pathlib.Path(path).read_text()


def constants():
    header = read("c/tarvutil.h")
    return {name: int(value) for name, value in re.findall(r"TARVUTIL_(\w+) = (-?\d+)", header)}


def protocols():
    """The texts of patterns/, each with the options in the first line of its file. The rows of a schedule have tabs."""
    found = []
    for path in sorted(pathlib.Path("patterns").glob("*.txt"), reverse=True):
        first, *lines = read(path).splitlines()
        options = dict(re.findall(r"--([a-z-]+) (\S+)", first))
        found += [{"text": line, "options": options} for line in lines if line and line[0] != "#" and "\t" not in line]
    return found


def data(value):
    return json.dumps(value, separators=(",", ":")).replace("<", "\\u003c")


def allowed(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def main():
    glue, wasm = sys.argv[1:]
    style = read("web/uplot/uPlot.min.css") + read("web/page.css")
    scripts = {"plot": read("web/uplot/uPlot.iife.min.js"), "library": read(glue), "page": read("web/page.js")}
    for name, text in {**scripts, "style": style}.items():
        if re.search("</(script|style)", text, re.IGNORECASE) or "<!--" in text:
            sys.exit(f"{name}: would end its element")
    policy = "; ".join([
        "default-src 'none'", "base-uri 'none'", "form-action 'none'", "img-src data: blob:",
        "script-src 'wasm-unsafe-eval' " + " ".join(map(allowed, scripts.values())), "style-src " + allowed(style)])
    parts = {"policy": policy, "style": style, **scripts, "constants": data(constants()), "protocols": data(protocols()),
             "licence": read("LICENSE"), "plotlicence": read("web/uplot/LICENSE"),
             "wasm": base64.b64encode(pathlib.Path(wasm).read_bytes()).decode()}
    sys.stdout.write(re.sub("@([a-z]+)@", lambda part: parts[part[1]], read("web/page.html")))


main()
