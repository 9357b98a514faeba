# SPDX-License-Identifier: MIT
"""usage: pages.py HEADER CHANGELOG DIRECTORY

Writes the manual pages of the library into DIRECTORY: man3/FUNCTION.3 for each function that the header declares, and
man7/velmor.7 from velmor.7.in. Their text is the header's. Their date is that of the newest release in the changelog.
Exit status: 0; 1 if something in the header is missing or not understood, with the line and the function's name.
"""

import fnmatch
import pathlib
import re
import sys

HEADING = re.compile(r"/\* ---- (.+?) -+ \*/$")
PROTOTYPE = re.compile(r"VELMOR_API (\w+) (\w+)\((.*)\);$")
COMMAND = re.compile(r"@(?:(return|note)|(param) (\w+) )\s*(\S.*)$")
# Markup that the header does not use. The pages would show it as it is.
MARKUP = re.compile(r"[`\\]|\*\*|\]\(|@\w|</|^\d+\. |^#")


# The beginning of an entry about a file.
PATH = re.compile(r"(/\S+): ")
# What the middle of a page's first line says.
MANUALS = {3: "Library Functions", 7: "Miscellaneous"}


class Unknown(Exception):
    """Something that is missing or not understood, at a line of the header."""

    def __init__(self, line, message):
        super().__init__(message)
        self.line = line


# ---- The header -----------------------------------------------------------------------------------------------------


def comment(lines, start):
    """The text of the comment that begins at line number `start`, as numbered lines, and the number of its last."""
    if lines[start - 1].endswith("*/"):
        return [(start, lines[start - 1][3:-2].strip())], start
    texts = []
    for number, line in enumerate(lines[start:], start + 1):
        if line == " */":
            return texts, number
        if line != " *" and not line.startswith(" * "):
            raise Unknown(number, f"not understood: {line}")
        texts.append((number, line[3:]))
    raise Unknown(start, "a comment without an end")


def checked(number, line):
    if MARKUP.search(line):
        raise Unknown(number, f"not understood: {line}")
    return line


def blocks(numbered):
    """The parts of a text: pairs of "text" and a paragraph, "list" and its entries, "table" and its rows."""
    found = []
    last = None  # the kind of the line before
    for number, line in numbered:
        checked(number, line)
        if not line:
            last = None
        elif line.startswith("| "):
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            if last != "table":
                found.append(("table", []))
            elif len(cells) != len(found[-1][1][0]):
                raise Unknown(number, f"a row with another number of cells: {line}")
            found[-1][1].append(cells)
            last = "table"
        elif last == "table" and re.fullmatch(r"[|-]+", line):
            pass
        elif line.startswith(" - "):
            if last != "list":
                found.append(("list", []))
            found[-1][1].append(line[3:])
            last = "list"
        elif last == "list" and re.match(r"   \S", line):
            found[-1][1][-1] += line[2:]
        elif last is None and not line.startswith(" "):
            found.append(("text", line))
            last = "text"
        elif last == "text" and not line.startswith(" "):
            found[-1] = ("text", f"{found[-1][1]} {line}")
        else:
            raise Unknown(number, f"not understood: {line}")
    return found


