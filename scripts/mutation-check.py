#!/usr/bin/env python3
"""Mutation check: does the test suite notice small, plausible faults?

Each mutant of tests/mutation/mutants.json replaces one exact text in one file
by another. The check applies the mutants one at a time to a scratch copy of
the repository, rebuilds it incrementally, runs the test suite, and restores
the file. A mutant is killed when a test fails or times out, survives when the
whole suite still passes, and no longer applies when its text is not found
exactly once (the code moved on: update the list).

Usage: scripts/mutation-check.py [--list] [--quick] [--only ID[,ID...]] [--jobs N]
See tests/README.md for how to read the output.
"""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

REPO = Path(__file__).resolve().parent.parent
MUTANTS = REPO / "tests" / "mutation" / "mutants.json"
PRESET = "dev"
REQUIRED_FIELDS = ("id", "file", "find", "replace", "fault")


class Mutant:
    def __init__(self, entry):
        missing = [f for f in REQUIRED_FIELDS if not isinstance(entry.get(f), str)]
        if missing:
            raise ValueError(f"mutant {entry.get('id', '?')}: missing {', '.join(missing)}")
        self.id = entry["id"]
        self.file = entry["file"]
        self.find = entry["find"]
        self.replace = entry["replace"]
        self.fault = entry["fault"]
        # Tests that should notice it, run first so that a kill is found early.
        self.tests = entry.get("tests", "")
        self.quick = bool(entry.get("quick", False))

    def applicability(self, tree):
        """None when the mutant applies to `tree`, else why not."""
        path = tree / self.file
        if not path.is_file():
            return "file not found"
        count = path.read_text(encoding="utf-8").count(self.find)
        if count == 0:
            return "text not found"
        if count > 1:
            return f"text found {count} times"
        if self.find == self.replace:
            return "replacement equals the text"
        return None


def load_mutants():
    entries = json.loads(MUTANTS.read_text(encoding="utf-8"))
    mutants = [Mutant(e) for e in entries]
    seen = set()
    for m in mutants:
        if m.id in seen:
            raise ValueError(f"mutant id {m.id} is used twice")
        seen.add(m.id)
    return mutants


def run(command, cwd, log=None, timeout=None, env=None):
    """Runs a command, its output appended to `log`; returns the exit status (None on timeout)."""
    with open(log or os.devnull, "a", encoding="utf-8") as out:
        out.write(f"\n$ {' '.join(command)}\n")
        out.flush()
        began = time.monotonic()
        process = subprocess.Popen(command, cwd=cwd, stdout=out, stderr=subprocess.STDOUT,
                                   env=env, start_new_session=True)
        try:
            status = process.wait(timeout=timeout)
            out.write(f"(exit status {status} after {time.monotonic() - began:.1f} s)\n")
            return status
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            return None
        except BaseException:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            raise


def git(*args, cwd=REPO):
    return subprocess.run(["git", *args], cwd=cwd, check=True, capture_output=True,
                          text=True).stdout


