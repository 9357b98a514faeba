# SPDX-License-Identifier: MIT
"""usage: manual.py LIBRARY PRINT-FILES

Compares the manual pages with the public header, with the functions that the library exports and with velmorctl's table
of files. Has man and mandoc check them and the pages of the commands. Shows that a header whose documentation is
incomplete or not understood makes no pages.
"""

import errno
import fnmatch
import functools
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

root = pathlib.Path(__file__).resolve().parents[2]
header = (root / "include/velmor.h").read_text(encoding="utf-8")
SECTIONS = ["NAME", "LIBRARY", "SYNOPSIS", "DESCRIPTION", "RETURN VALUE", "ERRORS", "THREADS", "NOTES", "EXAMPLES",
            "SEE ALSO"]
# What the user has set for man and groff does not matter.
ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
failures = 0


def check(fine, message):
    global failures
    if not fine:
        print("not ok:", message)
        failures += 1


def make_pages(header_text, directory):
    """The result of pages.py for a header."""
    header_file = pathlib.Path(directory, "velmor.h")
    header_file.write_text(header_text, encoding="utf-8")
    return subprocess.run(
        [sys.executable, "-B", root / "man/pages.py", header_file, root / "CHANGELOG.md", directory],
        capture_output=True, text=True, check=False)


@functools.cache
def rendered(*pages, width=250):
    return subprocess.run(["man", "-l", *pages], capture_output=True, text=True, check=True,
                          env={**ENVIRONMENT, "MANWIDTH": str(width)}).stdout


def part(text, section):
    """The text of a section of a page."""
    return re.search(rf"(?:^{section}\n((?: .*|)\n)+|\Z)", text, re.MULTILINE)[0]


def words(text):
    """The words of a text and its numbers with their signs, without what the pages add to the names of functions and
    sections."""
    text = re.sub(r'\([37]\)|(?<=") in\s+velmor\(7\)', " ", text)
    return " ".join(re.findall(r"(?<!\w)-\w+|\w+", text.lower()))


def fragments(comment):
    """The texts of a comment that are in one piece on a page."""
    text = re.sub(r"^ \* ?", "", comment, flags=re.MULTILINE)
    text = re.sub(r"\n {2,}", " ", text)
    cuts = (r"^## |^ - |\||\n\n|@param \w+|@return|@note|HAZARD:"
            r"|(?:Own|Kernel) errors:|(?<=[;.:]) -(?:\d+|errno)\b|No kernel errors\."
            r"|or negative\.|(?<=\.) (?=[A-Z])|Any thread")
    return [each for each in map(words, re.split(cuts, text, flags=re.MULTILINE)) if each]


def check_contents(name, comment, text):
    found = f" {words(text)} "
    for fragment in fragments(comment):
        check(f" {fragment} " in found, f"{name} lacks: {fragment}")


def documented_errors(text, kind):
    """The numbers of the "Own" or "Kernel" errors in a function's documentation, each with its text."""
    text = re.split(r"No kernel errors\.|Kernel errors:|@note", text.partition(f"{kind} errors: ")[2])[0]
    return [(number, words(meaning)) for number, meaning in
            re.findall(r"(?:^|(?<=[;.] ))(-(?:\d+|errno)\b)(.*?)(?=[;.] -(?:\d+|errno)\b|$)", text)]


def check_errors(name, comment, text):
    """The page has the numbers of the comment, each with its text and, if it always has the same errno, that name."""
    documentation = " ".join(re.sub(r"^ \* ?", "", comment, flags=re.MULTILINE).split())
    for kind in "Own", "Kernel":
        subsection = re.search(rf"^   {kind} errors\n((?: {{7}}.*\n|\n)*)", text, re.MULTILINE)[1]
        entries = re.findall(r"^ {7}(-\w+)(?: \((\w+)\))?((?:\n {14}| ).*(?:\n {14}.*)*)", subsection, re.MULTILINE)
        expected = documented_errors(documentation, kind)
        check(expected or (kind == "Kernel" and "No kernel errors." in documentation), f"{name} has no {kind} errors")
        shown = [(number, words(meaning)) for number, _, meaning in entries]
        for position, (number, meaning) in enumerate(expected):
            if not meaning:
                general = re.search(rf"^ \*  - {number}.*?: ((?:.*\n \*    )*.*)", header, re.MULTILINE)[1]
                expected[position] = (number, words(general.replace("\n * ", " ")))
        check(shown == expected, f"{name}: {kind} errors {shown}, not {expected}")
        for number, symbol, _ in entries:
            check(not symbol or getattr(errno, symbol) == -int(number), f"{name}: {number} ({symbol})")
            check(symbol or number in ("-1", "-errno") or kind == "Kernel", f"{name}: {number} without its name")


