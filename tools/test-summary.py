#!/usr/bin/env python3
"""Prints "PASSED FAILED" for one ctest run.

ctest's JUnit file lists the registered programs; a GoogleTest program also leaves its own XML
(<name>.xml) beside it, whose test cases are counted one by one. A program that failed without
a failing case (a crash, a leak report at exit) adds one failure; a program without a GoogleTest
report counts as one test.
"""
import os
import sys
import xml.etree.ElementTree as ET


def gtest_counts(path):
    passed = failed = 0
    for case in ET.parse(path).getroot().iter("testcase"):
        if case.find("failure") is not None or case.find("error") is not None:
            failed += 1
        elif case.get("result") == "skipped" or case.get("status") == "notrun":
            continue
        else:
            passed += 1
    return passed, failed


def main(results_dir):
    junit = os.path.join(results_dir, "ctest.junit.xml")
    if not os.path.exists(junit):
        print("0 1")
        return
    passed = failed = 0
    for case in ET.parse(junit).getroot().iter("testcase"):
        name = case.get("name")
        ctest_failed = case.find("failure") is not None or case.get("status") == "fail"
        report = os.path.join(results_dir, name + ".xml")
        if os.path.exists(report):
            try:
                p, f = gtest_counts(report)
            except ET.ParseError:
                p, f = 0, 1
            if ctest_failed and f == 0:
                f = 1
            passed += p
            failed += f
        elif ctest_failed:
            failed += 1
        elif case.get("status") in ("notrun", "disabled"):
            continue
        else:
            passed += 1
    print(passed, failed)


if __name__ == "__main__":
    main(sys.argv[1])
