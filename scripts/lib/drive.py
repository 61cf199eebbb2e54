"""Random runs of vncam, see scripts/drive-vncam. Each run is a function of the seed and its number alone."""
import collections
import concurrent.futures
import ctypes
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

COMMANDS = ("live", "pcm", "play", "record", "event", "snap", "recover", "info", "demux", "aac", "volume", "mute", "zone",
            "stamp", "flip", "flicker", "detect", "qr", "sources", "help", "watch")
# A player would open a window.
UNDRIVEN_OPTIONS = {"player"}
LIMIT = 90  # seconds for a run to end by itself or after its signal, on a machine with much else to do
LONGEST = 1.5  # seconds until a run is told to end
STOPS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
# By design the settings of zones, stamps and results outlive the process that made them.
LASTING_SEGMENTS = re.compile(r"vornisa_shm_(rects|stamp\w*|image|code|human|flip|flick\w*)$")

FILES = ("in.mp4", "in.ts", "in.wav", "in.aac", "cut.mp4", "cut.mp4.part", "empty", "noise", "folder", "missing", "missing/x",
         "a,b.mp4", "a{b.mp4", "/dev/null", "/dev/full", "-", "", "in.jpg")
OUTPUTS = ("out.h264", "out.aac", "out.wav", "out.mp4", "out.ts", "out.jpg", "out.png", "out", "-", "/dev/full", "/dev/null",
           "folder", "missing/x", "in.mp4", "", "a b.jpg", "full/out.mp4", "full/out.jpg", "full/out.wav", "locked/out.jpg")
NUMBERS = ("1", "2", "15", "30", "25", "500k", "100", "0", "-1", "2M", "1.5", "abc", "", "99999999999999999999", "0x10", "1e3")
# Candidates for each kind of value; the first half is mostly valid.
POOLS = {
    "WxH": ("640x360", "1280x720", "320x180", "16x16", "641x361", "0x0", "-1x2", "99999x99999", "x", "640", "640x360x2"),
    "WxH@S": ("320x180@0.3", "640x360@0.5", "320x180@0", "x@1", "640x360", "320x180@-1"),
    "WxH:N": ("320x180:200k", "640x360:500000", "640x360", "0x0:0", "1280x720:1M", ":"),
    "N": NUMBERS,
    "S": ("0.2", "1", "0.5", "2", "0.7", "0", "-1", "abc", "nan", "inf", "1e99", "", "0.0001"),
    "HZ": ("8000", "44100", "48000", "96000", "22050", "0", "7", "-48000", "abc"),
    "BYTES": ("1k", "2M", "1G", "500k", "0", "-1", "abc", "99999999999G", ""),
    "DAYS": ("0", "1", "7", "-1", "abc", "0.5"),
    "FILE": OUTPUTS,
    "DIR": (".", "folder", "missing", "in.mp4", "full", "locked", "", "a,b"),
    "NAME": ("a.mp4", "a.ts", "r_%H%M%S.mp4", "b.mp4", "c%d.ts", "a,b.mp4", "a{b}.mp4", "a.avi", "a", "", "%", "x/y.mp4", "%n.mp4",
             "n" * 300 + ".mp4"),
    "URL": ("clip.mp4", "file://clip.mp4", "d.mp4", "clip.avi", "http://x/y.mp4", "", "missing/c.mp4", "full/c.mp4", "a,b.mp4"),
    "COLOR": ("red", "ff0000", "80ffffff", "none", "abc", "", "#123456", "purple"),
    "X,Y": ("0,0", "32,32", "-5,-5", "1919,1079", "99999,99999", "a,b", "1"),
    "TEXT": ("hello", "%Y-%m-%d %H:%M:%S.%3N", "%", "%Q%n%n", "\u00e4\u4e2d", "{,=}", "x" * 10000, ""),
    "PATTERN": ("*",),
}
OPERANDS = {
    "play": FILES, "recover": FILES + (".",), "info": FILES, "demux": FILES,
    "aac": ("encode", "decode", "in.wav", "in.aac", "out.aac", "out.wav", "-", "noise", "empty"),
    "volume": ("mic", "speaker", "0", "50", "100", "101", "-1", "x", "pcm", "--seconds", "0.2", "--quiet"),
    "mute": ("mic", "speaker", "pcm", "--seconds", "0.2", "--quiet", "--off"),
    "zone": ("set", "grid", "on", "off", "list", "all", "0", "3", "16", "-1", "10,10,100x100", "--", "-5,-5,50x50",
             "0,0-3,3", "0,0-99,99", "x"),
    "stamp": POOLS["TEXT"], "flip": ("none", "horizontal", "vertical", "both", "up"), "flicker": ("on", "off", "maybe"),
    "help": COMMANDS,
}
VIDEO = ("test", "test", "test", "file:in.mp4", "file:missing.mp4", "file:noise", "v4l2:/dev/null", "test:lost", "x", "")
AUDIO = ("test", "test", "test", "test:lost", "test:stalled", "test:unsteady", "file:in.wav", "file:noise", "none", "x", "")
LOGS = (None, None, None, "none", "all", "8,12", "abc")
SIZES = ("640x360", "320x180")


