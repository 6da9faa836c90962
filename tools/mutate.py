#!/usr/bin/env python3
"""Breaks the library in many small ways, one at a time, and tells which of them the tests notice.

A mutation changes one place of one line by one of RULES. Which places are taken depends on the texts of the lines
alone, so unchanged sources give the same mutations again. tests/mutations.txt says which programs test which sources.
Only what contains the change is compiled. Each line of the output: the place, the rule, the changed line, and the first
test, fuzz target or proof that noticed (with --all every test), or "missed"; separated by tabs.
"""
import argparse, glob, hashlib, os, re, shutil, subprocess, sys, tempfile
from concurrent.futures import ThreadPoolExecutor

RULES = [("equal", r" == ", " != "), ("unequal", r" != ", " == "), ("less", r" < ", " <= "), ("atMost", r" <= ", " < "),
         ("more", r" > ", " >= "), ("atLeast", r" >= ", " > "), ("plus", r" \+ ", " - "), ("minus", r" - ", " + "),
         ("and", r" && ", " || "), ("or", r" \|\| ", " && "), ("if", r"(\bif|\bwhile) \((.*)\)$", r"\1 (!(\2))"),
         ("true", r"\btrue\b", "false"), ("false", r"\bfalse\b", "true"), ("not", r"([ (])!(?=[a-z])", r"\1"),
         ("zero", r"([ (])0\b(?![x.'])", r"\g<1>1"), ("one", r"([ (])1(U?)\b", r"\g<1>2\2"),
         ("up", r"\+\+(?=\w)", "--"), ("count", r"\b([2-9]|[1-9][0-9]+)(U?)\b(?!\w)", r"(\1\2 + 1\2)"),
         ("drop", r"^(\s+)(?!return|delete|else|case|using|throw)[a-zA-Z:>.()-]+(\(.*\)| \+?-?\|?&?= .*);$",
          r"\1; // \g<0>"),
         ("result", r"\breturn (?!true|false|\*this|0;)(\w[^;?]*);", r"return decltype(\1){};")]
SKIP = re.compile(r"^\s*(//|#|static_assert|using |template|enum|namespace|[}{]|friend)|UTL_API|operator|"
                  r"constexpr|= default")
FLAGS = "-std=c++17 -O0 -w -fPIC -pthread -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64".split()
LIMIT = 15  # seconds for the tests of one program; a mutation that makes them hang is noticed


def run(command, limit=LIMIT, folder=None):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=limit, text=True,
                              errors="replace", cwd=folder)
    except subprocess.TimeoutExpired as late:
        return subprocess.CompletedProcess(command, -99, (late.stdout or b"").decode(errors="replace"))


class House:
    """The library and its test programs, compiled once into a folder."""

    def __init__(self, root, work, jobs):
        self.root, self.work, self.apart, self.deaf = root, work, {}, {}
        self.flags = FLAGS + [f"-I{root}/{d}" for d in ("include", "source", "tests", "tests/fuzz")]
        self.flags += [f'-DUTL_PROOF_DIR="{root}/tests/proof"']
        lines = [line.split(":") for line in open(f"{root}/tests/mutations.txt") if line[0] != "#"]
        self.table = [(re.compile(source.strip() + "$"), programs.split()) for source, programs in lines]
        self.library = glob.glob(f"{root}/source/**/*.cpp", recursive=True)
        found = [s for d in ("*Test", "fuzz/*Fuzz", "proof/*Proof") for s in glob.glob(f"{root}/tests/{d}.cpp")]
        self.programs = {os.path.basename(s)[:-4]: s for s in found}
        support = [f"{root}/tests/{s}.cpp" for s in ("support/Main", "fuzz/replay")]
        with ThreadPoolExecutor(jobs) as pool:
            assert all(pool.map(self.compile, self.library + found + support)), "does not compile"
        self.uses = {s: open(self.object(s)[:-2] + ".d").read().split() for s in self.library + found}
        run(["ar", "rcs", f"{work}/lib.a"] + [self.object(s) for s in self.library])

    def object(self, source, folder=None):
        return f"{folder or self.work}/{os.path.basename(source)[:-4]}.o"

    def compile(self, source, folder=None, first=()):
        maps = [f"-ffile-prefix-map={tree}/=" for tree in (self.root, f"{folder}/tree")]  # diagnostics name the file
        return run(["g++", *first, *maps, *self.flags, "-MMD", "-c", source, "-o", self.object(source, folder)],
                   120).returncode == 0

    def link(self, name, changed, folder):
        """What was changed comes first, so that its inline functions are those of the program."""
        parts = [p for p in changed if os.path.basename(p)[:-2] not in self.programs or p == f"{folder}/{name}.o"]
        parts += [self.object(self.programs[name])] * (f"{folder}/{name}.o" not in changed)
        more = {"Fuzz": ["replay"], "Test": ["Main"], "roof": []}[name[-4:]]
        parts += [f"{self.work}/{m}.o" for m in more] + [f"{self.work}/lib.a", "-lgtest", "-lrt"]
        return run(["g++", "-fuse-ld=gold", "-pthread", "-o", f"{folder}/{name}", *parts], 120).returncode == 0

    def failures(self, name, folder, every):
        """The tests of the program that fail; of a proof or a fuzz target, the program itself."""
        path, apart, found = f"{folder}/{name}", self.apart.get(name, []), []
        if not name.endswith("Test"):
            inputs = ["8000" if re.match("Bit|Http|Line", name) else "60000"] * name.endswith("Fuzz")
            seeds = glob.glob(f"{self.root}/tests/fuzz/seeds/{name}/*")
            return [name] * (run([path, *inputs, *seeds], 4 * LIMIT, folder).returncode != 0)
        seen = list(apart)
        for _ in range(4 if every else 1):  # again, after a crash, for the tests behind it
            done = run([path, "--gtest_filter=-" + ":".join(seen)] + ["--gtest_fail_fast"] * (not every), folder=folder)
            began = re.findall(r"^\[ RUN +\] (\S+)", done.stdout, re.M)
            ended = re.findall(r"^\[ +(?:OK|SKIPPED) +\] (\S+)", done.stdout, re.M)
            found += [t for t in began if t not in ended]
            seen += began
            if done.returncode in (0, 1) or not began:
                break
        found += [name] * (done.returncode != 0 and not found)
        for test in apart if every or not found else []:
            found += [test] * (run([path, "--gtest_filter=" + test], folder=folder).returncode != 0)
        return found

    def check(self, name):
        """Runs the unbroken program; tests of it that want a process of their own get one."""
        assert self.link(name, [], self.work), name + " does not link"
        self.apart[name] = self.failures(name, self.work, True) if name.endswith("Test") else []
        self.deaf[name] = self.failures(name, self.work, True)
        for test in self.deaf[name]:
            print(f"{test} fails as it is: not heeded", file=sys.stderr)

    def tests(self, source):
        return next((p for pattern, p in self.table if pattern.match(os.path.relpath(source, self.root))), [])

    def attempt(self, source, number, changed, every):
        """Who notices the change; None if it does not compile."""
        with tempfile.TemporaryDirectory() as folder:
            tree, place, programs = f"{folder}/tree/", os.path.relpath(source, self.root), self.tests(source)
            os.makedirs(os.path.dirname(tree + place))
            lines = open(source).read().split("\n")
            with open(tree + place, "w") as out:
                out.write("\n".join(lines[:number] + [changed] + lines[number + 1:]))
            first, units = [f"-I{tree}include", f"-I{tree}source", f"-I{os.path.dirname(source)}"], [source]
            if source.endswith(".h"):
                alike = lambda s: len(os.path.commonprefix([os.path.basename(s), os.path.basename(source)]))
                users = sorted((s for s in self.library if source in self.uses[s]), key=alike, reverse=True)
                units = users[:4] + [self.programs[p] for p in programs if source in self.uses[self.programs[p]]]
            if not all(self.compile(tree + place if u == source else u, folder, first) for u in units):
                return None
            found = []
            for name in programs:
                if not found or (every and not name.endswith("Proof")):
                    self.link(name, [self.object(u, folder) for u in units], folder)
                    found += [t for t in self.failures(name, folder, every) if t not in self.deaf[name]]
            return found


