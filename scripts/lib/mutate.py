"""Changes api/ and the headers of framework/ one place at a time and runs the unit tests on each change.

mutate.py ROOT [--jobs N] [--file PART]... [--sample N] [--again] [--list]

Each worker has a copy of the sources and a build of its own, so that a change costs one object, a link and a run that
ends with the first failed test. Verdicts are kept in build/mutation/results; a change is tried again only if its source
has changed or, with --again, if it survived. Tests that caught earlier changes of a source run first, and small
programs, which are quick to rebuild, run before large ones.
"""
import argparse
import fnmatch
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

from mutations import Source

REQUIRED = 97.0
COPIED = ("api", "framework", "cmake", "tests", "host/text", "host/CMakeLists.txt", "CMakeLists.txt",
          "CMakePresets.json")
FOLDERS = ("api", "framework/kep")
# Built and run until something fails. Small programs that cover a source entirely or nearly so come first: the other
# programs that include it then need not be built.
HEADER_PROGRAMS = ("public_header_c99", "public_header_c11", "public_header_cpp14")
FRAMEWORK_PROGRAMS = ("framework_tests", "kep_text_tests")
UNIT_PROGRAMS = ("unit_tests", "allocation_tests", "copy_tests", "load_tests", "handle_threads_tests")
PROGRAMS = (*FRAMEWORK_PROGRAMS, *UNIT_PROGRAMS, *HEADER_PROGRAMS)
PUBLIC = ("vornisa_api.h", "vornisa_audio.h", "vornisa_media_file.h", "vornisa_message.h", "vornisa_picture.h", "vornisa_recording.h",
          "vornisa_sound_device.h", "vornisa_stream.h", "vornisa_types.h")
MEMORY_LIMIT = 4 << 30
NOTED = ("static assertion failed", "is negative")  # compiler messages for a failed static check of the tests


def sources(root, parts):
    names = [f"{folder}/{name}" for folder in FOLDERS for name in sorted(os.listdir(os.path.join(root, folder)))
             if name.endswith((".cpp", ".h"))]
    return [name for name in names
            if not parts or any(part in name or fnmatch.fnmatch(name, part) for part in parts)]


def programs_for(file):
    if os.path.basename(file) in PUBLIC:
        return (*HEADER_PROGRAMS, *UNIT_PROGRAMS)
    if file.startswith("framework/"):
        return PROGRAMS
    return (*UNIT_PROGRAMS, *HEADER_PROGRAMS)


def compiled_lines(root, file):
    """The numbers of the lines that the preprocessor keeps on this machine."""
    text = subprocess.run(["g++", "-std=c++14", "-E", "-fdirectives-only", "-Iframework", "-Iapi", "-x", "c++", file],
                          cwd=root, check=True, capture_output=True, text=True).stdout
    found, path, number = set(), "", 0
    for line in text.splitlines():
        marker = re.match(r'# (\d+) "(.*?)"', line)
        if marker:
            number, path = int(marker.group(1)), marker.group(2)
            continue
        if path == file and line.strip():
            found.add(number)
        number += 1
    return found


class Results:
    """Verdicts by mutation key, written to the disk as soon as they are known."""

    def __init__(self, path):
        self.path = path
        self.verdicts = {}
        self.lock = threading.Lock()
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                for line in file:
                    key, verdict = line.split("\t")[:2]
                    self.verdicts[key] = verdict
        self.file = open(path, "a", encoding="utf-8")

    def add(self, key, verdict, name):
        with self.lock:
            self.verdicts[key] = verdict
            self.file.write(f"{key}\t{verdict}\t{name}\n")
            self.file.flush()


class Worker:
    def __init__(self, root, number):
        self.folder = os.path.join(root, "build", "mutation", f"worker{number}")
        self.source = os.path.join(self.folder, "source")
        self.build = os.path.join(self.folder, "build")
        self.limit = 120.0
        self.catchers = {}
        os.makedirs(self.folder, exist_ok=True)
        for name in COPIED:
            # Compare contents and give copies a new time, so that objects built from the last run's change are rebuilt.
            subprocess.run(["rsync", "-rlp", "--checksum", "--delete", "--relative", name, self.source + "/"],
                           cwd=root, check=True)
        linker = " -fuse-ld=gold" if shutil.which("ld.gold") else ""
        self.must(["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, "-DVORNISA_HOST=OFF",
                   "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-w -O0", "-DCMAKE_C_FLAGS=-w -O0",
                   f"-DCMAKE_EXE_LINKER_FLAGS={linker}"])
        self.must(["ninja", "-C", self.build, "-j1"])
        begin = time.monotonic()
        for program in PROGRAMS:
            self.must([os.path.join(self.build, "bin", program)])
        self.limit = 20 + 10 * (time.monotonic() - begin)

    def must(self, command):
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode:
            sys.exit(f"mutate: {' '.join(command)} failed without any change:\n{(done.stdout + done.stderr)[-3000:]}")

    def judge(self, mutation, content):
        """ "caught", "survived", or "invalid" if the change does not compile. """
        path = os.path.join(self.source, mutation.file)
        with open(path, "w", encoding="utf-8") as file:
            file.write(mutation.apply(content))
        for program in programs_for(mutation.file):
            built = subprocess.run(["ninja", "-C", self.build, "-j1", program], capture_output=True, text=True,
                                   check=False)
            if built.returncode:
                return "caught" if any(text in built.stdout for text in NOTED) else "invalid"
            known = self.catchers.setdefault((mutation.file, program), [])
            if known and not self.passes(program, known, known) or not self.passes(program, None, known):
                return "caught"
        return "survived"

    def passes(self, program, tests, catchers):
        """Runs the `tests` of a program, or all; the one that fails is put first among the `catchers`."""
        command = [os.path.join(self.build, "bin", program)]
        if program not in HEADER_PROGRAMS:
            command += ["--gtest_fail_fast", "--gtest_brief=1"]
        if tests:
            command.append("--gtest_filter=" + ":".join(tests))
        output = os.path.join(self.folder, "output")
        with open(output, "wb") as out:
            process = subprocess.Popen(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=out,
                                       stderr=subprocess.DEVNULL, start_new_session=True,
                                       preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT,) * 2))
        try:
            if process.wait(self.limit) == 0:
                return True
            with open(output, encoding="utf-8", errors="replace") as out:
                for name in re.findall(r"^\[  FAILED  \] ([\w./]+)", out.read(), re.MULTILINE)[:1]:
                    catchers[:] = [name, *(other for other in catchers if other != name)][:20]
            return False
        except subprocess.TimeoutExpired:
            return False
        finally:
            # Also the processes that the changed tests have left behind.
            try:
                os.killpg(process.pid, 9)
            except ProcessLookupError:
                pass
            process.wait()

    def restore(self, file, content):
        with open(os.path.join(self.source, file), "w", encoding="utf-8") as out:
            out.write(content)