def check_example(name, text):
    """The page has the first example of the family that calls the function. Otherwise it has the family's first one,
    below the names of the functions that it does call."""
    family = header[:header.index(f"VELMOR_API int {name}(")].rpartition(" * @name ")[2]
    examples = re.findall(r" \* @code\n(.*?) \* @endcode\n", family, re.DOTALL)
    calling = [each for each in examples if re.search(rf"\b{name}\(", each)]
    example = (calling or examples)[0]
    code = "".join(f"           {line[3:]}\n" for line in example.splitlines())
    before = re.search(r"^EXAMPLES\n((?:.*\n)*)SEE ALSO\n", text, re.MULTILINE)[1].partition(code + "\n")
    check(before[1:] == (code + "\n", ""), f"{name} lacks the example {code}")
    heading = before[0].strip()
    check(heading.startswith("Example of ") != bool(calling), f"{name} shows another function's example: {heading}")
    for each in re.findall(r"(\w+)\(3\)", heading):
        check(f"{each}(" in example, f"{name} shows no example of {each}")
    check(calling or "(3)" in heading, f"{name} does not name the functions of its example: {heading}")


def check_functions(directory, library):
    documented = re.findall(r"/\*\*\n((?: \*.*\n)*?) \*/\nVELMOR_API int (\w+)\((.*)\);", header)
    declared = re.findall(r"^VELMOR_API int (\w+)", header, re.MULTILINE)
    symbols = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True).stdout
    pages = sorted(page.stem for page in directory.glob("man3/*.3"))
    check(pages == sorted(declared), f"pages {pages}, functions {sorted(declared)}")
    check(pages == sorted(re.findall(r" T (\w+)$", symbols, re.MULTILINE)), f"pages {pages}, exports {symbols}")
    for comment, name, parameters in documented:
        text = rendered(directory / f"man3/{name}.3")
        sections = re.findall(r"^[A-Z].*", text, re.MULTILINE)
        check([each for each in sections if each in SECTIONS] == SECTIONS, f"{name} has the sections {sections}")
        check(words(f"{name}({parameters})") in words(text), f"{name} lacks its prototype")
        description = text.partition("\nDESCRIPTION\n")[2].partition("\nRETURN VALUE\n")[0]
        check("negative" in part(text, "RETURN VALUE").lower(), f"{name} returns {part(text, 'RETURN VALUE')}")
        check(re.search("thread|overlap", part(text, "THREADS")), f"{name}: {part(text, 'THREADS')}")
        for parameter in re.findall(r"(\w+)(?:,|$)", parameters):
            check(parameter == "void" or re.search(rf"^ {{7}}{parameter}(\n {{14}}| +)\S", description, re.MULTILINE),
                  f"{name} does not describe {parameter}")
        types = description.partition("\nTYPES\n")[2]
        for kind in set(re.findall(r"\w+_t\b|\w+_ctx\b", parameters)) - {"uint16_t", "uint32_t", "size_t"}:
            check(f" {kind};\n" in types, f"{name} lacks the type {kind}")
        check_contents(name, comment, text)
        check_errors(name, comment, text)
        check_example(name, text)


def check_library(directory):
    text = rendered(directory / "man7/velmor.7")
    head = header.partition("@brief")[2].partition(" */\n")[0]
    # The sections of a family are on the pages of its functions.
    levels = re.search(r" \* ## Backlight levels\n(?: \*(?! ##).*\n)*", head)[0]
    check_contents("backlight_set", levels, rendered(directory / "man3/backlight_set.3"))
    check_contents("velmor", head.replace(levels, "").partition(" * ## ")[2], text)
    for name in re.findall(r"^VELMOR_API int (\w+)", header, re.MULTILINE):
        check(f"{name}(3)\n" in text, f"velmor(7) does not list {name}")
    board = (root / "src/core/board_configuration.cpp").read_text(encoding="utf-8")
    files = text.partition("\nFILES\n")[2]
    for path in re.findall(r'"(/\S+)"', board):
        check(path in files, f"velmor(7) lacks {path}")


def check_files(directory, print_files):
    """The pages name the files of this device that velmorctl's table has, with the functions that use them."""
    table = set()
    printed = subprocess.run([print_files], capture_output=True, text=True, check=True).stdout
    for path, readers, writers, boards in (line.split("\t") for line in printed.splitlines()):
        if boards == "this device":
            table |= {(path, user) for user in [*readers.split(), *writers.split()]}
    paths = {path for path, _ in table}
    entries = dict(re.findall(r"^ {7}(/\S+)\n((?: {14}.*\n)+)", part(rendered(directory / "man7/velmor.7"), "FILES"),
                              re.MULTILINE))
    found = set()
    for pattern, text in entries.items():
        users = re.findall(r"(\w+)\(3\)", text) + ["start"] * ("the first call" in text)
        # "<...>" is any name that has no entry of its own.
        matching = [path for path in paths if path == pattern or path not in entries
                    and fnmatch.fnmatchcase(path, re.sub("<.*?>", "*", pattern))]
        check(matching, f"velmor(7): nothing uses {pattern}")
        found |= {(path, user) for path in matching for user in users}
    check(found == table, f"velmor(7) and velmorctl's table differ in {sorted(found ^ table)}")
    for page in directory.glob("man3/*.3"):
        text = part(rendered(page), "FILES")
        expected = [pattern for pattern in entries if f"{page.stem}(3)" in entries[pattern]]
        check(re.findall(r"^ {7}(/\S+)$", text, re.MULTILINE) == expected, f"{page.stem}: {text}, not {expected}")