def mutations(path, root):
    """All of the file, in an order that depends on its lines alone."""
    out, place = [], os.path.relpath(path, root)
    for number, line in enumerate(open(path).read().split("\n")):
        text = re.sub(r"\s*///?.*$", "", line)
        for name, pattern, better in RULES if not SKIP.search(text) else []:
            for found in re.finditer(pattern, text):
                if text[:found.start()].count('"') % 2 == 0:
                    changed = text[:found.start()] + found.expand(better) + text[found.end():]
                    key = hashlib.sha1(f"{place}|{name}|{text}|{changed}".encode()).hexdigest()
                    out.append((key, path, number, (place, name, changed)))
    return sorted(out)


def trial(house, every, count, given):
    """By rounds, one mutation of each source: what is cut short has seen something of everything."""
    share, caught, tried = count / sum(len(m) for m in every.values()), 0, 0
    left = {s: max(2, round(share * len(m))) for s, m in every.items()}
    while any(left[s] and every[s] for s in every):
        turn = [every[s].pop(0) for s in every if left[s] and every[s]]
        with ThreadPoolExecutor(given.jobs) as pool:
            answers = pool.map(lambda m: house.attempt(m[1], m[2], m[3][2], given.all), turn)
            for (_, path, number, (place, rule, changed)), who in zip(turn, answers):
                if who is not None:
                    left[path], tried, caught = left[path] - 1, tried + 1, caught + bool(who)
                    noticed = " ".join(dict.fromkeys(who)) or "missed"
                    print(f"{place}:{number + 1}", rule, " ".join(changed.split()), noticed, sep="\t", flush=True)
    print(f"{caught} of {tried} mutations noticed", file=sys.stderr)
    return caught == tried


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--count", type=int, default=300, help="about so many; each source gets two at least")
    parser.add_argument("--family", default="", help="a pattern that the sources' paths contain")
    parser.add_argument("--all", action="store_true", help="every test that notices, and not the first alone")
    parser.add_argument("--again", help="an earlier output: only what was noticed then; fails if any is missed now")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--root", default=os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    given = parser.parse_args()
    work = tempfile.mkdtemp(prefix="mutate.")
    try:
        house = House(os.path.abspath(given.root), work, given.jobs)
        sources = [s for d in ("source", "include") for s in glob.glob(f"{house.root}/{d}/**/*.*", recursive=True)]
        every = {s: mutations(s, house.root) for s in sorted(sources) if re.search(given.family, s) and house.tests(s)}
        if given.again:
            rows = [line.rstrip("\n").split("\t") for line in open(given.again)]
            known = {(r[0].split(":")[0], r[1], r[2]) for r in rows if r[3] != "missed"}
            for found in every.values():
                found[:] = [m for m in found if (*m[3][:2], " ".join(m[3][2].split())) in known]
        for name in sorted({p for s in every if every[s] for p in house.tests(s)}):
            house.check(name)
        well = trial(house, every, sys.maxsize if given.again else given.count, given)
        sys.exit(1 if given.again and not well else 0)
    finally:
        shutil.rmtree(work)


if __name__ == "__main__":
    main()
