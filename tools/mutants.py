"""Seeds known faults, one at a time, and says whether the tests notice: ./test mutants [WORD...]

Faults stand in Tests/Mutants/*.txt. A paragraph is one fault:

    two-notifications: both rules of an event post             its name, and what is wrong
    file: ZNMessaging/Some/File.cpp
    tests: unit messaging                                      labels of the tests that shall catch it
    - return;  // at most one                                  the text, found once in the file, ...
    + continue;                                                ... and what takes its place
    explained: why no test notices                             only where that is known and accepted

A text of several lines has a "-" or "+" before each. All happens in a copy below build/mutants.
"""

import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

PLACE = Path("build/mutants").absolute()
# Where a release build of the checkout itself would be, so that ccache knows most objects already.
SOURCE, BUILD, SCRATCH = PLACE / "source", PLACE / "source/build/release", PLACE / "temporary"
TEST_LIMIT, RUN_LIMIT, MEMORY = 30, 300, 4 << 30
TARGETS = {
    "unit": ["PlatformTests", "CoreTests"],
    "messaging": ["MessagingTests"],
    "simulator": ["SimulatorTests"],
    "scenario": ["zinsim", "zinextension"],
    "stress": ["StressTests"],
    "crash": ["CrashTests"],
    "faults": ["FaultTests"],
    "integration": ["IntegrationTests"],
    "push": ["PushTests", "push_interop"],
    "desktop": ["DesktopTests", "QtTests", "desktop_host", "zindistributor", "zinhost", "zinserver", "zinpush"],
}


def faults_in(path):
    for paragraph in re.split(r"\n\s*\n", path.read_text()):
        fault = {"-": [], "+": []}
        for line in paragraph.splitlines():
            if not line or line.startswith("#"):
                continue
            if line[0] in "-+":
                fault[line[0]].append(line[2:])
            elif "name" not in fault:
                fault["name"], _, fault["what"] = (part.strip() for part in line.partition(":"))
            else:
                key, _, value = line.partition(":")
                fault[key] = value.strip()
        if "name" not in fault:
            continue
        labels = fault.get("tests", "").split()
        if not fault["-"] or not fault["+"] or "file" not in fault or not labels or set(labels) - set(TARGETS):
            sys.exit(f"mutants: {path}: {fault['name']}: incomplete, or a label other than {', '.join(TARGETS)}")
        yield fault


def copy_sources():
    """Touches only what differs, so that the build is incremental."""
    listed = subprocess.check_output(["git", "ls-files", "-co", "--exclude-standard", "-z"], text=True).split("\0")
    wanted = {name for name in listed if name and os.path.isfile(name)}
    for name in wanted:
        copy, text = SOURCE / name, Path(name).read_bytes()
        if not copy.exists() or copy.read_bytes() != text:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(text)
            shutil.copymode(name, copy)
    for folder, folders, names in os.walk(SOURCE):
        if folder == str(SOURCE):
            folders[:] = [each for each in folders if each != "build"]
        for name in names:
            if os.path.relpath(os.path.join(folder, name), SOURCE) not in wanted:
                os.unlink(os.path.join(folder, name))


def run(command, limit):
    """Its output, and whether it ended well in time."""
    SCRATCH.mkdir(exist_ok=True)
    environment = dict(os.environ, TMPDIR=str(SCRATCH), ZN_STRESS_SCALE="0.2")
    cap = lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    with open(PLACE / "log", "wb") as log:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=environment,
                                   preexec_fn=cap, start_new_session=True)
        try:
            ended_well = process.wait(limit) == 0
        except BaseException as problem:  # the time limit, or the end of this program: nothing stays that writes here
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            if not isinstance(problem, subprocess.TimeoutExpired):
                raise
            ended_well = False
    return ended_well, (PLACE / "log").read_text(errors="replace")


def build(labels):
    targets = sorted({target for label in labels for target in TARGETS[label]})
    return run(["ninja", "-C", str(BUILD), *targets], 3600)


def test(labels):
    """Whether all passed, and the name of a test that did not."""
    shutil.rmtree(SCRATCH, ignore_errors=True)
    SCRATCH.mkdir()
    jobs = str(max(2, os.cpu_count()))
    passed, output = run(["ctest", "--test-dir", str(BUILD), "-j", jobs, "--timeout", str(TEST_LIMIT), "--no-tests=error",
                          "--stop-on-failure", "-L", "^(" + "|".join(labels) + ")$"], RUN_LIMIT)
    failed = re.findall(r"\d+/\d+ Test +#\d+: (\S+) .*\*\*\*", output)
    return passed, failed[0] if failed else "the time limit"


def judge(fault):
    """What becomes of one fault, and by what."""
    path = SOURCE / fault["file"]
    if not path.is_file():
        return "does not apply", "there is no such file"
    text = path.read_text()
    old, new = "\n".join(fault["-"]), "\n".join(fault["+"])
    if text.count(old) != 1:
        return "does not apply", f"its text stands there {text.count(old)} times"
    labels = fault["tests"].split()
    path.write_text(text.replace(old, new))
    try:
        built, output = build(labels)
        if not built:
            return "does not apply", "it does not build:\n" + "\n".join(re.findall(r".*error:.*", output)[:5])
        passed, name = test(labels)
    finally:
        path.write_text(text)
    if not passed:
        return "caught", name
    return ("explained", fault["explained"]) if "explained" in fault else ("survived", "")


def main(words):
    faults = [(path.stem, fault) for path in sorted(Path("Tests/Mutants").glob("*.txt")) for fault in faults_in(path)]
    chosen = [fault for stem, fault in faults
              if not words or any(word in f"{stem} {fault['name']} {fault['file']}" for word in words)]
    if not chosen:
        sys.exit("mutants: no fault has one of these words in its name or file")
    copy_sources()
    if not (BUILD / "build.ninja").exists():
        BUILD.mkdir(parents=True, exist_ok=True)
        done, output = run(["cmake", "--preset", "release", "-S", str(SOURCE), "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
                            "-DZN_BUILD_APPLICATIONS=ON", "-DZN_BUILD_TESTS=ON"], 600)
        if not done:
            sys.exit("mutants: " + output)
    labels = sorted({label for fault in chosen for label in fault["tests"].split()})
    built, output = build(labels)
    if not built:
        sys.exit("mutants: the build fails without a fault\n" + output[-3000:])
    passed, name = test(labels)
    if not passed:
        sys.exit(f"mutants: without a fault {name} fails already")
    count = dict.fromkeys(("caught", "explained", "survived", "does not apply"), 0)
    for fault in chosen:
        started = time.monotonic()
        result, reason = judge(fault)
        count[result] += 1
        print(f"{result:14} {fault['name']} ({fault['what']}) {reason} [{time.monotonic() - started:.0f} s]", flush=True)
    applied = len(chosen) - count["does not apply"]
    share = 100 * count["caught"] / applied if applied else 0
    print(f"{len(chosen)} faults: " + ", ".join(f"{n} {what}" for what, n in count.items()) + f"; {share:.1f} % caught")
    return 1 if count["survived"] or count["does not apply"] else 0


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("mutants: told to end"))
    sys.exit(main(sys.argv[1:]))
