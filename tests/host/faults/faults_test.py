#!/usr/bin/env python3
"""The program while memory, disk, files and time are taken from it: what stood before stands whole, or all that is new
does, no temporary file stays, and one line says why. Parts: allocations and calls, which take the preload; disk, files,
signals, runs."""
import argparse
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

TEMPORARY = re.compile(r"(.*/)?\..+\.[a-z0-9]{6}\.part")
PROGRESS = re.compile(r"\d+ of \d+: ")
OF_UNITS = {"unit.json", "summary.csv", "units.txt"}  # tell of units that could not be calibrated

parser = argparse.ArgumentParser(description=__doc__)
parser.add_argument("part")
parser.add_argument("program", type=os.path.abspath)
parser.add_argument("folder", type=os.path.abspath)
parser.add_argument("--preload", type=os.path.abspath)
parser.add_argument("--first", type=int, default=3, help="allocations that fail one by one from the beginning")
parser.add_argument("--allocations", type=int, default=5, help="that fail anywhere, of each command in each way")
parser.add_argument("--calls", type=int, default=2, help="that fail, of each kind and command in each way")
parser.add_argument("--moments", type=int, default=3, help="of each signal, for each command")
parser.add_argument("--rounds", type=int, default=1, help="of runs side by side, and of files that vanish")
parser.add_argument("--page-step", type=int, default=4, help="pages by which the full disks differ")
parser.add_argument("--seed", type=int, default=1)
options = parser.parse_args()
chance = random.Random(options.seed)
failures = []


def fail(text, run=None):
    failures.append(text)
    print(text, *(run.stderr.splitlines()[-3:] if run else []), sep="\n    ", flush=True)


def snapshot(folder):
    found = {}
    for parent, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(parent, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, folder)] = file.read()
    return found


def said(run):
    return [line for line in run.stderr.splitlines() if not PROGRESS.match(line)]


def living(group):
    """Processes of the group that have not ended."""
    found = []
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{name}/stat") as file:
                state, _, of_group = file.read().rpartition(")")[2].split()[:3]
        except (FileNotFoundError, ProcessLookupError):
            continue
        if int(of_group) == group and state not in "ZX":
            found.append(name)
    return found


class Command:
    """A calibration into a folder that holds what an earlier run on other captures left."""

    def __init__(self, name, arguments, earlier):
        self.name, self.arguments, self.runs = name, arguments, 0
        self.out = f"{options.folder}/{name}"
        self.whole = f"{self.out} before"
        for folder in (self.out, self.whole):
            shutil.rmtree(folder, ignore_errors=True)
        self.run(arguments=earlier)
        shutil.copytree(self.out, self.whole)
        self.before = snapshot(self.out)
        began = time.monotonic()
        run = self.run()
        self.seconds = time.monotonic() - began
        self.after = snapshot(self.out)
        self.runs = 0
        if run.returncode != 0 or self.before == self.after or self.before.keys() != self.after.keys():
            sys.exit(f"{name}: status {run.returncode}: {run.stderr}")

    def restore(self):
        """In place: the folder may be a disk of its own."""
        for name in os.listdir(self.out) if os.path.isdir(self.out) else []:
            path = f"{self.out}/{name}"
            shutil.rmtree(path) if os.path.isdir(path) else os.remove(path)
        shutil.copytree(self.whole, self.out, dirs_exist_ok=True)

    def start(self, arguments=None, wrapper=(), fault=None, **more):
        faults = {"LD_PRELOAD": options.preload, **fault} if fault else {}
        self.runs += 1
        return subprocess.Popen([*wrapper, options.program, *(arguments or self.arguments), "--out", self.out],
                                cwd=options.folder, env={**os.environ, **faults}, text=True, start_new_session=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)

    def run(self, **more):
        return self.end(self.start(**more))

    def end(self, process):
        out, err = process.communicate(timeout=120)
        return subprocess.CompletedProcess(process.args, process.returncode, out, err)

    def wrong_files(self, run, singly, may_stay):
        """`singly`: each file by itself, not those of a folder together."""
        left = {name: content for name, content in snapshot(self.out).items()
                if not (may_stay and TEMPORARY.fullmatch(name))}
        wrong = []
        for folder in {os.path.dirname(name) for name in {*left, *self.before}}:
            def of(files):
                return {name: content for name, content in files.items() if os.path.dirname(name) == folder and not (
                    run.returncode != 0 and os.path.basename(name) in OF_UNITS)}
            now, old, new = of(left), of(self.before), of(self.after)
            odd = sorted(name for name in {*now, *old} if now.get(name) not in (old.get(name), new.get(name)))
            wrong += odd or ([] if singly or now in (old, new) else [f"{folder} is neither old nor new"])
        for name, content in left.items():
            if name.endswith(".json"):
                json.loads(content)
        return ", ".join(wrong)

    def judge(self, what, run, status=1, singly=False, may_stay=False):
        """Status 0, nothing said and all that is new; or `status`, and of what is old or new no mixture."""
        wrong = self.wrong_files(run, singly, may_stay)
        if run.returncode == 0:
            wrong = wrong or ("status 0" if said(run) or snapshot(self.out) != self.after else "")
        elif run.returncode != status:
            wrong = f"status {run.returncode}, expected {status}; {wrong}"
        elif status in (1, 2):
            units = "\n".join(line for line in run.stdout.splitlines() if "not calibrated: " in line)
            if len(said(run)) not in ((0, 1) if units else (1,)) or not all(line.startswith("cali: ") for line in said(run)):
                wrong = f"no single line on standard error; {wrong}"
        if wrong:
            fail(f"{self.name}, {what}: {wrong}", run)