def work(worker, queue, lock, contents, results, progress):
    while True:
        with lock:
            if not queue:
                return
            batch = queue.pop(0)
        file = batch[0].file
        for mutation in batch:
            verdict = worker.judge(mutation, contents[file])
            results.add(mutation.key(contents[file]), verdict, mutation.name())
            progress(mutation, verdict)
        worker.restore(file, contents[file])


def reasons(root):
    """Why known survivors cannot be caught, by the mutation's name."""
    known = {}
    path = os.path.join(root, "scripts", "lib", "mutations.survivors")
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            name = None
            for line in file:
                if line.startswith("    "):
                    known[name] = line.strip()
                elif line.strip() and not line.startswith("#"):
                    name = line.strip()
    return known


def report(root, mutations, contents, results):
    counts = {}
    survivors = []
    for mutation in mutations:
        verdict = results.verdicts.get(mutation.key(contents[mutation.file]))
        if verdict in ("caught", "survived"):
            tally = counts.setdefault(mutation.kind, [0, 0])
            tally[1] += 1
            tally[0] += verdict == "caught"
        if verdict == "survived":
            survivors.append(mutation)
    known = reasons(root)
    for mutation in survivors:
        print(f"survived: {mutation.file}:{mutation.line}: {mutation.name().split(': ', 1)[1]}\n"
              f"    {known.get(mutation.name(), 'no reason is known: a test is missing')}")
    for kind, (caught, tried) in sorted(counts.items()):
        print(f"{kind:12} {caught:5} of {tried:5} caught")
    caught = sum(tally[0] for tally in counts.values())
    tried = sum(tally[1] for tally in counts.values())
    share = 100.0 * caught / tried if tried else 0.0
    print(f"{caught} of {tried} changes caught, {share:.1f} % (required: {REQUIRED:.0f} %)")
    return 0 if share >= REQUIRED else 1


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("root", help=argparse.SUPPRESS)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2, help="workers, one for each core by default")
    parser.add_argument("--file", action="append", default=[], help="only sources with this in their name")
    parser.add_argument("--sample", type=int, default=0, help="only N changes, in a repeatable random sample")
    parser.add_argument("--again", action="store_true", help="retry changes that survived")
    parser.add_argument("--list", action="store_true", help="list the changes and try none")
    options = parser.parse_args()

    contents = {}
    mutations = []
    for file in sources(options.root, options.file):
        with open(os.path.join(options.root, file), encoding="utf-8") as source:
            contents[file] = source.read()
        compiled = compiled_lines(options.root, file)
        mutations += [m for m in Source(file, contents[file]).mutations() if m.line in compiled]
    if options.sample:
        chosen = random.Random(1).sample(mutations, min(options.sample, len(mutations)))
        mutations = sorted(chosen, key=lambda m: (m.file, m.begin, m.end, m.text))
    if options.list:
        for mutation in mutations:
            print(f"{mutation.line:4} {mutation.name()}")
        return 0
    if not mutations:
        sys.exit("mutate: nothing to change")

    results = Results(prepare(options.root))
    settled = ("caught", "invalid") if options.again else ("caught", "invalid", "survived")
    waiting = [m for m in mutations if results.verdicts.get(m.key(contents[m.file])) not in settled]
    print(f"{len(mutations)} changes, {len(waiting)} to be tried", flush=True)
    run(options, waiting, contents, results)
    return report(options.root, mutations, contents, results)


def prepare(root):
    folder = os.path.join(root, "build", "mutation")
    os.makedirs(folder, exist_ok=True)
    return os.path.join(folder, "results")


def run(options, waiting, contents, results):
    # In batches of one file: consecutive changes rebuild the same object.
    queue = []
    for mutation in waiting:
        if not queue or queue[-1][0].file != mutation.file or len(queue[-1]) == 40:
            queue.append([])
        queue[-1].append(mutation)
    lock = threading.Lock()
    tried = [0]

    def progress(mutation, verdict):
        with lock:
            tried[0] += 1
            if verdict == "survived" or tried[0] % 50 == 0 or tried[0] == len(waiting):
                print(f"[{tried[0]}/{len(waiting)}] {verdict} {mutation.file}:{mutation.line} "
                      f"{mutation.name().split(': ', 1)[1]}"[:160], flush=True)

    threads = []
    for number in range(min(options.jobs, len(queue))):
        worker = Worker(options.root, number)
        threads.append(threading.Thread(target=work, args=(worker, queue, lock, contents, results, progress)))
        threads[-1].start()
    for thread in threads:
        thread.join()


signal.signal(signal.SIGPIPE, signal.SIG_DFL)
sys.exit(main())
