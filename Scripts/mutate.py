#!/usr/bin/env python3
"""Plants faults in Src, one at a time, and lists those that no test finds.

    Scripts/mutate.py [COUNT] [SEED]    plants COUNT faults (100) in the order that SEED (1) determines
    Scripts/mutate.py --recheck SEED    runs the survivors of that seed again, after a change of the tests
    Scripts/mutate.py --report SEED     prints the results so far
    Scripts/mutate.py --self-test       tests the tool, and that each known fault can still be planted

    --jobs N         copies of the tree that work at the same time (1)
    --under FOLDER   only faults of the files below FOLDER
    --anomaly        runs AnomalyTests too, for faults of the DLL that survive the other tests (minutes for each)
    --until HH:MM    ends at this time; the next run with the same seed continues

A fault is a changed operator, constant, flag or access right, another result, or a deleted call, assignment or guard.
It is planted in a copy of the tree in build/mutate, which is mounted over the tree for the commands of this script only
(unshare), so that the copied build tree stays valid. The test programs of the folder run first, then those of the DLL
and of the log, then those of the other folders. Their first failure ends the run:

caught          a test failed, or a test program ended early
timed out       a test program ran much longer than without a fault; counts as caught
survived        no test failed
changes nothing survived, and Scripts/known-faults.txt states why no test can find it
gone            survived, but the sources no longer contain the line
same code       the compiler makes the same objects; does not count as a fault
rejected        does not compile or link; does not count as a fault

After every 40 faults, the test programs run once without a fault. If one fails, a fault has damaged the environment:
the results since the last such run are discarded, and these faults run again in a new environment.

Results are added to build/mutate/SEED.jsonl, one line for each fault; a run continues where the last one ended. The
release preset must be built; Linux only.
"""
import argparse
import collections
import datetime
import glob
import hashlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import fault_operators

ROOT = pathlib.Path(__file__).resolve().parent.parent
PRESET = "mingw-x64-release"
BUILD = f"build/{PRESET}"
STATE = ROOT / "build" / "mutate"
KNOWN = ROOT / "Scripts" / "known-faults.txt"
COUNTED = ("caught", "timed out", "survived")
FAULTS_BETWEEN_CONTROLS = 40
LAST_PROGRAMS = ["bin/ModuleTests.exe", "Tests/KuvAuth/Logging/LoggingTests.exe"]
SLOW_PROGRAM = "bin/AnomalyTests.exe"
SLOW_LIMIT = 900


def say(text):
    print(f"mutate.py: {text}", flush=True)


def read(path):
    with open(path, encoding="utf-8", newline="") as file:
        return file.read()


def read_known(text):
    """Returns the faults that no test can find: key to reason. A paragraph is a file, the head of the function after @,
    the lines without the fault after -, with it after +, and the reason."""
    known = {}
    for paragraph in re.split(r"\n\s*\n", text.strip()):
        lines = [line for line in paragraph.splitlines() if not line.startswith("#")]
        if not lines:
            continue
        marks = {line[0]: line[2:].strip() for line in lines[1:4]}
        reason = " ".join(line.strip() for line in lines[4:])
        if sorted(marks) != ["+", "-", "@"] or not reason:
            raise ValueError(f"{KNOWN.name}: not a fault with a reason: {paragraph}")
        known[(lines[0].strip(), marks["@"], marks["-"], marks["+"])] = reason
    return known


def known_faults():
    return read_known(read(KNOWN)) if KNOWN.exists() else {}


def shown(key):
    return f"{key[0]}\n@ {key[1]}\n- {key[2]}\n+ {key[3]}"


LINKER = """#!/bin/sh
case " $* " in
*" -shared "* | *" --shared "* | *" --dll "*) exec "{folder}/ld" "$@" ;;
esac
while read -r program; do
  case " $* " in
  *" -o $program "*) exec "{folder}/ld" "$@" ;;
  esac
done <"{folder}/linked-as-always"
exec "{fast}" "$@"
"""