class Scratch:
    """A clone of the repository's HEAD (and, on request, its uncommitted changes) with
    a build directory of its own, kept between runs so that builds are incremental."""

    def __init__(self, root, jobs, log):
        self.root = root
        self.src = root / "src"
        self.build = self.src / "build" / PRESET
        self.jobs = jobs
        self.log = log

    def prepare(self, with_changes):
        head = git("rev-parse", "HEAD").strip()
        if not (self.src / ".git").is_dir():
            self.root.mkdir(parents=True, exist_ok=True)
            git("clone", "--quiet", "--shared", "--no-checkout", str(REPO), str(self.src))
        git("fetch", "--quiet", str(REPO), head, cwd=self.src)
        git("checkout", "--quiet", "--force", "--detach", head, cwd=self.src)
        git("clean", "--quiet", "-fdx", "-e", "/build/", cwd=self.src)
        if with_changes:
            self.copy_changes()
        return head

    def copy_changes(self):
        """Brings the working tree's uncommitted files over, untracked ones included."""
        changed = git("ls-files", "--modified", "--others", "--exclude-standard", "-z")
        for name in filter(None, changed.split("\0")):
            source = REPO / name
            target = self.src / name
            if source.is_file():
                if not target.is_file() or target.read_bytes() != source.read_bytes():
                    target.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy2(source, target)
            elif target.exists():
                target.unlink()

    def configure(self):
        env = dict(os.environ)
        if env.get("CCACHE_DIR") and shutil.which("ccache"):
            env.setdefault("CMAKE_CXX_COMPILER_LAUNCHER", "ccache")
            env.setdefault("CMAKE_C_COMPILER_LAUNCHER", "ccache")
        if (self.build / "build.ninja").is_file():
            return True
        return run(["cmake", "--preset", PRESET], self.src, self.log, env=env) == 0

    def compile(self, targets=()):
        command = ["cmake", "--build", str(self.build), "-j", str(self.jobs)]
        if targets:
            command += ["--target", *targets]
        return run(command, self.src, self.log) == 0

    def targets(self):
        """The names the build knows as targets (each test executable is one)."""
        listing = subprocess.run(["ninja", "-C", str(self.build), "-t", "targets", "all"],
                                 capture_output=True, text=True).stdout
        return {line.split(":", 1)[0] for line in listing.splitlines()}

    def costs(self):
        """Seconds each test took when it last passed, as ctest keeps them."""
        costs = {}
        data = self.build / "Testing" / "Temporary" / "CTestCostData.txt"
        if data.is_file():
            for line in data.read_text().splitlines():
                parts = line.split()
                if len(parts) == 3:
                    try:
                        costs[parts[0]] = float(parts[2])
                    except ValueError:
                        pass
        return costs

    def tests(self):
        listing = subprocess.run(["ctest", "--test-dir", str(self.build), "-N"],
                                 capture_output=True, text=True, check=True).stdout
        names = []
        for line in listing.splitlines():
            parts = line.split(": ", 1)
            if len(parts) == 2 and parts[0].strip().startswith("Test"):
                names.append(parts[1].strip())
        return names

    def ctest(self, names, timeout, stop_on_failure):
        """Runs the named tests; returns the names of those that failed."""
        if not names:
            return []
        failed_log = self.build / "Testing" / "Temporary" / "LastTestsFailed.log"
        if failed_log.exists():
            failed_log.unlink()
        regex = "^(" + "|".join(names) + ")$"
        command = ["ctest", "--test-dir", str(self.build), "-R", regex, "--timeout", str(timeout),
                   "-j", str(self.jobs), "--output-on-failure"]
        if stop_on_failure:
            command.append("--stop-on-failure")
        log_size = self.log.stat().st_size
        # A GoogleTest executable stops at its first failing test: one is enough.
        env = dict(os.environ, GTEST_FAIL_FAST="1")
        # A test of its own may allow itself longer; none may take longer than this in all.
        status = run(command, self.src, self.log, timeout=max(600, 2 * timeout * len(names)),
                     env=env)
        if status is None:
            return ["(the test run itself hung)"]
        failed = []
        if failed_log.exists():
            for line in failed_log.read_text().splitlines():
                failed.append(line.split(":", 1)[-1])
        if status != 0 and not failed:
            failed.append("(ctest failed without naming a test)")
        if not failed:
            return []
        # The GoogleTest cases that failed, from this run's output.
        with open(self.log, encoding="utf-8", errors="replace") as out:
            out.seek(log_size)
            cases = dict.fromkeys(re.findall(r"^\[  FAILED  \] ([\w/.]+)", out.read(), re.M))
        return failed + [f"[{case}]" for case in cases]


class Suite:
    """The tests in the order a mutant meets them: its own tests first (only their targets
    are built for them), then the quick rest, then the slow tests."""

    SLOW_SECONDS = 30.0

    def __init__(self, scratch):
        self.tests = scratch.tests()
        self.targets = scratch.targets()
        costs = scratch.costs()
        self.slow = {t for t in self.tests if costs.get(t, 0.0) > self.SLOW_SECONDS}

    def phases(self, pattern):
        first = [t for t in self.tests if pattern and re.search(pattern, t)]
        rest = [t for t in self.tests if t not in first]
        targets = first if first and all(t in self.targets for t in first) else []
        yield first, targets
        yield [t for t in rest if t not in self.slow], []
        yield [t for t in rest if t in self.slow], []


def check_mutant(mutant, scratch, suite, timeout):
    """Applies, builds, tests and restores one mutant; returns (verdict, detail)."""
    why_not = mutant.applicability(scratch.src)
    if why_not:
        return "no longer applies", why_not
    path = scratch.src / mutant.file
    original = path.read_text(encoding="utf-8")
    try:
        path.write_text(original.replace(mutant.find, mutant.replace, 1), encoding="utf-8")
        built_all = False
        for tests, targets in suite.phases(mutant.tests):
            if not tests:
                continue
            if not built_all:
                if not scratch.compile(targets):
                    return "does not build", "fix the replacement (see the log)"
                built_all = not targets
            failed = scratch.ctest(tests, timeout, stop_on_failure=True)
            if failed:
                return "killed", ", ".join(failed)
        return "survived", mutant.fault
    finally:
        path.write_text(original, encoding="utf-8")


