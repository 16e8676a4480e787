"""Puts the results of one run of tests, which CTest wrote, into a file of several: junit.py FILE SUITE RESULTS

FILE is made, or keeps the suites of other names. What it holds is replaced as one step.
"""

import os
import sys
import xml.etree.ElementTree as ET


def main(path, name, results):
    run = ET.parse(results).getroot()
    run.set("name", name)
    suites = ET.Element("testsuites")
    if os.path.exists(path):
        suites = ET.parse(path).getroot()
        if suites.tag != "testsuites":
            sys.exit(f"{path}: this holds no results of tests: remove it, or name another file")
        for suite in suites.findall("testsuite"):
            if suite.get("name") == name:
                suites.remove(suite)
    suites.append(run)
    ET.ElementTree(suites).write(path + ".new", encoding="UTF-8", xml_declaration=True)
    os.replace(path + ".new", path)


try:
    main(*sys.argv[1:])
except (OSError, ET.ParseError) as problem:
    sys.exit(f"the results cannot be written: {problem}")