class Function:
    def __init__(self, line, prototype, docstring):
        self.line = line
        self.result, self.name, parameters = prototype.groups()
        self.parameters = [] if parameters == "void" else parameters.split(", ")
        self.names = [re.search(r"\w+$", parameter)[0] for parameter in self.parameters]
        try:
            self.parse(docstring)
        except Unknown as unknown:
            raise Unknown(unknown.line, f"{self.name}: {unknown}") from None

    def parse(self, docstring):
        if not docstring:
            raise Unknown(self.line, "no documentation")
        texts = {}
        key = "description"
        for number, line in docstring:
            command = COMMAND.match(line)
            if command:
                key = command[1] or "@" + command[3]
                if key in texts:
                    raise Unknown(number, f"documented twice: {line}")
                line = command[4]
            elif key != "description" and re.match(r"  \S", line):
                line = line[2:]
            elif key != "description" or line.startswith(" ") or not line:
                raise Unknown(number, f"not understood: {line}")
            checked(number, line)
            texts[key] = f"{texts[key]} {line}" if key in texts else line
        expected = ["description", *("@" + name for name in self.names), "return", "note"]
        for key in expected:
            if key not in texts:
                raise Unknown(self.line, f"no documentation: {key.lstrip('@')}")
        if list(texts) != expected:
            raise Unknown(self.line, "documented in another order, or not in the prototype: " + ", ".join(texts))
        self.description = texts["description"]
        sentences = re.split(r"(?<=\.) ", texts["note"])
        self.threads = " ".join(each for each in sentences if re.search(r"\bthread\b|overlap", each))
        self.note = " ".join(each for each in sentences if each not in self.threads)
        if not self.threads:
            raise Unknown(self.line, f"nothing about threads: {texts['note']}")
        self.about = {name: texts["@" + name] for name in self.names}
        self.summary = re.split(r"\.(?: |$)|: | \(", self.description)[0]
        self.parse_result(texts["return"])

    def parse_result(self, text):
        """The errors are pairs of a number and what it means."""
        parts = re.fullmatch(r"(.+) Own errors: (.+?) (?:Kernel errors: (.+)|(No kernel errors\..*))", text)
        if not parts:
            raise Unknown(self.line, 'the result is not documented as "... Own errors: ... Kernel errors: ..."')
        self.returns = re.sub("^0, or", "0 on success, or", re.sub("or negative.$", "or a negative number on failure.",
                                                                   parts[1]))
        self.own_errors, self.kernel_errors = self.errors(parts[2]), self.errors(parts[3])
        self.no_kernel_errors = parts[4] and parts[4].replace("No kernel errors.", "None.")

    def errors(self, text):
        if not text:
            return []
        entries = [re.fullmatch(r"(-(?:\d+|errno))(?:,? (.+))?", entry)
                   for entry in re.split(r"[;.] (?=-(?:\d+|errno)\b)", text.rstrip("."))]
        if not all(entries):
            raise Unknown(self.line, f"an error without a number: {text}")
        return [entry.groups() for entry in entries]


class Type:
    """A documented type, with the declarations after it that have no comment, such as the values of an enumeration."""

    def __init__(self, docstring):
        self.text = " ".join(checked(number, line) for number, line in docstring)
        self.code, self.fields = [], []

    def add(self, number, line):
        declaration, _, about = line.partition("/**<")
        declaration = declaration.rstrip()
        self.code.append(declaration)
        if about:
            name = re.sub(r"\[\d+\]| : \d+| = \d+|[;,]", "", declaration).split()[-1]
            self.fields.append((name, checked(number, about.strip().removesuffix("*/").rstrip())))

    def names(self):
        return re.findall(r"^(?:typedef [^{]*|\} )\b(\w+);$", "\n".join(self.code), re.MULTILINE)


class Family:
    def __init__(self, heading, line, texts):
        examples = "\n".join(texts[1:])
        if not re.fullmatch(r"(@code\n.+?\n@endcode\n)+@\{", examples, re.DOTALL):
            raise Unknown(line, f"a family without an example: {texts[0]}")
        self.name = texts[0].removeprefix("@name ")
        if not heading.startswith(self.name):
            raise Unknown(line, f'a family with another name than "{heading}": {self.name}')
        self.note = heading.removeprefix(self.name).strip(" :()")
        self.examples = re.findall(r"@code\n(.+?)\n@endcode", examples, re.DOTALL)
        self.functions, self.types = [], []


class Header:
    def __init__(self, text):
        self.version = re.search(r'^#define VELMOR_VERSION_STRING "(.+)"$', text, re.MULTILINE)[1]
        self.families, self.sections = [], {}
        self.title = None
        heading, docstring, kind = "", None, None
        # The checks of the layout are not documentation.
        lines = re.sub(r"/\*\* @cond \*/.*?/\*\* @endcond \*/", lambda cut: "\n" * cut[0].count("\n"), text,
                       flags=re.DOTALL).split("\n")
        number = 0
        while number < len(lines):
            number += 1
            line = lines[number - 1]
            if HEADING.match(line):
                heading = HEADING.match(line)[1]
            elif line.startswith("/**"):
                docstring, number = comment(lines, number)
                kind = None
                first = docstring[0][1] if docstring else ""
                if first.startswith("@file "):
                    self.parse_head(docstring)
                elif first.startswith("@name "):
                    self.families.append(Family(heading, docstring[0][0], [text for _, text in docstring]))
                if first.startswith("@"):
                    docstring = None  # not that of a declaration
            elif line.startswith("VELMOR_API"):
                prototype = PROTOTYPE.match(line)
                if not prototype or not self.families:
                    raise Unknown(number, f"not understood: {line}")
                self.families[-1].functions.append(Function(number, prototype, docstring))
                docstring = None
            elif re.match("typedef |enum ", line):
                if docstring:
                    kind = Type(docstring)
                    self.families[-1].types.append(kind)
                if not kind:
                    raise Unknown(number, f"no documentation: {line}")
                docstring = None
                kind.add(number, line)
                while not re.search(r"^\}|^\S.*;$", line):
                    number += 1
                    line = lines[number - 1]
                    kind.add(number, line)
        self.functions = {function.name: function for family in self.families for function in family.functions}

    def parse_head(self, docstring):
        section = None
        numbered = {section: []}
        for number, line in docstring:
            if line.startswith("@brief "):
                self.title = line.removeprefix("@brief ")
            elif line.startswith("## "):
                section = line.removeprefix("## ")
                numbered[section] = []
            elif not line.startswith("@file "):
                numbered[section].append((number, line))
        self.sections = {section: blocks(lines) for section, lines in numbered.items()}

    def sentence(self, section, start):
        """The paragraph or the entry of a list that begins with these words."""
        for kind, content in self.sections.get(section, []):
            for text in [content] if kind == "text" else content if kind == "list" else []:
                if text.startswith(start):
                    return text
        raise Unknown(1, f'no "{start} ..." in "{section}"')