def drawn_from(chance, pool):
    return chance.choice(pool[: (len(pool) + 1) // 2] if chance.random() < 0.8 else pool)


class Options:
    """The options of each command as its help lists them: short name, name, and kind of value."""

    def __init__(self, vncam):
        self._of = {}
        for command in COMMANDS:
            text = subprocess.run([vncam, command, "--help"], capture_output=True, text=True, timeout=LIMIT, check=False).stdout
            found = re.findall(r"^  (?:-(\w), )?--([\w-]+)(?: ([A-Z]\S*|WxH\S*))?  ", text, re.M)
            self._of[command] = [(short, name, takes) for short, name, takes in found if name not in UNDRIVEN_OPTIONS]

    def known(self, command):
        return command == "help" or bool(self._of[command])

    def draw(self, chance, command):
        if not self._of[command]:
            return []
        drawn = []
        for short, name, takes in chance.sample(self._of[command], min(len(self._of[command]), chance.choice((0, 1, 2, 2, 3, 5)))):
            drawn.append("-" + short if short and chance.random() < 0.5 else "--" + name)
            if takes and chance.random() < 0.97:
                pool = POOLS.get(takes) or NUMBERS
                drawn.append(drawn_from(chance, pool))
        names = {name for _, name, _ in self._of[command]}
        # Mostly small and short, so that runs produce output.
        if "size" in names and command not in ("stamp",) and "--size" not in drawn and chance.random() < 0.8:
            drawn += ["--size", chance.choice(SIZES)]
        if "seconds" in names and "--seconds" not in drawn and chance.random() < 0.6:
            drawn += ["--seconds", chance.choice(("0.3", "0.7", "1"))]
        if command == "live" and chance.random() < 0.7:
            drawn += [chance.choice(("--video", "--audio", "--output")), drawn_from(chance, OUTPUTS)]
        return drawn


class Plan:
    """The command line, environment and end of one run."""

    def __init__(self, chance, options):
        self.command = chance.choice([name for name in COMMANDS if options.known(name)])
        self.arguments = [self.command] + options.draw(chance, self.command)
        operands = OPERANDS.get(self.command, FILES)
        wanted = chance.choice((0, 1, 1, 2, 3)) if self.command in OPERANDS else chance.choice((0, 0, 0, 0, 0, 1))
        self.arguments += [drawn_from(chance, operands) for _ in range(wanted)]
        if chance.random() < 0.02:
            self.arguments += ["--" + "".join(chance.choices("abcxyz-=", k=5))]
        self.environment = {"KEP_HOST_VIDEO": chance.choice(VIDEO), "KEP_HOST_AUDIO": chance.choice(AUDIO)}
        log = chance.choice(LOGS)
        if log:
            self.environment["KEP_HOST_LOG"] = log
        self.stdin = chance.choice(("null", "null", "null", "closed", "noise", "wav"))
        self.stdout = chance.choice(("file", "file", "file", "pipe", "closed pipe", "full", "closed"))
        self.end_after = chance.uniform(0.02, LONGEST)
        self.end_by = chance.choice(STOPS + STOPS + (signal.SIGKILL, "twice", "stopped for a while"))

    def text(self):
        return json.dumps({"arguments": [word[:80] for word in self.arguments], "environment": self.environment,
                           "stdin": self.stdin, "stdout": self.stdout, "end_after": round(self.end_after, 2),
                           "end_by": str(self.end_by)})


def make_inputs(vncam, folder):
    """Files for the runs to read."""
    environment = dict(os.environ, KEP_HOST_VIDEO="test", KEP_HOST_AUDIO="test")

    def run(*arguments):
        subprocess.run([vncam, *arguments], cwd=folder, env=environment, check=True, timeout=LIMIT, capture_output=True)

    run("record", "--size", "640x360", "--seconds", "2", "--segment", "5", "--name", "in.mp4")
    run("record", "--size", "640x360", "--seconds", "1", "--segment", "5", "--name", "in.ts")
    run("pcm", "-o", "in.wav", "--seconds", "1")
    run("aac", "encode", "in.wav", "in.aac")
    run("snap", "-o", "in.jpg", "--size", "640x360")
    with open(os.path.join(folder, "in.mp4"), "rb") as file:
        whole = file.read()
    for name in ("cut.mp4", "cut.mp4.part"):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(whole[: len(whole) * 2 // 3])
    for name, content in (("empty", b""), ("noise", random.Random(1).randbytes(50000))):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)


class FullDisk:
    """A disk of 200 KiB, if this user may mount one."""

    def __init__(self, folder):
        self._folder = folder
        os.makedirs(folder)
        self._mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=200k", "tmpfs", folder], capture_output=True,
                                       check=False).returncode == 0

    def clear(self):
        for name in os.listdir(self._folder):
            path = os.path.join(self._folder, name)
            shutil.rmtree(path, True) if os.path.isdir(path) else os.unlink(path)

    def close(self):
        if self._mounted:
            subprocess.run(["umount", "-l", self._folder], check=False)


class Worker:
    """Executes runs one after the other in its own folder."""

    def __init__(self, vncam, options, inputs, folder, number):
        self._vncam, self._options, self._inputs = vncam, options, inputs
        self._folder = os.path.join(folder, f"worker{number}")
        self._segments = f"drive{os.getpid()}_{number}_"
        self._full = FullDisk(os.path.join(folder, f"full{number}"))
        self._locked = os.path.join(folder, "locked")
        os.makedirs(self._locked, exist_ok=True)
        os.chmod(self._locked, 0o555)

    def close(self):
        self._full.close()
        for name in self._own_segments():
            os.unlink("/dev/shm/" + name)

    def _own_segments(self):
        return [name for name in os.listdir("/dev/shm") if name.startswith(self._segments)]

    def _make_folder(self):
        shutil.rmtree(self._folder, True)
        shutil.copytree(self._inputs, self._folder)
        os.makedirs(os.path.join(self._folder, "folder"))
        os.symlink(self._full._folder, os.path.join(self._folder, "full"))
        os.symlink(self._locked, os.path.join(self._folder, "locked"))
        self._full.clear()

    def run(self, number, seed, show=False):
        """(command, outcome, findings)"""
        chance = random.Random(f"{seed}/{number}")
        plan = Plan(chance, self._options)
        self._make_folder()
        mark = f"DRIVE_RUN={os.getpid()}_{number}"
        environment = dict(os.environ, **plan.environment, KEP_HOST_SHM=self._segments, **dict([mark.split("=")]))
        errors_path = os.path.join(self._folder, ".errors")
        with open(errors_path, "wb") as errors:
            process, pipe = self._start(plan, environment, errors)
            outcome, findings = self._finish(process, pipe, plan)
        with open(errors_path, encoding="utf-8", errors="replace") as file:
            printed = file.read()
        os.unlink(errors_path)
        findings += self._look(plan, outcome, printed, mark)
        if show:
            print(plan.text(), outcome, printed, sep="\n")
        return plan.command, outcome, [f"run {number}: {finding}\n  {plan.text()}\n  {printed[-600:]}" for finding in findings]

    def _start(self, plan, environment, errors):
        stdin = {"noise": "noise", "wav": "in.wav"}.get(plan.stdin)
        source = open(os.path.join(self._folder, stdin), "rb") if stdin else subprocess.DEVNULL
        pipe = None
        if plan.stdout in ("pipe", "closed pipe"):
            pipe, target = os.pipe()
        else:
            target = os.open({"full": "/dev/full"}.get(plan.stdout, os.path.join(self._folder, "stdout")),
                             os.O_WRONLY | os.O_CREAT)
        closed = [number for number, what in ((0, plan.stdin), (1, plan.stdout)) if what == "closed"]

        def prepare():
            # A child inherits ignored signals.
            for number in (signal.SIGPIPE, signal.SIGXFSZ, *STOPS):
                signal.signal(number, signal.SIG_DFL)
            for number in closed:
                os.close(number)

        process = subprocess.Popen([self._vncam, *plan.arguments], cwd=self._folder, env=environment, stdin=source,
                                   stdout=target, stderr=errors, start_new_session=True, preexec_fn=prepare)
        os.close(target)
        if stdin:
            source.close()
        if plan.stdout == "closed pipe":
            os.close(pipe)
            pipe = None
        return process, pipe

    def _finish(self, process, pipe, plan):
        if pipe is not None:
            threading.Thread(target=drain, args=(pipe,), daemon=True).start()
        allowed = {0, 1, 2}
        try:
            process.wait(plan.end_after)
        except subprocess.TimeoutExpired:
            allowed |= self._tell_to_end(process, plan)
        try:
            process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGABRT)
            process.wait()
            return "hang", [f"did not end within {LIMIT} s"]
        code = process.returncode
        outcome = str(code) if code >= 0 else signal.Signals(-code).name
        return outcome, [] if code in allowed else [f"ended with {outcome}"]

    @staticmethod
    def _tell_to_end(process, plan):
        """Sends the plan's signal. Returns the exit codes that it allows."""
        with open(f"/proc/{process.pid}/status", encoding="ascii") as file:
            caught = int(re.search(r"^SigCgt:\s*(\w+)", file.read(), re.M)[1], 16)
        by = plan.end_by
        if by == "stopped for a while":
            process.send_signal(signal.SIGSTOP)
            time.sleep(0.3)
            process.send_signal(signal.SIGCONT)
            by = signal.SIGTERM
        if by == "twice":
            process.send_signal(signal.SIGINT)
            time.sleep(0.05)
            process.send_signal(signal.SIGINT)
            return {-signal.SIGINT}
        process.send_signal(by)
        # Before vncam has installed its handler, the signal kills it.
        return set() if caught >> (by - 1) & 1 else {-by}

    def _look(self, plan, outcome, printed, mark):
        findings = []
        if "Sanitizer" in printed or "runtime error:" in printed:
            findings.append("a sanitizer's finding")
        if left := [pid for pid in living(mark)]:
            findings.append(f"left processes {left}")
            for pid in left:
                os.kill(pid, signal.SIGKILL)
        for name in self._own_segments():
            if not LASTING_SEGMENTS.search(name):
                findings.append(f"left the segment {name}")
                os.unlink("/dev/shm/" + name)
        killed = outcome.startswith("SIG")
        for folder in (self._folder, os.path.join(self._folder, "folder"), os.path.join(self._folder, "full")):
            hidden = [name for name in os.listdir(folder) if name.startswith(".") and name != ".errors"]
            if hidden and not killed:
                findings.append(f"left {hidden} in {os.path.basename(folder)}")
        recorded = plan.command == "record" and "--help" not in plan.arguments
        if recorded and outcome == "0" and plan.stdout == "file":
            findings += self._look_at_recordings()
        return findings

    def _look_at_recordings(self):
        """Findings for files that a recording named and that cannot be read."""
        with open(os.path.join(self._folder, "stdout"), encoding="utf-8", errors="replace") as file:
            names = file.read().splitlines()
        bad = []
        for name in names:
            if name.endswith(".mp4"):
                info = subprocess.run([self._vncam, "info", "--json", name], cwd=self._folder, capture_output=True, text=True,
                                      timeout=LIMIT, check=False)
                if info.returncode != 0 or not json.loads(info.stdout)[0].get("tracks"):
                    bad.append(f"{name} cannot be read: {info.stdout} {info.stderr}")
        return bad


def drain(pipe):
    while os.read(pipe, 1 << 16):
        pass
    os.close(pipe)


def living(mark):
    """Processes of a run that still exist after five seconds."""
    for _ in range(50):
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/environ", "rb") as file:
                    if mark.encode() in file.read().split(b"\0"):
                        found.append(int(pid))
            except OSError:
                continue
        if not found:
            break
        time.sleep(0.1)
    return found


def main(vncam, runs=10000, seed=1, only=None):
    vncam, runs = os.path.abspath(vncam), int(runs)
    # PR_SET_CHILD_SUBREAPER: orphans of a run become children of this process.
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)
    options = Options(vncam)
    folder = tempfile.mkdtemp(prefix="drive-")
    inputs = os.path.join(folder, "inputs")
    os.makedirs(inputs)
    make_inputs(vncam, inputs)
    if only:
        worker = Worker(vncam, options, inputs, folder, 0)
        _, _, findings = worker.run(runs, seed, show=True)
        worker.close()
        shutil.rmtree(folder, True)
        print(*findings, sep="\n")
        return 1 if findings else 0
    jobs = os.cpu_count() or 1
    workers = [Worker(vncam, options, inputs, folder, number) for number in range(jobs)]
    outcomes, found = collections.Counter(), []
    begin = time.monotonic()

    def share(number):
        for run in range(number, runs, jobs):
            yield_result(*workers[number].run(run, seed))

    lock = threading.Lock()

    def yield_result(command, outcome, findings):
        with lock:
            outcomes[command, outcome] += 1
            for finding in findings:
                found.append(finding)
                print(finding, flush=True)

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for done in [pool.submit(share, number) for number in range(jobs)]:
            done.result()
    for worker in workers:
        worker.close()
    shutil.rmtree(folder, True)
    kinds = sorted({outcome for _, outcome in outcomes})
    print(f"{'command':10}" + "".join(f"{kind:>9}" for kind in kinds))
    for command in COMMANDS:
        if any(outcomes[command, kind] for kind in kinds):
            print(f"{command:10}" + "".join(f"{outcomes[command, kind]:9}" for kind in kinds))
    print(f"{sum(outcomes.values())} runs from seed {seed} in {time.monotonic() - begin:.0f} s, {len(found)} findings")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
