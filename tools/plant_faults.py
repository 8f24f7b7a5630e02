#!/usr/bin/env python3
"""Plants faults one at a time and says which of them the tests find.

  tools/plant_faults.py AREA [--only N,N,...] [--keep] [--jobs J]

Faults of an area stand in tools/faults/AREA.txt: first the programs that test the area, then a record for each fault
with an empty line between them:

  tests: test_frame test_shared

  file: frame/report.cpp
  find: record.index +=
  replace: record.index -=
  as: statement

`find` is text that the file holds once; both texts may go on over lines that begin with a space. `as` says how a
fault is switched at run time, so that one build holds them all:
  expression   (FAULT(n) ? (new) : (old)); this is what a record without `as` means. Text and surroundings must bear
               the parentheses: of a product a b c take all of it
  statement    { if (FAULT(n)) { new } else { old } }
  build        not at all: the fault gets a build of its own (constants, declarations)
The build lies in a scratch copy of the tree. A fault counts as found if a program fails, crashes or does not end.
"""
import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

SCRATCH = pathlib.Path(os.environ.get("TMPDIR", "/tmp")) / "orv_planted"
HEADER = """#pragma once
#ifndef __ASSEMBLER__
#include <stdlib.h>
static inline int orv_planted_fault(void) {
  const char* text = getenv("ORV_PLANTED_FAULT");
  return text ? atoi(text) : 0;
}
#ifdef __cplusplus
namespace { const int orv_planted = orv_planted_fault(); }
#define FAULT(n) (orv_planted == n)
#endif
#endif
"""
SECONDS = 180  # a test program that takes longer has met an endless loop


def records(path):
    """The test programs and the faults of an area."""
    tests, faults = [], []
    for block in re.split(r"\n\s*\n", path.read_text()):
        lines = [line for line in block.split("\n") if line and not line.startswith("#")]
        fields, key = {}, None
        for line in lines:
            match = re.match(r"(tests|file|find|replace|as):(?: (.*))?$", line)
            if match:
                key = match.group(1)
                fields[key] = match.group(2) or ""
            else:
                fields[key] += "\n" + line
        if "tests" in fields:
            tests = fields["tests"].split()
        elif "file" in fields:
            fields["number"] = len(faults) + 1
            faults.append(fields)
    return tests, faults


def switched(fault):
    number, old, new = fault["number"], fault["find"], fault["replace"]
    if fault.get("as", "expression") == "statement":
        return "{ if (FAULT(%d)) { %s } else { %s } }" % (number, new, old)
    return "(FAULT(%d) ? (%s) : (%s))" % (number, new, old)


def plant(tree, fault, text):
    path = tree / fault["file"]
    source = path.read_text()
    if source.count(fault["find"]) != 1:
        sys.exit("fault %d: %s holds %r %d times" % (fault["number"], fault["file"], fault["find"],
                                                    source.count(fault["find"])))
    path.write_text(source.replace(fault["find"], text))


def unplant(tree, fault):
    shutil.copy(fault["file"], tree / fault["file"])


def build(tree, targets, jobs):
    done = subprocess.run(["cmake", "--build", str(tree / "build"), "-j", str(jobs), "--target", *targets],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode == 0, done.stdout


def prepare(tests, faults, jobs):
    """A copy of the tree with all faults that can be switched, built."""
    tree = SCRATCH / "tree"
    shutil.rmtree(SCRATCH, ignore_errors=True)
    for name in subprocess.run(["git", "ls-files"], stdout=subprocess.PIPE, text=True, check=True).stdout.split("\n"):
        if name and os.path.exists(name):
            (tree / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(name, tree / name)
    rules = tree / "cmake/flags.cmake"
    rules.write_text(rules.read_text().replace("-Werror", "")) # a switch may leave a name unused
    header = SCRATCH / "planted.h"
    header.write_text(HEADER)
    # Texts are looked up in the unchanged files first, so that one fault cannot hide in another's text.
    for fault in faults:
        if (tree / fault["file"]).read_text().count(fault["find"]) != 1:
            sys.exit("fault %d: %s does not hold %r once" % (fault["number"], fault["file"], fault["find"]))
    for fault in faults:
        if fault.get("as") != "build":
            plant(tree, fault, switched(fault))
    flags = "-include %s" % header
    subprocess.run(["cmake", "-S", str(tree), "-B", str(tree / "build"), "-G", "Ninja", "-DORV_BENCH=OFF",
                    "-DCMAKE_CXX_FLAGS=" + flags], check=True, stdout=subprocess.DEVNULL)
    good, log = build(tree, tests, jobs)
    if not good:
        print(log[-6000:])
        sys.exit("the build with all faults failed: give those that it names `as: build`")
    return tree


def failing_program(tree, tests, number):
    """The first program that fails under the fault, and the first test it names; none if all pass."""
    environment = dict(os.environ, ORV_PLANTED_FAULT=str(number))
    for test in tests:
        try:
            run = subprocess.run([str(tree / "build" / "bin" / test), "--gtest_brief=1", "--gtest_fail_fast"],
                                 env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                 errors="replace", timeout=SECONDS)
        except subprocess.TimeoutExpired:
            return test + " (no end)"
        if run.returncode:
            named = re.search(r"\[  FAILED  \] (\S+)", run.stdout)
            return "%s %s" % (test, named.group(1).rstrip(",") if named else "(crash)")
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("area")
    parser.add_argument("--only", help="numbers of faults, with commas between")
    parser.add_argument("--keep", action="store_true", help="use the build that is there")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    os.chdir(pathlib.Path(__file__).resolve().parent.parent)
    tests, faults = records(pathlib.Path("tools/faults") / (options.area + ".txt"))
    tree = SCRATCH / "tree" if options.keep else prepare(tests, faults, options.jobs)
    if options.keep:
        good, log = build(tree, tests, options.jobs)
        if not good:
            sys.exit(log[-3000:])
    without = failing_program(tree, tests, 0)
    if without:
        sys.exit("without any fault %s fails" % without)
    wanted = {int(n) for n in options.only.split(",")} if options.only else None
    found, tried = 0, 0
    for fault in faults:
        number = fault["number"]
        if wanted and number not in wanted:
            continue
        start = time.time()
        if fault.get("as") == "build":
            before = (tree / fault["file"]).read_text()
            plant(tree, fault, fault["replace"])
            good, log = build(tree, tests, options.jobs)
            by = failing_program(tree, tests, 0) if good else "the compiler"
            (tree / fault["file"]).write_text(before)
            if not good:
                print(log[-1500:])
        else:
            by = failing_program(tree, tests, number)
        tried += 1
        found += by is not None
        print("%3d %-6s %4.0f s  %s: %s -> %s%s" % (
            number, "found" if by else "MISSED", time.time() - start, fault["file"], " ".join(fault["find"].split()),
            " ".join(fault["replace"].split()), "  [%s]" % by if by else ""), flush=True)
    print("%s: %d of %d found, %.0f %%" % (options.area, found, tried, 100.0 * found / max(tried, 1)))


main()
