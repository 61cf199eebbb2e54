"""Lines and branches of api/ that were run, from the counters of an object folder.

coverage.py ROOT OBJECTS

Code of headers and templates counts as run if any source or instantiation has run it. Branches to exception paths do
not count: the compiler adds one behind every call that may throw. Nor do lines that contain only a closing brace: their
counters belong to destructors called while an exception unwinds the stack. Exception handlers count.
"""
import collections
import functools
import json
import os
import subprocess
import sys

REQUIRED_LINES = 100.0
REQUIRED_BRANCHES = 95.0


def decisions(branches):
    """The branch counts of a line, without the pairs of a call and its exception path."""
    kept = [True] * len(branches)
    for i, branch in enumerate(branches):
        if not branch["throw"]:
            continue
        kept[i] = False
        for other in (i - 1, i + 1):
            if 0 <= other < len(branches) and kept[other] and branches[other]["fallthrough"]:
                kept[other] = False
                break
    return [branch["count"] for branch, keep in zip(branches, kept) if keep]


@functools.lru_cache(maxsize=None)
def source_lines(path):
    with open(path, encoding="utf-8") as file:
        return file.read().splitlines()


def read(root, objects):
    """Execution counts by file: of lines, and of the branches of each line."""
    lines = collections.defaultdict(collections.Counter)
    branches = collections.defaultdict(dict)
    notes = sorted(os.path.join(objects, name) for name in os.listdir(objects) if name.endswith(".gcno"))
    if not notes:
        sys.exit(f"coverage: no counters in {objects}")
    text = subprocess.run(["gcov", "--branch-probabilities", "--json-format", "--stdout", *notes],
                          check=True, capture_output=True, text=True).stdout
    for document in text.splitlines():
        for source in json.loads(document)["files"]:
            path = os.path.relpath(os.path.join(root, source["file"]), root)
            if not path.startswith("api/"):
                continue
            text = source_lines(os.path.join(root, path))
            for line in source["lines"]:
                number = line["line_number"]
                if line["count"] == 0 and text[number - 1].strip() in ("}", "};"):
                    continue
                lines[path][number] += line["count"]
                counts = decisions(line["branches"])
                sums = branches[path].setdefault(number, [])
                sums.extend([0] * (len(counts) - len(sums)))
                for i, count in enumerate(counts):
                    sums[i] += count
    return lines, branches


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def ranges(numbers):
    """[3, 4, 5, 9] as "3-5 9"."""
    parts = []
    for number in numbers:
        if parts and parts[-1][1] == number - 1:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return " ".join(str(first) if first == last else f"{first}-{last}" for first, last in parts)


def main():
    root, objects = sys.argv[1:]
    lines, branches = read(root, objects)
    print(f"{'file':38} {'lines':>14} {'branches':>18}  not run")
    total = [0, 0, 0, 0]
    for path in sorted(lines):
        run = sum(1 for count in lines[path].values() if count)
        ways = [(number, count) for number, counts in sorted(branches[path].items()) for count in counts]
        taken = sum(1 for _, count in ways if count)
        missing = [number for number, count in sorted(lines[path].items()) if not count]
        untaken = sorted({number for number, count in ways if not count} - set(missing))
        rest = " ".join(filter(None, [f"lines {ranges(missing)}" if missing else "",
                                      f"branches of {ranges(untaken)}" if untaken else ""]))
        figures = [run, len(lines[path]), taken, len(ways)]
        total = [a + b for a, b in zip(total, figures)]
        print(row(path, figures), "", rest)
    print(row("all", total))
    short = percent(*total[:2]) < REQUIRED_LINES or percent(*total[2:]) < REQUIRED_BRANCHES
    print(f"required: {REQUIRED_LINES:.0f} % of the lines and {REQUIRED_BRANCHES:.0f} % of the branches; "
          + ("NOT reached" if short else "reached"))
    return 1 if short else 0


def row(name, figures):
    run, lines, taken, ways = figures
    return f"{name:38} {run:4}/{lines:4} {percent(run, lines):5.1f} {taken:6}/{ways:5} {percent(taken, ways):5.1f}"


sys.exit(main())