# ---- The pages ------------------------------------------------------------------------------------------------------


def escaped(text):
    """For roff. A minus sign and the dashes of quoted texts can be copied; other dashes are hyphens. No line is broken
    at the ends of a quoted text."""
    text = re.sub(r'"[^"]*"|(?<!\w)-',
                  lambda part: re.sub(r'(?<=^") | (?="$)', r"\\ ", part[0].replace("-", "\\-")), text)
    return text.replace("'", "\\(aq")


class Page:
    def __init__(self, header, name, number, date):
        self.header, self.name = header, name
        self.lines = ["'\\\" t", ".\\\" Made from velmor.h by pages.py.",
                      f'.TH {name.upper()} {number} {date} "libvelmor {header.version}" "{MANUALS[number]}"',
                      ".nh", ".ad l"]

    def write(self, path):
        path.write_text("\n".join(self.lines) + "\n", encoding="utf-8")

    def add(self, *lines):
        for line in lines:
            if line != ".PP" or not self.lines[-1].startswith((".SH", ".SS")):
                self.lines.append(line)

    def section(self, title):
        self.add(".SH " + (f'"{title.upper()}"' if " " in title else title.upper()))

    def text(self, text):
        """Functions are set in bold, with the section of their page. Quoted sections of the header's head are found in
        velmor(7), under their titles in capitals."""
        def function(call):
            if call[1] not in self.header.functions:
                return call[0]
            return f"\\fB{call[1]}\\fP" + ("()" if call[1] == self.name else "(3)")

        def section(quoted):
            if quoted[1] not in self.header.sections:
                return quoted[0]
            return f'"{quoted[1].upper()}"' + ("" if self.name == "velmor" else " in \\fBvelmor\\fP(7)")

        text = re.sub(r"\b(\w+)\(\)", function, escaped(text))
        text = re.sub(r'"([^"]+)"', section, text)
        return "\\&" + text if text.startswith(".") else text

    def paragraphs(self, text):
        """A hazard begins a paragraph."""
        for part in re.split(r"(?<=\S) (?=HAZARD: )", text):
            self.add(".PP", self.text(part).replace("HAZARD:", "\\fBHAZARD:\\fP"))

    def entry(self, tag, text, font="\\fI"):
        self.add(".TP", f"{font}{escaped(tag)}\\fP", self.text(text))

    def code(self, lines):
        lines = [line.replace("\\", "\\e").replace("-", "\\-") for line in lines]
        lines = ["\\&" + line if line.startswith((".", "'")) else line for line in lines]
        self.add(".PP", ".RS 4", ".nf", *lines, ".fi", ".RE")

    def table(self, rows):
        widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
        wide = widths.index(max(widths))
        formats = ["lx" if column == wide else "l" for column in range(len(widths))]
        self.add(".PP", ".TS", " ".join(each.replace("l", "lb") for each in formats), " ".join(formats) + ".")
        for row in rows:
            cells = [self.text(cell) if cell else "" for cell in row]
            if row != rows[0]:
                cells[wide] = f"T{{\n{cells[wide]}\nT}}"  # a cell of several lines
            self.add("\t".join(cells))
        self.add(".TE")

    def blocks(self, found):
        for kind, content in found:
            if kind == "text":
                self.paragraphs(content)
            elif kind == "table":
                self.table(content)
            else:
                for text in content:
                    path = PATH.match(text)
                    if path:
                        self.entry(path[1], text[path.end():])
                    else:
                        self.add(".IP \\(bu 2", self.text(text))