def simulate(name, seed, form="raw"):
    shutil.rmtree(f"{options.folder}/{name}", ignore_errors=True)
    subprocess.run([options.program, "simulate", name, "--size", "192x128", "--format", form, "--dark-frames", "2",
                    "--series-levels", "5", "--series-frames", "2", "--read-noise", "1", "--conversion-gain", "0.05",
                    "--illuminants", "3000", "5000", "--seed", seed], cwd=options.folder, check=True,
                   stdout=subprocess.DEVNULL)


def commands():
    os.makedirs(options.folder, exist_ok=True)
    for seed in ("1", "2"):
        simulate(f"session{seed}", seed)
    more = ["--only", "blc,lsc,awb,ccm,noise", "--pictures", "--registers"]
    one, other = (["calibrate", f"session{i}/session.toml", *more] for i in (1, 2))
    yield Command("one", one, other)
    yield Command("jobs", [*one, "--jobs", "2"], other)
    yield Command("units", ["calibrate", "session1", "session2", "--only", "blc,noise", "--jobs", "2"],
                  ["calibrate", "session1", "session2", "--only", "blc"])


def counts_of(command):
    command.restore()
    command.run(fault={"FAULT_COUNTS": f"{options.folder}/counts"})
    with open(f"{options.folder}/counts") as file:
        return {name: int(count) for name, count in map(str.split, file)}


def allocations(command):
    every = counts_of(command)["allocation"]
    ended = 0
    for n in [*range(1, options.first + 1), *(chance.randint(1, every) for _ in range(options.allocations))]:
        for after in ("", "-"):
            command.restore()
            run = command.run(fault={"FAULT_ALLOCATION": f"{n}{after}"})
            ended += run.returncode == 1
            command.judge(f"allocation {n}{after}", run)
    if ended < options.allocations:
        fail(f"{command.name}: of {every} allocations only {ended} ended a run: does the preload work?")


def calls(command):
    if command.name == "one":
        decoders(command)
    for kind, count in counts_of(command).items():
        if kind == "allocation":
            continue
        for n in range(1, count + 1) if count <= options.calls else chance.sample(range(1, count + 1), options.calls):
            for after in ("", "-"):
                command.restore()
                run = command.run(fault={"FAULT_CALL": f"{kind}:{n}{after}"})
                # Names that have appeared before a folder refuses the next cannot be taken back.
                command.judge(f"{kind} {n}{after}", run, singly=kind == "rename")
                # A job without a process is done in the first one.
                if (run.returncode == 0) != (kind == "fork"):
                    fail(f"{command.name}, {kind} {n}{after}: status {run.returncode}", run)


