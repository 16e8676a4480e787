#!/usr/bin/env python3
"""Runs applications, their notification extensions and a server for a while, with everything that goes wrong in life:
soak.py FOLDER-OF-PROGRAMS SECONDS.

Two applications work on homes of their own. One lives as long as the run, and its memory and descriptors, and the
server's, must not grow. The other is killed at random moments, like the extensions of both. Clocks are set forwards and
back by an hour, and the server is slow, hangs, breaks off, refuses and talks nonsense. Now and then, and at the end, a
clean start must hold all that was acknowledged, once. What hangs or ends by itself ends the run. The exit status is the
verdict."""

import json
import os
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

TIMEOUT = 3  # of the applications' requests
PATIENCE = 60
# Medians at the start (after a warm-up) and at the end. Allocators need some air.
GROWTH_KILOBYTES = 3072
GROWTH_DESCRIPTORS = 4
WINDOW = 30  # messages that the server sends at a time

FAULTS = [{"delaySeconds": 0.3}, {"delaySeconds": 8}, {"status": 503, "retryAfterSeconds": 1}, {"status": 413},
          {"status": 429, "retryAfterSeconds": 2}, {"status": 500}, {"garbage": True}, {"truncate": True},
          {"close": True}, {"close": True, "delaySeconds": 0.2}, {"garbage": True, "status": 404}]


def payload(campaign):
    return {"aps": {"alert": "News " + campaign}, "zintar": {"cid": campaign, "app_id": "app-1"}}


class Server:
    """zinserver, what it sends and what it took."""

    def __init__(self, programs, folder):
        self.folder = folder
        self.newest = self.faults = self.overflows = 0
        self.taken = {}  # number of an event: the ids under which it was taken
        self.lock = threading.Lock()
        os.mkdir(folder)
        self.write("segments.json", {"default": {"user_in_segment": True, "show_notification": True,
                                                 "payload": payload("fresh")}})
        self.publish()
        self.log = open(folder + ".log", "w")
        self.process = subprocess.Popen([programs + "/zinserver", "--folder", folder, "--port", "0"],
                                        stdout=subprocess.PIPE, stderr=self.log, text=True)
        self.address = self.process.stdout.readline().split()[-1]

    def write(self, name, value):
        with open(self.folder + "/.new", "w") as file:
            json.dump(value, file)
        os.rename(self.folder + "/.new", self.folder + "/" + name)

    def window(self):
        return ["s%d" % n for n in range(max(1, self.newest - WINDOW + 1), self.newest + 1)]

    def publish(self):
        """A new message, and campaigns that changed."""
        self.newest += 1
        now = time.time()
        self.write("inbox.json", {"messagesInfo": [{"data": payload(each), "c_cr_t": now, "isRead": False}
                                                   for each in self.window()]})
        self.write("triggers.json", {"min_delay_across_campaigns": 0, "dnd_start_time": 0, "dnd_end_time": 0,
                                     "user_not_found": False, "campaigns": [
            {"campaign_id": "t%d" % n, "type": "general", "status": "active", "trigger_event_name": "opened",
             "priority": n, "show_delay": n % 2 * 500, "expiry": 4102358400000, "max_times": -9090909,
             "min_delay_between_notifications": n * 1000, "max_sync_delay": 604800000, "last_updated": int(now * 1000),
             "should_support_offline": n % 2 == 0, "should_ignore_dnd": True, "payload": payload("t%d" % n)}
            for n in range(4)]})

    def ask(self, method, path, body=None):
        request = urllib.request.Request(self.address + path, method=method,
                                         data=None if body is None else json.dumps(body).encode())
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(request, timeout=PATIENCE) as answer:
            return json.load(answer)

    def misbehave(self):
        self.ask("POST", "/faults", dict(random.choice(FAULTS), service=random.choice([1, 1, 7, 7, 9, 10]), times=2))

    def collect(self):
        """What was received since the last time. Taken is what was answered as it should be, and in time."""
        with self.lock:
            entries = self.ask("DELETE", "/received")
            self.overflows += len(entries) >= 1000
            for entry in entries:
                fault = entry.get("fault")
                self.faults += fault is not None
                if fault and (fault.get("status") or fault["garbage"] or fault["truncate"] or fault["close"] or
                              fault["delaySeconds"] >= TIMEOUT):
                    continue
                if entry["service"] == 1:
                    self.take(entry["body"]["events"])

    def take(self, events):
        for event in events:
            number = event.get("attributes", {}).get("n")
            if number:
                self.taken.setdefault(number, set()).add(event["id"])


