#!/usr/bin/env python3
"""Applies one deliberate fault at a time to the sources, rebuilds, runs the suite and says which
tests caught it. A fault no test catches is a hole in the suite; a test no fault needs is a
candidate for merging. The sources are always put back, also on Ctrl-C.

  tools/fault-check.py [--build DIR] [--faults FILE] [--only ID,...] [--json OUT]

The build folder must be configured already (./dev native makes build/native). Faults live in
tools/faults.txt, one block each:

  [id] what the fault stands for
  path/to/file.cpp
  <<<
  exact text, found once in the file
  ===
  the text that replaces it
  >>>
"""
import argparse
import glob
import json
import os
import signal
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def parse_faults(path):
    faults, lines, i = [], open(path, encoding="utf-8").read().split("\n"), 0
    while i < len(lines):
        line = lines[i]
        if not line.startswith("["):
            i += 1
            continue
        fid, _, about = line[1:].partition("]")
        file = lines[i + 1].strip()
        if lines[i + 2] != "<<<":
            sys.exit(f"{path}: fault {fid}: '<<<' expected after the file name")
        j = lines.index("===", i + 3)
        k = lines.index(">>>", j + 1)
        faults.append({"id": fid, "about": about.strip(), "file": file,
                       "old": "\n".join(lines[i + 3:j]), "new": "\n".join(lines[j + 1:k])})
        i = k + 1
    return faults


def failures(build):
    """Failed cases from the GoogleTest reports, and failed ctest entries that wrote none."""
    failed, reported = set(), set()
    for xml in glob.glob(os.path.join(build, "test-results", "*.xml")):
        try:
            tree = ET.parse(xml)
        except ET.ParseError:
            continue
        program = os.path.splitext(os.path.basename(xml))[0]
        if program == "ctest.junit":
            continue
        reported.add(program)
        for case in tree.iter("testcase"):
            if case.find("failure") is not None or case.find("error") is not None:
                failed.add(f"{program}: {case.get('classname')}.{case.get('name')}")
    junit = os.path.join(build, "test-results", "ctest.junit.xml")
    if os.path.exists(junit):
        for case in ET.parse(junit).iter("testcase"):
            bad = case.get("status") == "fail" or case.find("failure") is not None
            if bad and not any(f.startswith(case.get("name") + ":") for f in failed):
                failed.add(case.get("name"))
    return sorted(failed)


def run_suite(build, jobs, timeout):
    results = os.path.join(build, "test-results")
    for old in glob.glob(os.path.join(results, "*.xml")):
        os.remove(old)
    os.makedirs(results, exist_ok=True)
    built = subprocess.run(["cmake", "--build", build, "-j", str(jobs)],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
    if not built:
        return None
    subprocess.run(["ctest", "--test-dir", build, "-j", str(jobs), "--timeout", str(timeout),
                    "--output-junit", os.path.join(results, "ctest.junit.xml")],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return failures(build)


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    ap.add_argument("--build", default=os.path.join(ROOT, "build", "native"))
    ap.add_argument("--faults", default=os.path.join(ROOT, "tools", "faults.txt"))
    ap.add_argument("--only", default="")
    ap.add_argument("--json", default="")
    ap.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    # A fault that makes a program wait for what never comes is caught by this limit.
    ap.add_argument("--timeout", type=int, default=180, help="seconds a test program may take")
    args = ap.parse_args()
    # ctest takes a relative report path from the build folder, not from here.
    args.build = os.path.abspath(args.build)
    # A stop by signal still puts the sources back (SystemExit runs the finally below).
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(2))

    faults = parse_faults(args.faults)
    if args.only:
        wanted = set(args.only.split(","))
        faults = [f for f in faults if f["id"] in wanted]
    for f in faults:
        text = open(os.path.join(ROOT, f["file"]), encoding="utf-8").read()
        if text.count(f["old"]) != 1:
            sys.exit(f"fault {f['id']}: its text is not found exactly once in {f['file']}")

    started = time.time()
    print("baseline ...", flush=True)
    baseline = run_suite(args.build, args.jobs, args.timeout)
    if baseline is None or baseline:
        sys.exit(f"the suite must build and pass before faults are added: {baseline}")

    report, missed = {}, []
    for f in faults:
        path = os.path.join(ROOT, f["file"])
        original = open(path, encoding="utf-8").read()
        t0 = time.time()
        try:
            with open(path, "w", encoding="utf-8") as out:
                out.write(original.replace(f["old"], f["new"]))
            caught = run_suite(args.build, args.jobs, args.timeout)
        finally:
            with open(path, "w", encoding="utf-8") as out:
                out.write(original)
        if caught is None:
            status = "does not build"
        elif caught:
            status = f"caught by {len(caught)}"
        else:
            status = "MISSED"
            missed.append(f["id"])
        print(f"[{f['id']}] {status} ({time.time() - t0:.0f} s)", flush=True)
        for name in caught or []:
            print(f"    {name}", flush=True)
        report[f["id"]] = {"about": f["about"], "caught_by": caught}
    run_suite(args.build, args.jobs, args.timeout)  # leaves the build as the sources are
    minutes = (time.time() - started) / 60
    print(f"{len(faults)} faults, {len(faults) - len(missed)} caught, missed: "
          f"{', '.join(missed) or 'none'}; {minutes:.0f} min")
    if args.json:
        with open(args.json, "w", encoding="utf-8") as out:
            json.dump(report, out, indent=1)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