def synopsis(function):
    """The prototype, broken after a comma where it is longer than a line of the page."""
    start = f"{function.result} {function.name}("
    lines = [[]]
    length = len(start)
    for parameter in function.parameters:
        if lines[-1] and length + len(parameter) + 2 > 71:
            lines.append([])
            length = len(start)
        lines[-1].append(parameter)
        length += len(parameter) + 2
    text = (",\n" + " " * len(start)).join(", ".join(line) for line in lines) or "void"
    text = re.sub(r"(\w+)(?=,|$)", r"\\fI\1\\fB", text) if function.parameters else text
    return [f"\\fB{line}\\fP" for line in f"{start}{text});".split("\n")]


def device_rows(header, function):
    """The rows of the head's table that are most precise about a function, with the first row of the table."""
    table = next(content for kind, content in header.sections["This device"] if kind == "table")
    found = {}
    pattern = None
    for names, *cells in table[1:]:
        pattern = names.replace("()", "") or pattern
        for each in pattern.split(", "):
            if fnmatch.fnmatchcase(function.name, each):
                found.setdefault(each, [table[0][1:]]).append(cells)
    rows = found[max(found, key=len)] if found else []
    return [row if any(cells[0] for cells in rows[1:]) else row[1:] for row in rows]


def listed(names):
    """Each name once: "a, b and c"."""
    names = list(dict.fromkeys(names))
    return " and ".join(part for part in (", ".join(names[:-1]), names[-1]) if part)


def is_lacking(header, function):
    """Whether the function returns -95 on this device, whatever the index."""
    text = header.sentence("This device", "Calls with any other index").partition(": ")[2]
    return any(number == "-95" for number, _ in function.own_errors) and any(
        fnmatch.fnmatchcase(function.name, each) for each in re.findall(r"\w+_(?:\*|\w+(?=\(\)))", text))


def files_of(header, function):
    """The entries about the files that the function uses on this device."""
    entries = [entry for kind, content in header.sections["Files"] if kind == "list" for entry in content]
    return [entry for entry in entries if PATH.match(entry) and f" {function.name}()" in entry]


def types_of(family, texts):
    """The family's types that are named in these texts, and those named in them, in the order of the header."""
    used = []
    for kind in reversed(family.types):
        named = "\n".join([*texts, *("\n".join(each.code) for each in used)])
        if any(re.search(rf"\b{name}\b", named) for name in kind.names()):
            used.insert(0, kind)
    return used


