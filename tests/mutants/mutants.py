# SPDX-License-Identifier: MIT
"""Makes mutants of src/ and shows which of them the tests notice. scripts/mutants has the usage."""
import collections
import fcntl
import filecmp
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
import threading
import time
import traceback

here = pathlib.Path(__file__).resolve().parent
root = here.parents[1]
folder = root / "build/mutants"
place = folder / "here"  # where each copy of the tree is mounted, so that its build can be copied too

# The excluded test switches to a second user, which a user namespace made by an ordinary user does not have.
os.environ |= {"GTEST_FAIL_FAST": "1", "GTEST_BRIEF": "1", "GTEST_FILTER": "-PowerRunProgram.RefusedProcessIsTheError"}

token = re.compile(r"""(?P<skipped>//[^\n]*|/\*.*?\*/|^[ ]*\#[^\n]*|\[\[.*?\]\])
    |(?P<string>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])')
    |(?P<number>\b(?:0[xX][\da-fA-F]+|\d+\.\d+|\d+)[uU]?\b)
    |(?P<word>[A-Za-z_]\w*)
    |(?P<operator><<=|>>=|->|\+\+|--|<=>|[-+*/%&|^=<>!]=|&&|\|\||<<|>>|.)""", re.DOTALL | re.MULTILINE | re.VERBOSE)
binary = [group.split() for group in
          ("< <= > >= == !=", "+ - * / %", "&& ||", "& | ^", "<< >>", "+= -= *= /=", "&= |= ^=", "<<= >>=")]
other_binary = {text: [other for other in group if other != text] for group in binary for text in group}
other_token = {"++": ["--"], "--": ["++"], "!": [""], "true": ["false"], "false": ["true"],
               "?": ["&& false ?", "|| true ?"]}
no_mutants = re.compile(r"\b(static_assert|using|asm|namespace|template|__attribute__|virtual .* = 0;)")
# A statement that is alone on its line or between braces, and an expression: unlike a declaration, it has only one word
# before the first parenthesis or assignment.
statement_place = re.compile(r"^ +([^;]*;)(?=$|  //)|(?<=\{ )([^{};]*;)(?= \})")
statement = re.compile(r"(?:(?:delete|throw) )?[\w*:.\[\]>+-]+(?:<[\w:]+>)?(?:\(.*\)| [-+*/&|^<>]*= .*)?;")


def other_constants(kind, text, chance):
    if kind == "string":
        places = [i for i in range(1, len(text) - 1) if "\\" not in text]
        if not places:
            return [text[0] + "x" + text[-1]]
        i = chance.choice(places)
        return [text[:i] + ("y" if text[i] == "x" else "x") + text[i + 1:]]
    suffix = "U" if text[-1] in "uU" else ""
    if "." in text:
        return [f"{float(text) + 1}", f"{float(text) - 1}", "0.0"]
    base, form = (16, "0x{:X}") if text[:2] in ("0x", "0X") else (8, "0{:o}") if text[0] == "0" != text else (10, "{}")
    number = int(text.rstrip("uU"), base)
    others = [number + 1, max(number - 1, 0), 0, 1] if suffix else [number + 1, number - 1, 0, 1]
    return [form.format(other) + suffix for other in others if other != number]


def closed(text):
    return all(text.count(begin) == text.count(end) for begin, end in ("()", "{}"))


def parenthesis_end(line, begin):
    """Where the parenthesis that opens here is closed; 0 if not on this line."""
    return next((end for end in range(begin, len(line)) if line[end] == ")" and closed(line[begin:end + 1])), 0)


def mutants_of_line(line, tokens, chance):
    """The lines that this one can be changed to."""
    for kind, text, begin in tokens:
        end = begin + len(text)
        others = []
        if kind in ("string", "number"):
            others = other_constants(kind, text, chance)
        elif text in other_binary and line[begin - 1] == " " and line[end:end + 1] in ("", " "):
            others = other_binary[text]
        elif text in other_token:
            others = other_token[text]
        elif text in ("if", "while") and parenthesis_end(line, end + 1):
            begin, end = end + 2, parenthesis_end(line, end + 1)
            others = [f"!({line[begin:end]})", "true", "false"]
        elif text == "return" and (result := re.match(r" ([^;]+);", line[end:])) and closed(result[1]):
            begin, end = end + result.start(1), end + result.end(1)
            others = [f"!({result[1]})", f"({result[1]}) + 1", "{}"]
        for other in others:
            yield line[:begin] + other + line[end:]
    for place in statement_place.finditer(line):
        text = place[1] or place[2]
        if closed(text) and statement.fullmatch(text):
            yield line.replace(text, ";")