def decoders(command):
    """Others' decoders work in a process of their own, whose end is one line."""
    simulate("tiff", "1", "tiff")
    for fault, why in (({"FAULT_DECODER": "1"}, "cannot be read: its decoder was ended by signal 11 (Segmentation fault)"),
                       ({"FAULT_CALL": "fork:1-"}, "the system grants no process to decode it in")):
        command.restore()
        run = command.run(arguments=["calibrate", "tiff/session.toml", "--only", "blc"], fault=fault)
        if run.returncode != 2 or said(run) != [f"cali: tiff/dark_1.tif: {why}"]:
            fail(f"{fault}: status {run.returncode}", run)


def disk(command):
    """A disk that ends in the midst of one output after another."""
    def pages(content):
        return (len(content) + 4095) // 4096
    def mount(size):
        return subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size * 4096}", "tmpfs", command.out],
                              stderr=subprocess.DEVNULL).returncode == 0
    if command.name == "one":
        log()
    need, ended = sum(map(pages, command.after.values())), 0
    for free in range(0, need // 2, options.page_step):
        if not mount(need + 64 + free):
            return limits(command)
        try:
            command.restore()
            statistics = os.statvfs(command.out)
            with open(f"{command.out}/.fill", "wb") as fill:
                fill.write(bytes((statistics.f_bfree - free) * 4096))
            run = command.run()
            os.remove(f"{command.out}/.fill")
            ended += "writing failed: No space left" in run.stderr + run.stdout
            command.judge(f"{free} pages free", run)
        finally:
            subprocess.run(["umount", command.out], check=True)
    if ended < need // options.page_step // 4:
        fail(f"{command.name}: the disk was full in {ended} runs alone")


def log():
    """What the library prints last, at the end of its log, has no place."""
    whole = f"{options.folder}/library.log"
    arguments = f"lsc session1/flat_3000K.raw --session session1/session.toml --black-level 64 --results lsc.json --new --log {whole}"
    for cut in (None, 10):
        size = resource.RLIM_INFINITY if cut is None else os.path.getsize(whole) - cut
        run = subprocess.run([options.program, *arguments.split()], cwd=options.folder, capture_output=True, text=True,
                             preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size)))
    if run.returncode != 1 or "library.log: the log cannot be written" not in run.stderr:
        fail("the end of the log has no place: not said", run)


def limits(command):
    """Where nothing can be mounted: files that may not grow."""
    for size in sorted({len(content) // 2 for content in command.after.values()}):
        command.restore()
        run = command.run(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size)))
        command.judge(f"files up to {size} bytes", run)


def files(command):
    """Root without what makes it root is kept from files, too."""
    wrapper = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if os.getuid() == 0 else []
    session = f"{options.folder}/session1"
    for name in ("session.toml", "dark_1.raw", "chart_5000K.raw"):
        command.restore()
        os.chmod(f"{session}/{name}", 0)
        run = command.run(wrapper=wrapper)
        os.chmod(f"{session}/{name}", 0o644)
        command.judge(f"{name} cannot be read", run, 1 if command.name == "units" else 2)
        if run.returncode == 0 or name not in run.stderr + run.stdout:
            fail(f"{command.name}, {name} cannot be read: not said", run)
        os.rename(f"{session}/{name}", f"{options.folder}/away")
        os.mkfifo(f"{session}/{name}")
        run = command.run()
        os.replace(f"{options.folder}/away", f"{session}/{name}")
        command.judge(f"{name} is a pipe", run, 1 if command.name == "units" else 2)
    for name, mode, of_units in (("results.json", 0o444, 1), ("", 0o555, 2)):
        command.restore()
        path = f"{command.out}/{'session1/' if command.name == 'units' else ''}{name}"
        usual = os.stat(path).st_mode
        os.chmod(path, mode)
        run = command.run(wrapper=wrapper)
        os.chmod(path, usual)
        command.judge(f"'{name}' cannot be written", run, of_units if command.name == "units" else 2)
    for _ in range(options.rounds):
        for name in ("dark_2.raw", "chart_3000K.raw", "series_5_2.raw", None):
            command.restore()
            process = command.start()
            time.sleep(chance.uniform(0, command.seconds))
            if name:
                os.rename(f"{session}/{name}", f"{options.folder}/away")
            else:
                shutil.rmtree(command.out, ignore_errors=True)
            run = command.end(process)
            if name:
                os.rename(f"{options.folder}/away", f"{session}/{name}")
            # Steps before the lost capture are kept.
            names = {found for found in snapshot(command.out) if name or TEMPORARY.fullmatch(found)}
            if run.returncode not in (0, 1, 2) or names - {*command.before} or (
                    run.returncode != 0 and command.name != "units" and not said(run)[-1].startswith("cali: ")):
                fail(f"{command.name}, {name or 'the folder'} vanished: status {run.returncode}, {sorted(names)}", run)