def select(mutants, args):
    if args.only:
        wanted = [i.strip() for i in args.only.split(",") if i.strip()]
        unknown = [i for i in wanted if i not in {m.id for m in mutants}]
        if unknown:
            sys.exit(f"unknown mutant id(s): {', '.join(unknown)}")
        return [m for m in mutants if m.id in wanted]
    if args.quick:
        return [m for m in mutants if m.quick]
    return mutants


def list_mutants(mutants):
    broken = 0
    for m in mutants:
        why_not = m.applicability(REPO)
        broken += why_not is not None
        state = "applies" if why_not is None else f"NO LONGER APPLIES ({why_not})"
        quick = " [quick]" if m.quick else ""
        print(f"{m.id:32} {m.file}{quick}\n{'':32} {m.fault}\n{'':32} {state}")
    print(f"\n{len(mutants)} mutants, {len(mutants) - broken} apply to the working tree")
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--list", action="store_true",
                        help="list the mutants and whether each applies; build nothing")
    parser.add_argument("--quick", action="store_true", help="only the mutants marked quick")
    parser.add_argument("--only", metavar="ID[,ID...]", help="only these mutants")
    parser.add_argument("--jobs", type=int, default=2, help="build and test jobs (default 2)")
    parser.add_argument("--timeout", type=int, default=300,
                        help="per-test timeout in seconds (default 300)")
    parser.add_argument("--scratch", type=Path, default=REPO / "build" / "mutation",
                        help="scratch clone and its build (default build/mutation)")
    parser.add_argument("--with-changes", action="store_true",
                        help="also copy the working tree's uncommitted files to the scratch")
    parser.add_argument("--no-baseline", action="store_true",
                        help="skip the run of the unmutated suite")
    args = parser.parse_args()

    mutants = select(load_mutants(), args)
    if args.list:
        return list_mutants(mutants)

    started = time.monotonic()
    args.scratch.mkdir(parents=True, exist_ok=True)
    log = args.scratch / "mutation-check.log"
    log.write_text("")
    scratch = Scratch(args.scratch.resolve(), args.jobs, log)
    head = scratch.prepare(args.with_changes)
    print(f"scratch {scratch.src} at {head[:12]}{' with changes' if args.with_changes else ''};"
          f" log {log}", flush=True)
    if not scratch.configure() or not scratch.compile():
        print("the unmutated tree does not build: see the log")
        return 2
    all_tests = scratch.tests()
    if not args.no_baseline:
        failed = scratch.ctest(all_tests, args.timeout, stop_on_failure=False)
        if failed:
            print(f"the unmutated suite fails ({', '.join(failed)}): nothing to measure")
            return 2
        print(f"baseline: {len(all_tests)} tests pass"
              f" ({time.monotonic() - started:.0f} s)", flush=True)
    suite = Suite(scratch)

    verdicts = {}
    for number, mutant in enumerate(mutants, 1):
        began = time.monotonic()
        verdict, detail = check_mutant(mutant, scratch, suite, args.timeout)
        verdicts.setdefault(verdict, []).append((mutant, detail))
        print(f"[{number}/{len(mutants)}] {mutant.id}: {verdict} ({detail})"
              f" {time.monotonic() - began:.0f} s", flush=True)
    scratch.compile()  # leave the scratch built as HEAD

    killed = len(verdicts.get("killed", []))
    survived = verdicts.get("survived", [])
    stale = verdicts.get("no longer applies", [])
    unbuildable = verdicts.get("does not build", [])
    measured = killed + len(survived)
    rate = 100.0 * killed / measured if measured else 0.0
    print(f"\nkilled {killed}, survived {len(survived)}, no longer applies {len(stale)},"
          f" does not build {len(unbuildable)}: {rate:.1f} % killed"
          f" in {(time.monotonic() - started) / 60:.1f} min")
    for title, group in (("survivors", survived), ("no longer apply", stale),
                         ("do not build", unbuildable)):
        if group:
            print(f"{title}:")
            for mutant, detail in group:
                print(f"  {mutant.id} ({mutant.file}): {mutant.fault}"
                      + ("" if detail == mutant.fault else f" [{detail}]"))
    return 1 if survived or unbuildable else 0


if __name__ == "__main__":
    sys.exit(main())