class Home:
    """An application's home: who works on it, and what they said to be stored there."""

    def __init__(self, name, programs, folder, server):
        self.name, self.programs, self.server = name, programs, server
        self.path = folder + "/" + name
        self.starts = self.written = self.jumps = 0
        self.extensions = []  # (process, names of its payloads)
        self.kept, self.removing, self.removed, self.tracked, self.shown = {}, set(), set(), set(), {}
        self.appended = []  # (whether an extension lived to store all of them, names of its payloads)
        self.problems = set()
        self.heard = time.time()

    def spawn(self, name):
        self.log = open(self.path + ".log", "a")
        return subprocess.Popen([self.programs + "/soak_host", self.path, self.server.address, name],
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.log, text=True)

    def start(self):
        self.starts += 1
        self.process = self.spawn("%s%d" % (self.name, self.starts))
        self.heard = time.time()
        self.reader = threading.Thread(target=self.listen, args=(self.process,))
        self.reader.start()

    def listen(self, process):
        for line in process.stdout:
            if line.endswith("\n"):  # a kill may cut the last one
                self.note(*line.split())
        process.stdout.close()

    def note(self, what, subject="", detail="", *more):
        self.heard = time.time()
        if more:
            self.problems.add("%s: doubled: %s" % (self.name, subject))
        elif what == "kept":
            self.kept[subject] = detail if self.kept.get(subject) != "clicked" else "clicked"
        elif what in ("removing", "removed"):
            getattr(self, what).add(subject)
        elif what == "tracked":
            self.tracked.add(subject)
        elif what == "shown":
            self.shown[subject] = int(detail)
        elif what == "jumped":
            self.jumps += 1
        else:
            self.problems.add("%s %s %s" % (self.name, what, subject))

    def end(self, kill):
        """Ends the application, and waits for what it said last."""
        if kill:
            self.process.kill()
        self.process.stdin.close()
        status = self.process.wait(PATIENCE)
        self.reader.join()
        self.log.close()
        if not kill and status != 0:
            self.problems.add("%s ended with status %d" % (self.name, status))

    def watch(self):
        if self.process.poll() is not None:
            sys.exit("%s%d ended by itself with %s" % (self.name, self.starts, self.process.returncode))
        if time.time() - self.heard > PATIENCE:
            sys.exit("%s%d hangs" % (self.name, self.starts))

    def append(self):
        """An extension takes in some pushes."""
        names = ["x%s%d" % (self.name, self.written + n) for n in range(random.randint(2, 12))]
        self.written += len(names)
        process = subprocess.Popen([self.programs + "/zinextension", "--home", self.path, "--group", "group.soak",
                                    "--app", "app-1"], stdin=subprocess.PIPE, stderr=self.log, text=True)
        process.stdin.write("".join(json.dumps(payload(name)) + "\n" for name in names))
        process.stdin.close()
        self.extensions.append((process, names))

    def reap(self, last=False):
        """Of the extensions; `last` waits for all."""
        for process, names in list(self.extensions):
            if last:
                process.wait(PATIENCE)
            if process.poll() is None:
                continue
            self.extensions.remove((process, names))
            if process.returncode not in (0, -signal.SIGKILL):
                self.problems.add("%s: an extension ended with %d" % (self.name, process.returncode))
            self.appended.append((process.returncode == 0, names))

    def refused(self):
        """Numbers of events that the server did not want, which are kept beside the queue."""
        try:
            with open(self.path + "/Library/ZNAnalytics/Events.jsonl.refused") as file:
                return {json.loads(line).get("attributes", {}).get("n") for line in file}
        except FileNotFoundError:
            return set()

    def look(self):
        """A clean start, while nobody else works on this home: what is lost, and what is there twice?"""
        self.reap(last=True)
        process = self.process = self.spawn("check")
        lines = [line.split() for line in process.communicate(timeout=2 * PATIENCE)[0].splitlines()]
        self.log.close()
        self.server.collect()
        complain = lambda text: self.problems.add("%s: %s" % (self.name, text))
        if process.returncode != 0 or ["flushed", "1"] not in lines:
            complain("a clean start ended with %d: %s" % (process.returncode, lines[-3:]))
        there = {line[1]: line[-1] for line in lines if line[0] == "inbox"}
        for line in lines:
            if line[0] == "inbox" and len(line) > 3:
                complain("doubled: " + line[1])
        for name, state in self.kept.items():
            if name not in there and name not in self.removing:
                complain("lost: " + name)
            elif name in there and state == "clicked" and there[name] != "clicked":
                complain("lost: the click on " + name)
        self.removing -= there.keys() - self.removed  # a kill came before the removal
        for name in self.removed & there.keys():
            complain("back again: " + name)
        seen = there.keys() | self.kept.keys() | self.removing
        for whole, names in self.appended:
            stored = names if whole else names[:1 + max((n for n, name in enumerate(names) if name in seen), default=-1)]
            for name in stored:
                if name not in seen:
                    complain("lost: what an extension kept, " + name)
        for name in self.server.window():
            if name not in seen:
                complain("lost: the server's " + name)
        showings = {line[1]: int(line[2]) for line in lines if line[0] == "shown"}
        for name, count in self.shown.items():
            if showings.get(name, 0) < count:
                complain("lost: %d showings of %s" % (count - showings.get(name, 0), name))
        for number in self.tracked - self.server.taken.keys() - self.refused():
            complain("lost: event " + number)