def fast_linker():
    """Returns a replacement for the linker of the test programs and the file that it replaces, or None. LLVM's linker
    takes a fiftieth of the time, which would be half of the time for a fault. The DLL is linked as always, and so is a
    program that fails otherwise."""
    fast = shutil.which("ld.lld")
    compiler = re.search(r"[^\s\"]+g\+\+[^\s\"]*", read(ROOT / BUILD / "compile_commands.json")).group()
    original = subprocess.run([compiler, "-print-prog-name=ld"], capture_output=True, text=True).stdout.strip()
    if fast is None or not os.path.isabs(original):
        return None
    # Each copy of the tree contains it, because the mount hides the original.
    shutil.copy(original, STATE / "ld")
    script = STATE / "fast-ld"
    script.write_text(LINKER.format(folder=ROOT / BUILD, fast=fast), encoding="utf-8")
    script.chmod(0o755)
    return script, os.path.realpath(original)


class Tree:
    """A copy of the tree with its build tree, mounted over the original for each command."""

    def __init__(self, number, linker):
        self.mounts = [linker] if linker else []
        self.folder = STATE / f"tree-{number}"
        wine = self.folder / BUILD / "wine"
        kept = self.folder.parent / f"wine-{number}"
        if wine.exists():
            # A server that an ended run has left would still use the old copy.
            self.stop_wine()
            wine.rename(kept)
        while self.folder.exists():
            # A command of an ended run may still write to it.
            shutil.rmtree(self.folder, ignore_errors=True)
            time.sleep(0.2)
        self.folder.mkdir(parents=True)
        # The times of the files are kept to the nanosecond: the build tree compares them.
        others = [f"./build/{name}" for name in os.listdir(ROOT / "build") if name not in (PRESET, "deps")]
        others += [f"./{BUILD}/{name}" for name in ("x86", "Testing", "lint")] + ["./.git", "wine", "*-wine"]
        others += ["./build/deps/wine-root*"]
        pack = subprocess.Popen(
            ["tar", "-C", ROOT, "--format=posix", *(f"--exclude={name}" for name in others), "-cf", "-", "."],
            stdout=subprocess.PIPE)
        subprocess.run(["tar", "-C", self.folder, "-xpf", "-"], stdin=pack.stdout, check=True)
        if pack.wait() != 0:
            raise OSError("the tree cannot be copied")
        if kept.exists():
            kept.rename(wine)
        if linker:
            shutil.copy(STATE / "ld", self.folder / BUILD / "ld")
            (self.folder / BUILD / "linked-as-always").touch()
            # The programs are linked again, so that they are seen to pass with this linker.
            for program in (self.folder / BUILD).glob("**/*Tests.exe"):
                program.unlink()
        self.start_wine()

    def run(self, command, timeout=None):
        """Runs a command in the copy. Returns (exit code, output); the exit code is None after `timeout` seconds."""
        user = [] if os.geteuid() == 0 else ["--map-root-user"]
        mounts = [*self.mounts, (self.folder, ROOT)]
        shell = "".join(f"mount --bind '{source}' '{target}' && " for source, target in mounts)
        shell += f"cd '{ROOT}' && exec \"$@\""
        # Not a pipe, which would stay open as long as the Wine services that a first program starts.
        with tempfile.TemporaryFile(dir=STATE) as output:
            process = subprocess.Popen(
                ["unshare", "--mount", *user, "sh", "-c", shell, "sh", *command],
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
            try:
                status = process.wait(timeout)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
                status = None
            output.seek(0)
            return status, output.read().decode("utf-8", "replace")

    def wine(self, *arguments, timeout=None):
        return self.run(["Scripts/wine.sh", f"{BUILD}/wine", *arguments], timeout)

    def start_wine(self):
        self.wine("--start", timeout=300)

    def stop_wine(self):
        self.wine("--stop", timeout=60)

    def renew_wine(self):
        self.stop_wine()
        shutil.rmtree(self.folder / BUILD / "wine", ignore_errors=True)
        self.start_wine()

    def link_as_always(self, program):
        with open(self.folder / BUILD / "linked-as-always", "a", encoding="utf-8") as file:
            file.write(f"{program}\n")
        (self.folder / BUILD / program).unlink(missing_ok=True)

    def build(self, targets):
        return self.run(["ninja", "-C", BUILD, "-j", "2", *targets])

    def test(self, program, limit):
        """Runs a test program. Returns (outcome, detail)."""
        for _ in range(2):
            status, output = self.wine(f"{BUILD}/{program}", "--gtest_fail_fast", timeout=limit)
            if status is None:
                self.stop_wine()
                self.start_wine()
                return "timed out", ""
            if status != 0:
                break
            if is_complete(output):
                return "survived", ""
            # If Wine loses its server, a program can end with exit code 0 before its first line of output.
        failed = re.findall(r"^\[  FAILED  \] ([\w./]+)", output, re.MULTILINE)
        return "caught", failed[0] if failed else f"exit code {status}: {' '.join(output.split())[-200:]}"


def is_complete(output):
    """Returns whether a test program that ended with exit code 0 ran all its tests. It can also end so in the middle of
    one, and a second process that a test starts writes its own summary.
    """
    begun = re.search(r"^\[=+\] Running (.+)\.\r?$", output, re.MULTILINE)
    return bool(begun) and f"] {begun[1]} ran. (" in output


class Campaign:
    """The faults of one seed, their results, and the copies of the tree that work on them."""

    def __init__(self, seed, under, jobs, anomaly):
        self.results_path = STATE / f"{seed}.jsonl"
        self.lock = threading.Lock()
        self.results = {}
        if self.results_path.exists():
            for line in self.results_path.read_text(encoding="utf-8").splitlines():
                result = json.loads(line)
                if result["outcome"] == "discarded":
                    self.results.pop(tuple(result["key"]), None)
                else:
                    self.results[tuple(result["key"])] = result
        self.jobs, self.anomaly = jobs, anomaly
        self.sources, self.faults = {}, []
        for path in sorted(glob.glob("Src/**/*", root_dir=ROOT, recursive=True)):
            if path.endswith((".cpp", ".h")) and path.startswith(under):
                self.sources[path] = read(ROOT / path)
                self.faults += fault_operators.faults_of(path, self.sources[path])
        self.order = list(fault_operators.drawn(self.faults, random.Random(seed)))

    def prepare(self):
        programs = self.ninja("-t", "targets", "all").splitlines()
        self.programs = [line.split(":")[0] for line in programs if "CXX_EXECUTABLE_LINKER" in line]
        self.objects = collections.defaultdict(set)
        name = ""
        for line in self.ninja("-t", "deps").splitlines():
            if line.startswith(" "):
                self.objects[os.path.normpath(ROOT / BUILD / line.strip())].add(name)
            else:
                name = line.split(":")[0]
        linker = fast_linker()
        self.trees = [Tree(number, linker) for number in range(self.jobs)]
        objects = set().union(*self.objects.values())
        self.original = {name: self.digest(self.trees[0], name) for name in objects}
        self.measure()

    def ninja(self, *arguments):
        return subprocess.run(["ninja", "-C", ROOT / BUILD, "--quiet", *arguments],
                              check=True, capture_output=True, text=True).stdout

    @staticmethod
    def digest(tree, name):
        path = tree.folder / BUILD / name
        return hashlib.sha256(path.read_bytes()).digest() if path.exists() else b""

    def programs_for(self, file):
        """Returns the test programs of the folder of a source, and the programs that run if they pass."""
        folder = os.path.dirname(file).replace("Src/", "Tests/", 1)
        first = [name for name in self.programs if os.path.dirname(name) == folder]
        library = [name for name in self.programs if name.startswith(("Tests/KuvAuth/", "Tests/KuvCredFilter/"))]
        last = [name for name in dict.fromkeys(LAST_PROGRAMS + library) if name not in first]
        if self.anomaly and folder.startswith("Tests/KuvCredFilter"):
            last.append(SLOW_PROGRAM)
        return first, last

    @staticmethod
    def state():
        """Returns a digest of all sources and of the linker's choice, to reuse what was measured for them."""
        digest = hashlib.sha256(str(shutil.which("ld.lld")).encode())
        for path in sorted(path for part in ("Src/**/*", "Tests/**/*") for path in ROOT.glob(part)):
            if path.suffix in (".cpp", ".h", ".txt"):
                digest.update(path.read_bytes())
        return digest.hexdigest()

    def measure(self):
        """Runs each test program once without a fault, for the limits of time."""
        cache = STATE / "limits.json"
        state = self.state()
        if cache.exists():
            known = json.loads(cache.read_text(encoding="utf-8"))
            if known["state"] == state:
                self.limits = known["limits"]
                for tree in self.trees:
                    for program in known["linked as always"]:
                        tree.link_as_always(program)
                return
        always = []
        used = {name for file in self.sources for part in self.programs_for(file) for name in part}
        waiting, failed = sorted(used - {SLOW_PROGRAM}), []
        self.limits = {SLOW_PROGRAM: SLOW_LIMIT}

        def work(tree):
            while True:
                with self.lock:
                    if not waiting:
                        return
                    program = waiting.pop()
                start = time.monotonic()
                if not self.passes(tree, program, 600):
                    if tree.mounts:
                        always.append(program)
                        for each in self.trees:
                            each.link_as_always(program)
                    if not tree.mounts or not self.passes(tree, program, 600):
                        failed.append(program)
                self.limits[program] = 30 + 5 * (time.monotonic() - start)
        self.in_threads(work)
        if failed:
            raise SystemExit(f"mutate.py: without a fault, these fail: {' '.join(failed)}")
        cache.write_text(json.dumps({"state": state, "limits": self.limits, "linked as always": always}),
                         encoding="utf-8")
        limits = (f"{os.path.basename(name)} {limit:.0f}" for name, limit in sorted(self.limits.items()))
        say(f"seconds allowed: {', '.join(limits)}")

    def in_threads(self, work):
        threads = [threading.Thread(target=work, args=(tree,), daemon=True) for tree in self.trees]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    @staticmethod
    def passes(tree, program, limit):
        status, output = tree.build([program])
        if status != 0:
            raise SystemExit(f"mutate.py: {program} cannot be built without a fault:\n{output}")
        return any(tree.test(program, limit)[0] == "survived" for _ in range(2))

    def plant(self, tree, fault):
        """Plants a fault, runs the tests, and removes the fault. Returns (outcome, program, detail)."""
        path, source = tree.folder / fault.file, self.sources[fault.file]
        path.write_bytes(fault.applied(source).encode())
        try:
            return self.outcome(tree, fault)
        finally:
            path.write_bytes(source.encode())

    def outcome(self, tree, fault):
        first, last = self.programs_for(fault.file)
        folder = os.path.dirname(fault.file)
        # The tests of the folder contain the code of its headers too.
        parts = (folder.split("/", 1)[0] + "/", folder.replace("Src/", "Tests/", 1) + "/")
        objects = sorted(name for name in self.objects[str(ROOT / fault.file)] if name.startswith(parts))
        own = [name for name in objects if name.endswith(f"/{os.path.basename(fault.file)}.obj")]
        if not objects:
            return "same code", "", "not part of this build"
        # A header is in many objects: those of the tests that run first often show that the code differs.
        for targets in [own] if own else [first, objects]:
            planted = time.time()
            if targets and tree.build(targets)[0] != 0:
                return "rejected", "", ""
            if any(self.digest(tree, name) != self.original[name] for name in objects
                   if targets is not first or self.built_after(tree, name, planted)):
                break
        else:
            return "same code", "", ""
        for program in first + last:
            if tree.build([program])[0] != 0:
                return "rejected", program, ""
            outcome, detail = tree.test(program, self.limits[program])
            if outcome != "survived":
                return outcome, program, detail
        return "survived", "", ""

    @staticmethod
    def built_after(tree, name, planted):
        return (tree.folder / BUILD / name).stat().st_mtime >= planted

    def record(self, fault, outcome, program="", detail="", seconds=0.0):
        line = self.sources[fault.file].count("\n", 0, fault.start) + 1
        result = {"key": fault.key, "kind": fault.kind, "line": line, "outcome": outcome,
                  "program": program, "detail": detail, "seconds": round(seconds, 1)}
        with open(self.results_path, "a", encoding="utf-8") as file:
            file.write(json.dumps(result) + "\n")
        self.results[fault.key] = result
        if outcome == "discarded":
            del self.results[fault.key]

    def counted(self):
        return sum(result["outcome"] in COUNTED for result in self.results.values())

    def run(self, faults, count, until):
        """Plants the faults until `count` results count."""
        waiting = collections.deque(faults)

        def work(tree):
            since_control = []
            while True:
                with self.lock:
                    done = not waiting or self.counted() >= count or (until and datetime.datetime.now() >= until)
                    fault = None if done else waiting.popleft()
                if done or len(since_control) == FAULTS_BETWEEN_CONTROLS:
                    self.control(tree, since_control, waiting)
                    since_control = []
                if done:
                    break
                start = time.monotonic()
                outcome, program, detail = self.plant(tree, fault)
                seconds = time.monotonic() - start
                with self.lock:
                    self.record(fault, outcome, program, detail, seconds)
                    if outcome == "survived":
                        say(f"survived:\n{shown(fault.key)}")
                if outcome in COUNTED:
                    since_control.append((fault, program))
        self.in_threads(work)

    def control(self, tree, since_control, waiting):
        used = sorted({program for _, program in since_control if program})
        if all(self.passes(tree, program, self.limits[program]) for program in used):
            return
        say(f"without a fault, one of these fails: {' '.join(used)}; {len(since_control)} results are discarded")
        tree.renew_wine()
        with self.lock:
            for fault, _ in since_control:
                self.record(fault, "discarded")
                waiting.appendleft(fault)

    def report(self):
        known = known_faults()
        planted = {fault.key for fault in self.order}
        outcomes = collections.Counter()
        survivors = []
        for key, result in self.results.items():
            outcome = result["outcome"]
            if outcome == "survived" and key not in planted:
                outcome = "gone"
            elif outcome == "survived" and key in known:
                outcome = "changes nothing"
            outcomes[outcome] += 1
            if outcome == "survived":
                survivors.append(f"{shown(key)}\n(line {result['line']}, {result['kind']})")
        counted = sum(outcomes[name] for name in (*COUNTED, "changes nothing", "gone"))
        print(f"{counted} faults: " + ", ".join(
            f"{outcomes[name]} {name}" for name in ("caught", "timed out", "changes nothing", "gone", "survived")))
        print(f"not counted: {outcomes['same code']} same code, {outcomes['rejected']} rejected")
        for survivor in survivors:
            print(f"\n{survivor}")
        return not survivors


class OutputTests(unittest.TestCase):
    BEGUN = "[==========] Running 2 tests from 1 test suite.\r\n"
    OTHER = ("[==========] Running 1 test from 1 test suite.\r\n"
             "[==========] 1 test from 1 test suite ran. (0 ms total)\r\n")

    def test_a_program_is_complete_only_with_its_own_summary(self):
        end = "[==========] 2 tests from 1 test suite ran. (3 ms total)\r\n[  PASSED  ] 2 tests.\r\n"
        self.assertTrue(is_complete(self.BEGUN + self.OTHER + end))
        self.assertFalse(is_complete(self.BEGUN + self.OTHER))
        self.assertFalse(is_complete(""))


class OperatorTests(unittest.TestCase):
    def faults(self, source):
        return [(fault.kind, fault.applied(source)) for fault in fault_operators.faults_of("Src/X.cpp", source)]

    def results(self, source, kind):
        return [result for found, result in self.faults(source) if found == kind]

    def test_changes_comparisons(self):
        self.assertEqual(self.results("bool f() { return a < b; }", "comparison"),
                         ["bool f() { return a <= b; }", "bool f() { return a >= b; }"])

    def test_leaves_template_brackets_and_references(self):
        self.assertEqual(self.faults("std::vector<int> f(T&& a, char* b);"), [])

    def test_changes_numbers_and_keeps_base_and_suffix(self):
        self.assertEqual(self.results("x(0x0Fu);", "number"), ["x(0x10u);", "x(0xEu);"])
        self.assertEqual(self.results("x(0);", "number"), ["x(1);"])

    def test_changes_text_outside_conversions(self):
        self.assertEqual(self.results('x("%d a");', "text"), ['x("%d x");'])
        self.assertEqual(self.results('x("%d\\n");', "text"), [])

    def test_ignores_comments_directives_and_static_asserts(self):
        source = '// a == 1\n/* 2 */\n#define X \\\n  3\nstatic_assert(sizeof(a) == 4, "b");\n'
        self.assertEqual(self.faults(source), [])

    def test_deletes_calls_and_keeps_the_number_of_lines(self):
        self.assertEqual(self.results("void f() {\n  g(a,\n    b);\n}", "call"), ["void f() {\n  {}\n\n}"])

    def test_deletes_a_call_behind_a_condition(self):
        self.assertEqual(self.results("void f() { if (a) g(); }", "call"), ["void f() { if (a) {} }"])

    def test_deletes_assignments_but_not_declarations(self):
        self.assertEqual(self.results("void f() { int a = g(); b = a; *c++ = a; Foo d{a}; }", "assignment"),
                         ["void f() { int a = g(); {} *c++ = a; Foo d{a}; }",
                          "void f() { int a = g(); b = a; {} Foo d{a}; }"])

    def test_changes_guards(self):
        self.assertEqual(self.results("void f() { if (a || b) return; }", "guard"),
                         ["void f() { if (false && (a || b)) return; }", "void f() { if (true || (a || b)) return; }"])

    def test_changes_results(self):
        self.assertEqual(self.results("int f() { return a(b); }", "return"), ["int f() { return {}; }"])

    def test_changes_flags_and_rights(self):
        self.assertEqual(self.results("x(KEY_QUERY_VALUE);", "flag"), ["x(KEY_READ);"])
        self.assertEqual(self.results("x(FILE_SHARE_READ);", "flag"), ["x(0);", "x((FILE_SHARE_READ + 1));"])

    def test_changes_levels(self):
        self.assertEqual(self.results("x(LogLevel::Trace);", "level"), ["x(LogLevel::Debug);"])

    def test_key_does_not_depend_on_the_line_number(self):
        source = "int f() {\n  return 1;\n}\n"
        [key] = [fault.key for fault in fault_operators.faults_of("X", source) if fault.replacement == "2"]
        moved = "\n\n" + source
        self.assertIn(key, [fault.key for fault in fault_operators.faults_of("X", moved)])
        self.assertEqual(key, ("X", "int f() {", "return 1;", "return 2;"))

    def test_seed_determines_the_order(self):
        faults = fault_operators.faults_of("X", "void f() { if (a == 1 && b < 2) g(3); h(4); return; }")
        orders = [list(fault_operators.drawn(faults, random.Random(seed))) for seed in (1, 1, 2)]
        self.assertEqual(orders[0], orders[1])
        self.assertNotEqual(orders[0], orders[2])
        self.assertCountEqual(orders[0], faults)

    def test_reads_known_faults(self):
        text = "# Comment\n\nX\n@ int f() {\n- return 1;\n+ return 2;\nNo one\ncalls it.\n"
        self.assertEqual(read_known(text), {("X", "int f() {", "return 1;", "return 2;"): "No one calls it."})
        with self.assertRaises(ValueError):
            read_known("X\n@ int f() {\n- return 1;\n+ return 2;\n")

    def test_known_faults_can_be_planted(self):
        sources = {}
        for key in known_faults():
            if key[0] not in sources:
                source = read(ROOT / key[0])
                sources[key[0]] = {fault.key for fault in fault_operators.faults_of(key[0], source)}
            self.assertIn(key, sources[key[0]])


def parsed_time(text):
    hour, minute = text.split(":")
    return datetime.datetime.now().replace(hour=int(hour), minute=int(minute), second=0, microsecond=0)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("count", nargs="?", type=int, default=100, metavar="COUNT", help=argparse.SUPPRESS)
    parser.add_argument("seed", nargs="?", type=int, default=1, metavar="SEED", help=argparse.SUPPRESS)
    parser.add_argument("--recheck", type=int, metavar="SEED", help=argparse.SUPPRESS)
    parser.add_argument("--report", type=int, metavar="SEED", help=argparse.SUPPRESS)
    parser.add_argument("--jobs", type=int, default=1, help=argparse.SUPPRESS)
    parser.add_argument("--under", default="Src/", help=argparse.SUPPRESS)
    parser.add_argument("--anomaly", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--until", type=parsed_time, help=argparse.SUPPRESS)
    parser.add_argument("--self-test", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    if options.self_test:
        return unittest.main(argv=[sys.argv[0]], verbosity=0)
    seed = next(value for value in (options.recheck, options.report, options.seed) if value is not None)
    campaign = Campaign(seed, options.under, options.jobs, options.anomaly)
    if options.report is None:
        STATE.mkdir(parents=True, exist_ok=True)
        campaign.prepare()
        try:
            if options.recheck is not None:
                survivors = {key for key, result in campaign.results.items() if result["outcome"] == "survived"}
                survivors -= known_faults().keys()
                campaign.run([fault for fault in campaign.order if fault.key in survivors], sys.maxsize,
                             options.until)
            else:
                campaign.run([fault for fault in campaign.order if fault.key not in campaign.results],
                             options.count, options.until)
        finally:
            for tree in campaign.trees:
                tree.stop_wine()
    return 0 if campaign.report() else 1


if __name__ == "__main__":
    sys.exit(main())
