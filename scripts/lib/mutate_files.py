"""Removes the protections of files one at a time and runs the replays of power cuts, holes and failing disks.

mutate_files.py ROOT [--list | --in-place] [PART]...

Works on a copy of the sources with its own build, in build/file-mutation; with --in-place on those of ROOT in its
release build, which is quicker if that is built already; files with uncommitted changes are refused. The text that a
mutation replaces must be in its file exactly once, so that an outdated mutation is noticed.
"""
import os
import re
import subprocess
import sys

# In the order in which they are run until a test fails, each with its test filter.
PROGRAMS = {"powercut_tests": "*", "recording_tests": "RecoveredFiles.*:*LossesTest.*:*Files.*",
            "powercut_camera_tests": "*"}
RUN_LIMIT = 900  # seconds; a replay that hangs counts as red

FILE_LAYER = "recordings/file_layer.cpp"
OUTPUT = "host/media/recording/file_output.cpp"
HEAD_INDEX = "recordings/head_index.cpp"
MEDIA_FILE = "host/media/recording/media_file.cpp"
PICTURE_FILE = "host/media/video/picture_file.cpp"
RECOVERY = "recordings/recovery.cpp"

MUTATIONS = (
    ("commit: the file is not synced before it is renamed", FILE_LAYER,
     "if (!file.sync(reason) || !file.close(reason)) return Committed::no;",
     "if (!file.close(reason)) return Committed::no;"),
    ("commit: the folder is not synced after the renaming", FILE_LAYER,
     "return syncFolder(folderOf(to), reason) ? Committed::durable : Committed::renamed;",
     "return Committed::durable;"),
    ("commit: the file is synced after it is renamed", FILE_LAYER,
     "if (!file.sync(reason) || !file.close(reason)) return Committed::no;\n"
     "    if (from != to && !(taken == Taken::replace ? replace(from, to, reason) : rename(from, to, reason)))\n"
     "        return Committed::no;",
     "if (from != to && !(taken == Taken::replace ? replace(from, to, reason) : rename(from, to, reason)))\n"
     "        return Committed::no;\n"
     "    if (!file.sync(reason) || !file.close(reason)) return Committed::no;"),
    ("commit: the folder is synced before the renaming", FILE_LAYER,
     "if (from != to && !(taken == Taken::replace ? replace(from, to, reason) : rename(from, to, reason)))\n"
     "        return Committed::no;\n"
     "    return syncFolder(folderOf(to), reason) ? Committed::durable : Committed::renamed;",
     "if (!syncFolder(folderOf(to), reason)) return Committed::renamed;\n"
     "    if (from != to && !(taken == Taken::replace ? replace(from, to, reason) : rename(from, to, reason)))\n"
     "        return Committed::no;\n"
     "    return Committed::durable;"),
    ("padding: none before the end of a sector", OUTPUT,
     "if (end != 0 && end <= kSector - kBoxHeader) return;", "if (end != 0) return;"),
    ("padding: none at the beginning of a sector", OUTPUT,
     "if (end != 0 && end <= kSector - kBoxHeader) return;", "if (end <= kSector - kBoxHeader) return;"),
    ("padding: none behind fragments", OUTPUT,
     "pad();\n    return writeBox(", "return writeBox("),
    ("padding: none behind the header", OUTPUT,
     "pad();\n    recordings::Bytes head", "recordings::Bytes head"),
    ("references: visible before they are on the disk", HEAD_INDEX,
     "put(contents) && sync(reason) && put(headers);", "put(contents) && put(headers);"),
    ("references: their place is written with the header", OUTPUT,
     "if (!write(reason) || (sync && !file_->sync(reason))) return false;",
     "if (!write(reason) || (sync && failed_)) return false;"),
    ("fragment: no mark behind it", OUTPUT, "addMark();\n    addHeaderCopy();", "addHeaderCopy();"),
    ("header: no copy of it in a fragment", OUTPUT, "addMark();\n    addHeaderCopy();", "addMark();"),
    ("fragment: its header is written with the rest of it", OUTPUT,
     "const BoxHeader passedOver = freeBox(kept_.size());", "const BoxHeader passedOver = header;"),
    ("fragment: its header is written before the rest is synced", OUTPUT,
     "return noted(writeKept(), reason) && (!sync || file_->sync(reason)) &&",
     "return noted(writeKept(), reason) && (sync || !sync) &&"),
    ("fragment: not synced once its header is written", MEDIA_FILE,
     "(!flush_ || isLast || output_->file().sync(reason))", "true"),
    ("fragment: only the last one is synced", MEDIA_FILE,
     "if (!noteOnDisk((isFragmented() ? output_->writeFragment(flush_, reason) : output_->write(reason)) &&\n"
     "                    (!flush_ || isLast || output_->file().sync(reason))))",
     "if (!noteOnDisk(isFragmented() ? output_->writeFragment(false, reason) : output_->write(reason)))"),
    ("header: not synced before the first fragment", MEDIA_FILE,
     "return output_->writeHeader(flush_, reason) && (!flush_ || output_->file().sync(reason));",
     "return output_->writeHeader(flush_, reason);"),
    ("header: its name is not synced", MEDIA_FILE,
     "named_ = !flush_ || layer.syncFolder(FileLayer::folderOf(openPath_), reason);", "named_ = true;"),
    ("index: written as if no power were ever cut", MEDIA_FILE,
     "noteOnDisk(isFragmented() ? output_->writeBox(flush_, reason) : output_->write(reason));",
     "noteOnDisk(output_->write(reason));"),
    ("index: its header is not held back by a sync", MEDIA_FILE,
     "noteOnDisk(isFragmented() ? output_->writeBox(flush_, reason) : output_->write(reason));",
     "noteOnDisk(isFragmented() ? output_->writeBox(false, reason) : output_->write(reason));"),
    ("file: the last fragment is not written as one", MEDIA_FILE,
     "if (!endFragment(true, reason)) return false;\n    const", "const"),
    ("file: written under its final name", MEDIA_FILE,
     'std::string openPath = settings.openExtension.empty() ? path : path + "." + settings.openExtension;',
     "std::string openPath = path;"),
    ("fragments without an end where no key frame comes", MEDIA_FILE, "kLongestFragment(500)",
     "kLongestFragment(2000)"),
    ("picture: written under its final name", PICTURE_FILE,
     'const std::string temporary = recordings::temporaryPath(FileLayer::folderOf(path), "picture");',
     "const std::string temporary = path;"),
    ("file: named although a sync has failed", MEDIA_FILE, "!gone_ && !unsynced_ && clean", "!gone_ && clean"),
    ("recovery: what is cut off is not kept", RECOVERY,
     "if (end == recovery.check.end) return true;", "if (end >= recovery.check.end) return true;"),
    ("recovery: what is cut off is renamed and not synced", RECOVERY,
     "written ? layer.commit(*file, temporary, path, FileLayer::Taken::refuse, reason) : Committed::no;",
     "written && layer.rename(temporary, path, reason) ? Committed::durable : Committed::no;"),
    ("recovery: renamed without a sync", RECOVERY,
     "layer.commit(*file, path, result.path, FileLayer::Taken::refuse, reason);",
     "layer.rename(path, result.path, reason) ? FileLayer::Committed::durable : FileLayer::Committed::no;"),
    ("full disk: the remains of a failed write stay", MEDIA_FILE,
     "whole || output_->file().truncate(good, trouble) || isFragmented();",
     "whole || (trouble.empty() && good + 1 > 0);"),
)