def check_warnings(directory):
    pages = sorted(directory.glob("man?/*"))
    commands = sorted(root.glob("docs/*.1"))
    said = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", *pages, *commands],
                          env=ENVIRONMENT, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False)
    check(said.returncode == 0 and not said.stderr, f"man: {said.stderr}")
    # A terminal of 80 columns shows every line.
    for line in rendered(*pages, width=80).splitlines():
        check(len(line) <= 80, f"a line of {len(line)} columns: {line}")
    if shutil.which("mandoc"):
        said = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", *pages, *commands],
                              capture_output=True, text=True, check=False)
        check(said.returncode == 0 and not said.stdout, f"mandoc: {said.stdout}")


def check_broken_headers(directory):
    """Each header has one fault. Where the fault is, and what is said about it."""
    declaration = "VELMOR_API int io_get("
    param = " * @param io     line number, see io_set()\n"
    comment = header[header.rindex("/**\n", 0, header.index(declaration)):header.index(declaration)]
    faults = [
        ("no comment", comment, "", declaration, "io_get: no documentation"),
        ("an empty comment", comment, "/**\n */\n", declaration, "io_get: no documentation"),
        ("a parameter without a description", param, "", declaration, "io_get: no documentation: io"),
        ("another parameter's name", "io_get(int io,", "io_get(int line,", declaration[:-1],
         "io_get: no documentation: line"),
        ("a parameter that there is not", param, param + " * @param pin  pin\n", declaration, "io_get: .*@pin"),
        ("no result", comment, re.sub(r" \* @return .*\n( \*   .*\n)*", "", comment), declaration,
         "io_get: no documentation: return"),
        ("no note", comment, comment.replace("@note ", "  "), declaration, "io_get: no documentation: note"),
        ("a note without threads", "Any thread, but accesses to one GPIO line must not overlap. R", "R", declaration,
         "io_get: nothing about threads"),
        ("errors that are not kept apart", "Own errors: -22", "-22", declaration,
         "io_get: the result is not documented"),
        ("an unknown command", param, " * @warning hot\n" + param, " * @warning hot", "io_get: not understood"),
        ("an unknown command in a text", "see io_set()", "see @ref io_set()", "@ref", "io_get: not understood"),
        ("a numbered list", param, " * 1. one\n" + param, " * 1. one", "io_get: not understood"),
        ("a deeper list", " *  - max_brightness 7", " *      - max_brightness 7", " *      - max", "not understood"),
        ("a table row that lacks a cell", "| PWM output: 1 starts it, 0 stops it                   |", "|",
         " * | io_set(), io_get()", "a row with another number of cells"),
        ("a family without an example", " * @name IO lines\n * @code\n", " * @name IO lines\n", " * @name IO lines",
         "a family without an example"),
        ("a family of another name", " * @name IO lines\n", " * @name GPIO\n", " * @name GPIO",
         "a family with another name"),
        ("a type without a comment", "/** Level of an IO line: 0 is low (off), 1 is high (on). */\n", "",
         "typedef int32_t io_value_t", "no documentation: typedef int32_t io_value_t"),
        ("a new section of the head", " * ## What persists", " * ## Weather\n * Fine.\n *\n * ## What persists", None,
         "velmor.7.in does not have: Weather"),
    ]
    for what, old, new, place, said in faults:
        start = header.index(comment) if old in comment or old.startswith("io_get") else 0
        broken = header[:start] + header[start:].replace(old, new, 1)
        line = broken[:broken.index(place)].count("\n") + 1 if place else 1
        result = make_pages(broken, directory)
        check(result.returncode == 1 and re.search(rf"velmor\.h:{line}: .*{said}", result.stderr),
              f"{what}, line {line}: {result.returncode}, {result.stderr}")
        check(not list(directory.glob("man?")), f"{what}: makes pages")


def main():
    if not shutil.which("man"):
        print("skipped: man (Debian's man-db) is missing")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as directory:
        result = make_pages(header, directory)
        if result.returncode != 0:
            sys.exit(f"not ok: {result.stderr}")
        check_functions(pathlib.Path(directory), sys.argv[1])
        check_library(pathlib.Path(directory))
        check_files(pathlib.Path(directory), sys.argv[2])
        check_warnings(pathlib.Path(directory))
    with tempfile.TemporaryDirectory() as directory:
        check_broken_headers(pathlib.Path(directory))
    if failures:
        sys.exit(1)
    print("ok: the manual pages")


main()