def watch(command, ended):
    """No file is ever anything but old or new."""
    while not ended.is_set():
        for name in command.before:
            try:
                with open(f"{command.out}/{name}", "rb") as file:
                    content = file.read()
            except FileNotFoundError:
                fail(f"{command.name}: {name} is gone for a moment")
                continue
            if content not in (command.before[name], command.after[name]) and os.path.basename(name) not in OF_UNITS:
                fail(f"{command.name}: {name} could be read while it was neither old nor new")


def signals(command):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
        for _ in range(options.moments):
            command.restore()
            process = command.start()
            ended = threading.Event()
            watcher = threading.Thread(target=watch, args=(command, ended))
            watcher.start()
            moment = chance.uniform(0, command.seconds)
            time.sleep(moment)
            # A terminal sends SIGINT to the whole group; a process that has ended is not sent anything.
            if process.poll() is None:
                (os.killpg if number == signal.SIGINT else os.kill)(process.pid, number)
            run = command.end(process)
            what = f"{number.name} after {moment:.3f} s of {command.seconds:.3f} s"
            waited = time.monotonic() + (2 if number == signal.SIGKILL else 0)
            while living(process.pid) and time.monotonic() < waited:
                time.sleep(0.01)
            if living(process.pid):
                fail(f"{command.name}, {what}: processes stay")
                os.killpg(process.pid, signal.SIGKILL)
            killed = number == signal.SIGKILL
            before_main = killed or run.returncode == -number and moment < 0.05  # no handler stands yet
            command.judge(what, run, -number if before_main else 128 + number, singly=killed, may_stay=killed)
            if killed:
                command.judge(f"the run after {what}", command.run())
            ended.set()
            watcher.join()


def runs(command):
    """Many into one folder."""
    for count in [2, 8] * options.rounds:
        command.restore()
        processes = [command.start() for _ in range(count)]
        for run in map(command.end, processes):
            if run.returncode != 0:
                fail(f"{command.name}: one of {count} runs ended with {run.returncode}", run)
        command.judge(f"{count} runs", run)


def main():
    did = 0
    for command in commands():
        if command.name != "jobs" or options.part not in ("disk", "runs"):
            globals()[options.part](command)
            did += command.runs
    print(f"{did} runs, {len(failures)} failures")
    return 1 if failures else 0


if options.part not in ("allocations", "calls", "disk", "files", "signals", "runs"):
    parser.error(f"no part {options.part}")
namespace = ["unshare", "-m" if os.getuid() == 0 else "-rm"]  # whose mounts end with it
if options.part == "disk" and "FAULTS_ALONE" not in os.environ and (
        subprocess.run([*namespace, "true"], stderr=subprocess.DEVNULL).returncode == 0):
    os.environ["FAULTS_ALONE"] = "1"
    os.execvp(namespace[0], [*namespace, sys.executable, *sys.argv])
sys.exit(main())