class Level:
    """Memory and descriptors of a process that shall not grow."""

    def __init__(self, name, process):
        self.name, self.process, self.samples = name, process, []

    def sample(self):
        with open("/proc/%d/status" % self.process.pid) as file:
            memory = int(re.search(r"VmRSS:\s+(\d+)", file.read()).group(1))
        self.samples.append((memory, len(os.listdir("/proc/%d/fd" % self.process.pid))))

    def report(self):
        """The report's line, and whether it stayed level. A fifth of the run is for warming up, two minutes at most."""
        warm = min(len(self.samples) // 5, 120)
        some = max(len(self.samples) // 10, 1)
        at = lambda part: [statistics.median(values) for values in zip(*part)]
        start, end = at(self.samples[warm:warm + some]), at(self.samples[-some:])
        level = end[0] - start[0] <= GROWTH_KILOBYTES and end[1] - start[1] <= GROWTH_DESCRIPTORS
        return "%-12s %6d kB -> %6d kB, %3d -> %3d descriptors%s" % (
            self.name, start[0], end[0], start[1], end[1], "" if level else "  GROWS"), level


class Soak:
    def __init__(self, programs, seconds, folder):
        self.seconds = seconds
        self.server = Server(programs, folder + "/server")
        self.homes = [Home(name, programs, folder, self.server) for name in "AB"]
        self.lasting, self.killed = self.homes
        self.kills = self.looks = 0

    def run(self):
        for home in self.homes:
            home.start()
        levels = [Level("application", self.lasting.process), Level("zinserver", self.server.process)]
        begin = time.time()
        due = {"second": begin + 1, "kill": begin + 2, "look": begin + self.seconds / 10}
        while (now := time.time()) < begin + self.seconds:
            self.disturb()
            if now > due["second"]:
                due["second"] += 1
                self.server.publish()
                self.server.collect()
                for home in self.homes:
                    home.watch()
                for level in levels:
                    level.sample()
            if now > due["look"]:
                due["look"] += self.seconds / 10
                self.killed.end(True)
                self.look(self.killed)
                self.killed.start()
            if now > due["kill"]:
                due["kill"] = now + random.uniform(0.2, 4)
                self.killed.end(True)
                self.kills += 1
                self.killed.start()
            time.sleep(random.uniform(0, 0.1))
        self.lasting.end(False)
        self.killed.end(True)
        for home in self.homes:
            self.look(home)
        return self.report(time.time() - begin, levels)

    def disturb(self):
        if random.random() < 0.15:
            self.server.misbehave()
        for home in self.homes:
            if random.random() < 0.1 and len(home.extensions) < 4:
                home.append()
            for process, _ in home.extensions:
                if random.random() < 0.2:
                    process.kill()
            home.reap()

    def look(self, home):
        self.looks += 1
        self.server.ask("DELETE", "/faults")
        home.look()

    def report(self, seconds, levels):
        problems = set().union(*(home.problems for home in self.homes))
        problems |= {"doubled: event " + number for number, ids in self.server.taken.items() if len(ids) > 1}
        if self.server.overflows:
            problems.add("the server's list of requests was too short %d times" % self.server.overflows)
        total = lambda count: sum(count(home) for home in self.homes)
        print("%d s, %d clean starts, %d kills, %d requests with a fault; messages: %d acknowledged, %d removed, %d from "
              "extensions; %d events; clock set %d times" % (
                  seconds, self.looks, self.kills, self.server.faults, total(lambda home: len(home.kept)),
                  total(lambda home: len(home.removed)), total(lambda home: home.written),
                  total(lambda home: len(home.tracked)), total(lambda home: home.jumps)))
        lines = [level.report() for level in levels]
        for text in [line for line, _ in lines] + ["%d problems" % len(problems)] + sorted(problems)[:30]:
            print(text)
        return not problems and all(level for _, level in lines)

    def stop(self):
        processes = [self.server.process] + [home.process for home in self.homes if hasattr(home, "process")]
        for process in processes + [process for home in self.homes for process, _ in home.extensions]:
            if process.poll() is None:
                process.kill()
            process.wait()


def main(programs, seconds):
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # many saves need not wait for a disk
    folder = tempfile.mkdtemp(prefix="zinsoak-", dir=memory)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    soak = Soak(programs, seconds, folder)
    good = False
    try:
        good = soak.run()
    finally:
        soak.stop()
        if good:
            shutil.rmtree(folder)
        else:
            print("what is left of it: " + folder)
    return 0 if good else 1


if __name__ == "__main__":
    if len(sys.argv) != 3 or not sys.argv[2].isdigit() or int(sys.argv[2]) < 10:
        sys.exit("usage: soak.py FOLDER-OF-PROGRAMS SECONDS (10 at least)")
    sys.exit(main(sys.argv[1], int(sys.argv[2])))
