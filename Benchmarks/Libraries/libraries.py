"""What each shared library of a build costs: its size, its relocations, and the time to load it, with what it needs
and alone.

Usage: libraries.py BUILD_FOLDER
"""

import pathlib
import re
import statistics
import subprocess
import sys

SAMPLES = 20


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def relocations(library):
    sections = re.findall(r"contains (\d+) entr", output("readelf", "--relocs", "--wide", library))
    return sum(map(int, sections))


def loading(program, *libraries):
    """Microseconds that the last one takes where the others are loaded."""
    return statistics.median(float(output(program, *libraries)) for _ in range(SAMPLES))


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = pathlib.Path(sys.argv[1])
    libraries = sorted(each for each in (build / "lib").glob("lib*.so") if each.is_symlink())  # versioned: installed
    if not libraries:
        sys.exit(f"there is no shared library in {build / 'lib'}: build with BUILD_SHARED_LIBS")
    program = build / "bin/zn_load_library"
    print(f"{'library':20}{'KB':>6}{'relocations':>13}{'load us':>9}{'alone us':>10}  medians of {SAMPLES} fresh processes")
    for library in libraries:
        needed = re.findall(r"=> (/\S+)", output("ldd", library))
        size = library.stat().st_size / 1000
        times = f"{loading(program, library):9.0f}{loading(program, *needed, library):10.0f}"
        print(f"{library.stem:20}{size:6.0f}{relocations(library):13}{times}")


if __name__ == "__main__":
    main()