def mutants(sources, seed):
    """List all mutants in random order, one of each line first: file, zero-based line number, new text."""
    chance = random.Random(seed)
    rounds = []
    for file, lines in sources.items():
        text = "\n".join(lines)
        tokens = {}
        for match in token.finditer(text):
            if match.lastgroup != "skipped":
                index = text.count("\n", 0, match.start())
                begin = match.start() - (text.rfind("\n", 0, match.start()) + 1)
                tokens.setdefault(index, []).append((match.lastgroup, match[0], begin))
        for index, of_line in tokens.items():
            if no_mutants.search(lines[index]):
                continue
            others = sorted(set(mutants_of_line(lines[index], of_line, chance)) - {lines[index]})
            chance.shuffle(others)
            rounds += [(turn, chance.random(), file, index, other) for turn, other in enumerate(others)]
    # One of every line, then another of every line, so that tables of constants do not outnumber other lines.
    return [mutant[2:] for mutant in sorted(rounds)]


def described(file, lines, index, new):
    """A mutant as equivalent.txt lists it: its file, the line before, the line, the changed line."""
    return f"{file}\n  {lines[index - 1].strip()}\n- {lines[index].strip()}\n+ {new.strip()}"


def listed_as_equivalent():
    listed = set()
    for entry in (here / "equivalent.txt").read_text().split("\n\n"):
        lines = [line for line in entry.split("\n") if line and not line.startswith("#")]
        if lines:
            before, old = lines[1].strip(), lines[2].removeprefix("- ")
            text = [line.strip() for line in (root / lines[0]).read_text().split("\n")]
            if (before, old) not in zip(text, text[1:]):
                print(f"tests/mutants/equivalent.txt: {lines[0]} has no such lines:\n{before}\n{old}")
                sys.exit(2)
            listed.add("\n".join(lines))
    return listed


class Failed(Exception):
    pass


