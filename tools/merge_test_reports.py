#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Puts the cases of GoogleTest's reports into CTest's, where one entry stands
for a whole program.

    tools/merge_test_reports.py CTEST_REPORT.xml FOLDER

FOLDER holds NAME.xml for the entry NAME_tests. An entry that failed without a
failed case in its report, as a crash does, stays; so does one without a report.
"""

import pathlib
import sys
import xml.etree.ElementTree as tree


def cases_of(report, name):
    """Cases as CTest writes them: a name and a status."""
    for case in tree.parse(report).getroot().iter("testcase"):
        status = "run"
        if case.find("failure") is not None:
            status = "fail"
        elif case.get("result") == "skipped" or case.get("status") == "notrun":
            status = "notrun"
        yield tree.Element("testcase", {
            "name": f'{name}.{case.get("classname")}.{case.get("name")}', "status": status})


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    path, folder = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    report = tree.parse(path)
    suite = report.getroot()
    for entry in list(suite.iter("testcase")):
        name = entry.get("name").removesuffix("_tests")
        cases_path = folder / f"{name}.xml"
        if not entry.get("name").endswith("_tests") or not cases_path.is_file():
            continue
        cases = list(cases_of(cases_path, name))
        explained = any(case.get("status") == "fail" for case in cases)
        if entry.get("status") == "run" or explained:
            suite.remove(entry)
        suite.extend(cases)
    report.write(path, encoding="utf-8", xml_declaration=True)


if __name__ == "__main__":
    main()