def function_page(header, family, function, date):
    page = Page(header, function.name, 3, date)
    page.section("Name")
    page.add(f"{function.name} \\- {escaped(function.summary[0].lower() + function.summary[1:])}")
    page.section("Library")
    page.add(page.text(re.search(r"Link with .*?\)\.", header.sections[None][0][1])[0]))
    page.section("Synopsis")
    page.add(".nf", "\\fB#include <velmor.h>\\fP", ".PP", *synopsis(function), ".fi")

    page.section("Description")
    page.paragraphs(function.description)
    if family.note and "this device" not in family.note:
        page.paragraphs(f"{family.name}: {family.note}.")
    for name in function.names:
        page.entry(name, function.about[name])
    rows = device_rows(header, function)
    if rows:
        page.section("This device")
        page.table(rows)
        page.add(".PP", 'See "THIS DEVICE" and "WHAT IS FITTED" in \\fBvelmor\\fP(7).')
    elif is_lacking(header, function):
        page.section("This device")
        page.paragraphs("This device lacks the hardware: calls return -95.")
    elif "this device" in family.note:
        page.section("This device")
        page.paragraphs(f"{family.name}: {family.note}.")
    for title, content in header.sections.items():
        if title and title.split()[0] == family.name:
            page.section(title)
            page.blocks(content)
    types = types_of(family, function.parameters)
    if types:
        page.section("Types")
    for kind in types:
        page.paragraphs(kind.text)
        page.code(kind.code)
        for field, text in kind.fields:
            page.entry(field, text)

    page.section("Return value")
    page.paragraphs(function.returns[0].upper() + function.returns[1:])
    page.section("Errors")
    page.add('.SS "Own errors"')
    for number, text in function.own_errors:
        general, _, meaning = header.sentence("Failures", number).partition(": ")
        errno = re.search("with errno (\\w+)", general)
        page.entry(f"{number} ({errno[1]})" if errno else number, f"{text}." if text else meaning, "\\fB")
    page.add('.SS "Kernel errors"')
    for number, text in function.kernel_errors:
        page.entry(number, f"{text}.", "\\fB")
    if function.no_kernel_errors:
        page.paragraphs(function.no_kernel_errors)
    page.add('.SS "Every function"')
    page.paragraphs(header.sentence("Failures", "Any function may fail"))
    page.add(".PP", 'See "FAILURES" in \\fBvelmor\\fP(7).')

    files = files_of(header, function)
    if files:
        page.section("Files")
        page.blocks([("list", files)])
        page.add(".PP", 'The first call of a process uses other files too, see "FILES" in \\fBvelmor\\fP(7).')
    page.section("Threads")
    page.paragraphs(re.sub(r"^Any thread\b", "Any thread may call this function", function.threads))
    page.add(".PP", 'See "THREADS" and "SIGNALS, FORK AND EXEC" in \\fBvelmor\\fP(7).')
    page.section("Notes")
    page.paragraphs(function.note)
    page.add(".PP", 'See "THE FIRST CALL STARTS THE BOARD" in \\fBvelmor\\fP(7).')
    page.section("Examples")
    example = next((code for code in family.examples if f"{function.name}(" in code), None)
    if not example:
        example = family.examples[0]
        called = [f"{name}()" for name in re.findall(r"(\w+)\(", example)
                  if name in [each.name for each in family.functions]]
        page.paragraphs(f"Example of {listed(called)}:")
    page.code(example.split("\n"))
    page.section("See also")
    texts = [function.description, *function.about.values(), function.threads, function.note]
    others = sorted(set(re.findall(r"\b(\w+)\(\)", " ".join(texts)))
                    & set(header.functions) | {each.name for each in family.functions})
    page.add(*(f".BR {name} (3)," for name in others if name != function.name), ".BR velmor (7)")
    return page


def overview(header, template, date):
    """The page of the library: the template, in which @...@ on a line is a section of the header's head or a list."""
    page = Page(header, "velmor", 7, date)
    left = [title for title in header.sections if title and not any(
        title.split()[0] == family.name for family in header.families)]
    for line in template.split("\n")[2:-1]:
        insertion = re.fullmatch(r"@(.*)@", line)
        if not insertion:
            page.add(line.replace("@version@", header.version))
        elif insertion[1] == "brief":
            page.add("velmor \\- " + escaped(header.title.partition(": ")[2].rstrip(".")))
        elif insertion[1] == "functions":
            page.section("Functions")
            for family in header.families:
                page.add(f'.SS "{escaped(family.name)}"')
                if family.note:
                    page.paragraphs(family.note[0].upper() + family.note[1:] + ".")
                page.add(".PD 0")
                for function in family.functions:
                    page.add(".TP", f".BR {function.name} (3)", escaped(function.summary) + ".")
                page.add(".PD")
        elif insertion[1] in left:
            left.remove(insertion[1])
            page.section(insertion[1])
            page.blocks(header.sections[insertion[1]])
        else:
            raise Unknown(1, f'no section for velmor.7.in: "{insertion[1]}"')
    if left:
        raise Unknown(1, "sections that velmor.7.in does not have: " + ", ".join(left))
    return page


def main():
    header_file, changelog, directory = map(pathlib.Path, sys.argv[1:])
    date = re.search(r"^## \[.+\] - (\d{4}-\d\d-\d\d)$", changelog.read_text(encoding="utf-8"), re.MULTILINE)[1]
    try:
        header = Header(header_file.read_text(encoding="utf-8"))
        pages = {f"man3/{function.name}.3": function_page(header, family, function, date)
                 for family in header.families for function in family.functions}
        template = pathlib.Path(__file__).with_name("velmor.7.in").read_text(encoding="utf-8")
        pages["man7/velmor.7"] = overview(header, template, date)
    except Unknown as unknown:
        sys.exit(f"{header_file}:{unknown.line}: {unknown}")
    for section in "man3", "man7":
        (directory / section).mkdir(parents=True, exist_ok=True)
        for old in (directory / section).glob("*.[37]"):
            old.unlink()
    for name, page in pages.items():
        page.write(directory / name)


main()