class Copy:
    """A copy of the tree, with its build."""

    def __init__(self, number):
        self.path = folder / str(number)
        self.path.mkdir(parents=True, exist_ok=True)

    def run(self, command, timeout=None):
        """Run a command with this copy mounted in its place. Raises Failed with the end of the output."""
        enter = 'mount --bind "$0" "$1" && cd "$1" && shift && exec setpriv --pdeathsig KILL "$@"'
        process = subprocess.Popen(
            ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", enter, self.path, place, *command],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        try:
            output = process.communicate(timeout=timeout)[0]
        except subprocess.TimeoutExpired:
            process.kill()  # it is now the enclosure's "unshare", and everything in there ends with it
            process.communicate()
            raise Failed(f"more than {timeout:.0f} s") from None
        output = output.decode(errors="replace")
        if process.returncode:
            raise Failed(f"{output[-3000:]}\nstatus {process.returncode}")
        return output

    def take_over(self):
        """Bring the tree up to date. Files that are the same are left alone, so they are not built again."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=root,
                                check=True, capture_output=True, text=True).stdout
        names = {name for name in listed.split("\0") if name and (root / name).is_file()}
        tree = self.path / "tree"
        for file in [file for file in tree.rglob("*") if file.is_file()]:
            if str(file.relative_to(tree)) not in names:
                file.unlink()
        for name in names:
            file = tree / name
            if not (file.is_file() and filecmp.cmp(root / name, file, shallow=False)):
                file.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(root / name, file)

    def become(self, other):
        """Take the other copy's files and their times, so that what it has built is not built again."""
        for directory, folders, names in os.walk(other.path):
            own = self.path / os.path.relpath(directory, other.path)
            own.mkdir(exist_ok=True)
            for name in set(os.listdir(own)).difference(folders, names):
                shutil.rmtree(own / name) if (own / name).is_dir() else (own / name).unlink()
            for name in names:
                file, state = own / name, os.lstat(os.path.join(directory, name))
                if not file.exists() or file.lstat().st_mtime_ns != state.st_mtime_ns:
                    file.unlink(missing_ok=True)
                    shutil.copy2(os.path.join(directory, name), file, follow_symlinks=False)

    def configure(self):
        flags = "-O0 -g0 -w"
        self.run(["cmake", "-S", place / "tree", "-B", place / "build", "-G", "Ninja", "-Wno-dev", "-DVELMOR_TESTS=ON",
                  "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++",
                  f"-DCMAKE_C_FLAGS_DEBUG={flags}", f"-DCMAKE_CXX_FLAGS_DEBUG={flags}",
                  "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold", "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=gold"])

    def build(self, targets, parallel=1):
        command = ["ninja", "-C", place / "build", f"-j{parallel}", *targets]
        try:
            self.run(command)
        except Failed:
            self.run(command)  # once more: a failure that does not repeat is the machine's

    def test(self, command, timeout):
        self.run([here / "enclosure", place, *command], timeout)

    def commands(self):
        """The command that compiles each source."""
        entries = json.loads((self.path / "build/compile_commands.json").read_text())
        return {entry["file"]: entry["command"] for entry in reversed(entries)}

    def optimised(self, source):
        """The bytes of the optimised object of this file."""
        command = shlex.split(self.commands()[str(place / "tree" / source)].replace(" -O0 ", " -O2 "))
        command[command.index("-o") + 1] = str(place / "optimised.o")
        self.run(command)
        return (self.path / "optimised.o").read_bytes()


class Tests:
    """The programs that can notice a mutant, and what they cost."""

    quick = re.compile("unit_|device_|golden$")
    slow = ["system_tests", "first_line_check", "last_words_check", "dlclose_check", "record_tests", "memory_tests",
            "families_tests"]

    def __init__(self, copy):
        listed = json.loads(copy.run(["ctest", "--test-dir", place / "build", "--show-only=json-v1"]))["tests"]
        self.commands = {test["name"]: test["command"] for test in listed
                         if self.quick.match(test["name"]) or test["name"] in self.slow + ["layout"]}
        self.kills = collections.Counter()
        self.seconds = {}
        for name, command in self.commands.items():
            begin = time.monotonic()
            try:
                copy.test(command, 600)
            except Failed as failure:
                print(f"{failure}\n{name} fails on the unchanged tree, in the enclosure")
                sys.exit(2)
            self.seconds[name] = time.monotonic() - begin
            print(f"  {self.seconds[name]:5.1f} s  {name}", flush=True)

    def in_order(self, file):
        """First those that have killed most in this file for their time, then those of its own folder, then by cost."""
        own = [f"{kind}_{file.split('/')[1]}" for kind in ("unit", "device")]
        return sorted(self.commands, key=lambda name: (
            -self.kills[file, name] / self.seconds[name], name in self.slow, name not in own, self.seconds[name]))

    def limit(self, name):
        return 10 + 10 * self.seconds[name]


class Trial:
    """A run of mutants, one after another in each copy."""

    def __init__(self, count, first, seed, tests, unchanged):
        self.count, self.next, self.tests, self.unchanged = count, first, tests, unchanged
        tree, compiled = unchanged.path / "tree", unchanged.commands()
        # Without the sources of another architecture, which no test here can notice.
        files = [str(file.relative_to(tree)) for file in sorted(tree.glob("src/*/*.[ch]*"))]
        files = [file for file in files if file.endswith(".h") or str(place / "tree" / file) in compiled]
        self.sources = {file: (tree / file).read_text().split("\n") for file in files}
        self.sequence = mutants(self.sources, seed)
        self.equivalent = listed_as_equivalent()
        self.objects = {}
        self.verdicts = {"killed": [], "survived": [], "equivalent": [], "listed": [], "not compiled": []}
        self.running = 0
        self.state = threading.Condition()
        self.comparison = threading.Lock()
        self.begin = time.monotonic()

    def run(self):
        threads = [threading.Thread(target=self.work, args=(Copy(number),)) for number in (1, 2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    def counted(self):
        return len(self.verdicts["killed"]) + len(self.verdicts["survived"])

    def draw(self):
        """The number of the next mutant; None if there are enough. One that is running may turn out not to count."""
        with self.state:
            self.state.wait_for(lambda: self.counted() + self.running < self.count or self.counted() >= self.count)
            if self.counted() >= self.count or self.next > len(self.sequence):
                return None
            self.running += 1
            self.next += 1
            return self.next - 1

    def work(self, copy):
        while (number := self.draw()) is not None:
            file, index, new = self.sequence[number - 1]
            begin = time.monotonic()
            try:
                verdict, reason = self.judge(copy, file, index, new)
            except BaseException:
                traceback.print_exc()
                os._exit(2)
            with self.state:
                self.running -= 1
                self.verdicts[verdict].append((file, index, new))
                took = time.monotonic() - begin
                print(f"{number:5} {verdict:12} {took:4.0f} s  {file}:{index + 1}  {reason}", flush=True)
                self.state.notify_all()

    def judge(self, copy, file, index, new):
        if described(file, self.sources[file], index, new) in self.equivalent:
            return "listed", ""
        copy.become(self.unchanged)
        lines = self.sources[file][:index] + [new] + self.sources[file][index + 1:]
        (copy.path / "tree" / file).write_text("\n".join(lines))
        return self.first_failure(copy, file)

    def first_failure(self, copy, file):
        try:
            copy.build(["velmor"])
        except Failed:
            return "not compiled", ""
        compared = False
        for name in self.tests.in_order(file):
            if name in self.tests.slow and not compared:
                compared = True
                if self.same_code(copy, file):
                    return "equivalent", ""
            try:
                copy.build([name] if name != "layout" else ["velmor"])
            except Failed:
                return "killed", f"{name} does not compile"
            # Twice: a test that fails or hangs because the machine is busy has noticed nothing.
            if self.fails(copy, name) is not None and (failure := self.fails(copy, name)) is not None:
                self.tests.kills[file, name] += 1
                return "killed", name + failure
        return "survived", ""

    def fails(self, copy, name):
        """What to print about the failure; None if there is none."""
        try:
            copy.test(self.tests.commands[name], self.tests.limit(name))
        except Failed as failure:
            if str(failure).endswith("\nstatus 99"):
                raise  # the enclosure is not as it must be
            return f", {failure}" if str(failure).startswith("more than") else ""
        return None

    def same_code(self, copy, file):
        stem = pathlib.Path(file).stem
        sources = [file] if file.endswith(".cpp") else [source for source in self.sources if source.endswith(".cpp")]
        for source in sorted(sources, key=lambda source: (pathlib.Path(source).stem != stem, source)):
            with self.comparison:
                if source not in self.objects:
                    self.objects[source] = self.unchanged.optimised(source)
            if copy.optimised(source) != self.objects[source]:
                return False
        return True


def main():
    count, seed, first = map(int, sys.argv[1:])
    place.mkdir(parents=True, exist_ok=True)
    only_run = open(folder / "lock", "w")
    try:
        fcntl.flock(only_run, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        print("another run is using build/mutants")
        sys.exit(2)
    unchanged = Copy(0)
    unchanged.take_over()
    unchanged.configure()
    print("building", flush=True)
    unchanged.build([], parallel=2)
    print("the tests on the unchanged tree", flush=True)
    tests = Tests(unchanged)
    trial = Trial(count, first, seed, tests, unchanged)
    trial.run()
    took = time.monotonic() - trial.begin
    verdicts = trial.verdicts
    for file, index, new in verdicts["survived"]:
        print(f"\nline {index + 1} of {described(file, trial.sources[file], index, new)}")
    print(f"\n{trial.counted()} mutants: {len(verdicts['killed'])} killed"
          f" ({100 * len(verdicts['killed']) / max(trial.counted(), 1):.1f} %), {len(verdicts['survived'])} survived;"
          f" not counted: {len(verdicts['equivalent'])} with the same code, {len(verdicts['listed'])} listed as"
          f" equivalent, {len(verdicts['not compiled'])} that do not compile."
          f" {took / max(trial.counted(), 1):.1f} s each; the next is {trial.next}")
    sys.exit(1 if verdicts["survived"] else 0)


main()