def build(copy, tree, programs):
    return subprocess.run(["cmake", "--build", tree, "--target", *programs], cwd=copy, capture_output=True, text=True,
                          check=False)


def first_failure(tree, environment):
    """The first test that fails; nothing when all pass."""
    for program, tests in PROGRAMS.items():
        try:
            run = subprocess.run([os.path.join(tree, "bin", program), "--gtest_fail_fast", "--gtest_brief=1",
                                  f"--gtest_filter={tests}"],
                                 capture_output=True, text=True, env=environment, timeout=RUN_LIMIT, check=False)
        except subprocess.TimeoutExpired:
            return f"{program}: took more than {RUN_LIMIT} s"
        if run.returncode == 0:
            continue
        failed = re.search(r"\[  FAILED  \] ([\w/]+\.[\w/]+)", run.stdout)
        return failed.group(1) if failed else f"{program}: ended with {run.returncode}"
    return None


def place(root, in_place):
    """The folders of the sources to change and of their build."""
    if in_place:
        files = sorted({each[1] for each in MUTATIONS})
        if subprocess.run(["git", "diff", "--quiet", "HEAD", "--", *files], cwd=root, check=False).returncode:
            sys.exit("not committed: " + " ".join(files))
        return root, os.path.join(root, "build", "release")
    base = os.path.join(root, "build", "file-mutation")
    copy, tree = os.path.join(base, "source"), os.path.join(base, "build")
    os.makedirs(copy, exist_ok=True)
    # Compare contents and do not copy times: a file mutated by the last run must be newer than its object.
    tracked = subprocess.run(["git", "ls-files"], cwd=root, check=True, capture_output=True, text=True).stdout.splitlines()
    names = sorted({path.split("/")[0] for path in tracked})
    subprocess.run(["rsync", "-rlpc", "--delete", *(os.path.join(root, name) for name in names), copy], check=True)
    subprocess.run(["cmake", "-S", copy, "-B", tree, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DVORNISA_TESTS=ON"],
                   check=True, capture_output=True)
    return copy, tree


def main():
    root, *arguments = sys.argv[1:]
    parts = [part for part in arguments if not part.startswith("--")]
    chosen = [each for each in MUTATIONS if not parts or any(part in each[0] for part in parts)]
    for name, file, old, _ in MUTATIONS:
        with open(os.path.join(root, file), encoding="utf-8") as source:
            if (count := source.read().count(old)) != 1:
                sys.exit(f"{name}: {file} has its text {count} times, not once")
    if "--list" in arguments:
        print("\n".join(each[0] for each in chosen))
        return
    if not chosen:
        sys.exit("no mutation matches")

    environment = dict(os.environ, KEP_HOST_PRERECORD="attached")
    copy, tree = place(root, "--in-place" in arguments)
    built = build(copy, tree, PROGRAMS)
    if built.returncode:
        sys.exit(built.stdout[-3000:] + built.stderr[-1000:])
    if failed := first_failure(tree, environment):
        sys.exit(f"{failed} fails without any mutation")

    width = max(len(each[0]) for each in chosen)
    survived = 0
    print(f"{'Mutation':{width}}  Red", flush=True)
    for name, file, old, new in chosen:
        path = os.path.join(copy, file)
        with open(path, encoding="utf-8") as source:
            text = source.read()
        try:
            with open(path, "w", encoding="utf-8") as source:
                source.write(text.replace(old, new))
            built = build(copy, tree, PROGRAMS)
            verdict = "does not compile" if built.returncode else first_failure(tree, environment)
        finally:
            with open(path, "w", encoding="utf-8") as source:
                source.write(text)
        survived += built.returncode != 0 or verdict is None
        print(f"{name:{width}}  {verdict or 'SURVIVED'}", flush=True)
    print(f"{len(chosen) - survived} of {len(chosen)} were caught by a replay")
    sys.exit(1 if survived else 0)


main()
