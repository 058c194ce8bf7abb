"""Counts the instructions that the library itself executes for a frame.

Callgrind runs frame_instructions and counts the instructions of every function. Those of the library
(src/, projection/ and what they call in the C++ standard library) are added up; those of the platform
and of the C library are not. The calls from the library into the platform are counted, too.
"""
import collections
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
MODES = ("idle", "buffer", "unchanged", "changed", "texture")
WIDTH = 5120  # all flag words of a row of tiles in use
HEIGHTS = (64, 192)  # two, to tell the cost of a frame from that of its rows
FRAMES = 4
FOLDERS = tuple(f"{ROOT / folder}/" for folder in ("src", "projection"))
STANDARD_LIBRARY = "/usr/include/c++/"


def read_name(names, text):
    """Reads a name as Callgrind writes it: "(1) name" at its first use, "(1)" later."""
    number, _, name = text.partition(" ")
    if name:
        names[number] = name
    return names[number]


def parse(path):
    """Reads Callgrind's file. Returns two mappings from (file, function): to its own instructions, and
    to its calls as (callee's file, callee, number, cost inside)."""
    files, functions = {}, {}
    own = collections.Counter()
    calls = collections.defaultdict(list)
    file = function = callee_file = callee = None
    count = 0
    for line in path.read_text(encoding="utf-8").splitlines():
        key, _, value = line.partition("=")
        if key == "fl":
            file = read_name(files, value)
        elif key in ("fi", "fe"):  # a file that is inlined here; the function stays
            read_name(files, value)
        elif key == "fn":
            function = (file, read_name(functions, value))
        elif key in ("cfi", "cfl"):
            callee_file = read_name(files, value)
        elif key == "cfn":
            callee = read_name(functions, value)
        elif key == "calls":
            count = int(value.split()[0])
        elif re.match(r"[+*\d-]", line):
            cost = int(line.split()[1])
            if count:
                calls[function].append((callee_file or file, callee, count, cost))
                count, callee_file = 0, None
            else:
                own[function] += cost
    return own, calls


def is_library(file):
    return file.startswith(FOLDERS)


def short(function):
    """Drops arguments and namespaces: WgcCaptureSession::CopyRows, Texture::GetDesc, memcpy."""
    name = re.sub(r"non-virtual thunk to |\(anonymous namespace\)::|'\d+$", "", function)
    while re.search(r"<[^<>]*>", name):
        name = re.sub(r"<[^<>]*>", "", name)
    name = re.sub(r"\(.*", "", name).split(" ")[-1]
    if name.startswith("__mem"):
        return "memcpy"
    return "::".join(name.split("::")[-2:]).replace("fake::", "")


def attribute(own, calls):
    """Returns the instructions by function of the library, and its calls by function of the
    platform."""
    functions, platform = collections.Counter(), collections.Counter()
    for (file, function), cost in own.items():
        if is_library(file):
            functions[short(function)] += cost
    for (file, _), made in calls.items():
        if not is_library(file):
            continue
        for callee_file, callee, count, inside in made:
            if callee_file.startswith(STANDARD_LIBRARY):
                functions[short(callee)] += inside
            elif not is_library(callee_file):
                platform[short(callee)] += count
    return functions, platform


def run(program, mode, height, frames):
    """Returns what attribute() does, for `frames` frames; the calls include those of the warm-up."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "callgrind.out"
        subprocess.run(
            ["valgrind", "--tool=callgrind", "--quiet", "--collect-atstart=no",
             "--toggle-collect=PollOneFrame", f"--callgrind-out-file={out}",
             program, mode, str(WIDTH), str(height), str(frames)],
            check=True, timeout=300)
        return attribute(*parse(out))


def per_frame(counter):
    return {name: value / FRAMES for name, value in counter.most_common() if value}


def measure(program, mode):
    low, _ = run(program, mode, HEIGHTS[0], FRAMES)
    high, calls = run(program, mode, HEIGHTS[1], FRAMES)
    # Callgrind counts calls even while it collects nothing else.
    _, calls_of_more = run(program, mode, HEIGHTS[1], 2 * FRAMES)
    if not low:
        sys.exit("scripts/bench: Callgrind names no function of the library: "
                 "build frame_instructions with -g")
    low_frame, high_frame = (sum(counter.values()) / FRAMES for counter in (low, high))
    per_row = (high_frame - low_frame) / (HEIGHTS[1] - HEIGHTS[0])
    return {
        "per_row": per_row,
        "constant": low_frame - per_row * HEIGHTS[0],
        "height": HEIGHTS[1],
        "functions": per_frame(high),
        "calls": per_frame(calls_of_more - calls),
    }


def measure_all(program):
    """What a frame costs, by mode. program: the built frame_instructions."""
    return {mode: measure(program, mode) for mode in MODES}
