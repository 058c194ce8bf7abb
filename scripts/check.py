#!/usr/bin/env python3
"""Checks the sources without running them.

clang-format checks the layout of every C and C++ file; clang-tidy checks the library, quill-grab, the
examples, the stand-in and the tools; clang compiles, with warnings as errors, the sources of the tests
and benches, each for its own target, the library's for Windows, and its headers one by one. What is
built for Windows must also do without what only Visual Studio refuses. One source alone may write to the
registry; it refuses to on a machine that is not Wine. Prints only findings. A source without findings is
checked again only when it, one of its headers, .clang-tidy, the flags or clang change.
"""
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDER = pathlib.Path("build/check")
GOOGLETEST = "/usr/src/googletest"
# Built for Linux only: the fake platform and everything that runs on it.
NATIVE = ("bench/native/", "tests/native/")
# Built for Windows, too.
EVERYWHERE = ("tests/native/unit/",)
# Compiling these headers takes longer than compiling most tests. Every source is compiled after them, so
# the check does not notice a missing include of one of them, or of a header that they include.
PRECOMPILED = ("gtest/gtest.h", "windows.h", "d3d11.h")
WRITES_REGISTRY = "tests/support/platform_setting.cpp"
REGISTRY_WRITE = re.compile(r"\b(Reg(Create|Set|Delete|Replace|Restore|Load|Save|Rename)(Key|Value|Tree)|"
                            r"SHReg(Create|Set|Write|Delete)|SH(Set|Delete)(Value|Key|EmptyKey))")
# Need headers that nothing else needs.
LEFT_OUT = ("bench/native/streams_bench.cpp", "bench/shaders/vulkan/")
# Visual Studio has no GNU extensions, and its SDK defines small besides near, far, hyper and interface,
# which mingw-w64 defines, too.
VISUAL_STUDIO = ["-Wpedantic", "-Dsmall=char"]
# Takes half of clang-tidy's time where much of the standard library is used, so it is left to src/.
SLOW = "performance-unnecessary-value-param"
COMMENT_OR_LITERAL = re.compile(
    r"""//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\d)'(?:\\.|[^'\\\n])+'""",
    re.DOTALL)


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def digest(text):
    return hashlib.sha256(text.encode()).hexdigest()[:16]


def layout_is_right(files):
    return subprocess.run(["clang-format", "--dry-run", "--Werror", *files],
                          check=False).returncode == 0


def is_native(name):
    return (name.startswith(NATIVE) and not name.startswith(EVERYWHERE)
            or os.path.basename(name).startswith("native_"))


def untyped_elements(text):
    """Yields the lines of the range-based loops over a list in which an element is braces alone, as the
    second in {Size{1, 2}, {3, 4}}. Visual Studio does not take its type from the other elements."""
    text = COMMENT_OR_LITERAL.sub(
        lambda found: "\n" * found[0].count("\n") + "''" * (found[0][0] != "/"), text)
    for loop in re.finditer(r"\bfor\s*\([^;{}]*:\s*\{", text):
        depth = 1
        before = "{"
        for character in text[loop.end():]:
            if depth == 1 and character == "{" and before in "{,":
                yield text.count("\n", 0, loop.start()) + 1
                break
            depth += (character in "({") - (character in ")}")
            if depth == 0:
                break
            if not character.isspace():
                before = character


def lists_are_typed(files):
    passed = True
    for name in files:
        for line in untyped_elements(pathlib.Path(name).read_text(encoding="utf-8")):
            print(f"{name}:{line}: Visual Studio needs a type before each element's braces",
                  file=sys.stderr)
            passed = False
    return passed


def leave_the_registry_alone(files):
    passed = True
    for name in files:
        if name == WRITES_REGISTRY:
            continue
        lines = pathlib.Path(name).read_text(encoding="utf-8").splitlines()
        for number, line in enumerate(lines, 1):
            if REGISTRY_WRITE.search(line):
                print(f"{name}:{number}: only {WRITES_REGISTRY} writes to the registry",
                      file=sys.stderr)
                passed = False
    return passed


def configure(preset):
    """Configures the preset and returns its commands by source. If tests or benches compile a source
    again, the command is that of the source's own target, which CMake lists first."""
    done = subprocess.run(["cmake", "--preset", preset], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        sys.exit(done.stdout)
    entries = {}
    for entry in json.loads(pathlib.Path(f"build/{preset}/compile_commands.json").read_text()):
        # clang cannot read g++'s precompiled headers.
        entry["command"] = re.sub(r" -include \S+/cmake_pch\.hxx", "", entry["command"])
        for source in sources_of(entry["file"]):
            command = entry["command"].replace(entry["file"], source)
            entries.setdefault(source, {**entry, "file": source, "command": command})
    return entries


def sources_of(file):
    """The sources that the build compiles as this file."""
    if "/Unity/" not in file:
        return [file]
    return re.findall(r'#include "(.+)"', pathlib.Path(file).read_text(encoding="utf-8"))


def write(path, text):
    """Writes the text unless the file holds it already, so that Ninja rebuilds nothing."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def windows_library():
    """The flags for g++'s library headers with POSIX threads, which clang does not find by itself."""
    runtime = output_of("x86_64-w64-mingw32-g++-posix", "-print-libgcc-file-name").strip()
    library = f"{os.path.dirname(runtime)}/include/c++"
    return [f"-isystem{library}", f"-isystem{library}/x86_64-w64-mingw32"]


def stamp_of(kind, source):
    return f"{FOLDER}/{kind}/{source}"


def tidy(preset, extra, groups, without=()):
    """Yields the readings of clang-tidy. groups: lists of sources by name. clang-tidy spends most of its
    time on the system's headers, so it reads a group as one source that includes the others. without:
    checks of .clang-tidy that are left out."""
    entries = configure(preset)
    database = []
    folder = FOLDER / preset
    arguments = " ".join(f"--extra-arg={argument}" for argument in extra)
    off = "".join(f",-{check}" for check in ("bugprone-suspicious-include", *without))
    for name, sources in groups.items():
        paths = [str(ROOT / source) for source in sources]
        for path in paths:
            if path not in entries:
                sys.exit(f"scripts/check: {preset} does not build {path}")
        together = folder / f"{name}.cpp"
        write(together, "".join(f'#include "{path}"\n' for path in paths))
        first = entries[paths[0]]
        database.append({**first, "file": str(ROOT / together),
                         "command": first["command"].replace(paths[0], str(ROOT / together))})
        # The key makes Ninja notice that the build's flags have changed.
        key = digest("".join(entries[path]["command"] for path in paths))
        yield (together, "tidy", f": {key}; clang-tidy -p {folder} --quiet "
                                 f"--config-file=.clang-tidy "
                                 f"--checks=clang-diagnostic-*{off} "
                                 f"{arguments} --extra-arg=-Wp,-MD,DEPFILE {together}",
               ".clang-tidy")
    write(folder / "compile_commands.json", json.dumps(database))


def syntax(flags, sources, kind="syntax", needed=""):
    shared = ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-DNOMINMAX",
              f"-isystem{GOOGLETEST}/googletest/include",
              "-Iinclude", "-Isrc", "-Iprojection", "-Iprojection/sdk", "-Itests"]
    for source in sources:
        yield (source, kind, f"clang++ -fsyntax-only {' '.join(shared + flags)} -MD -MF DEPFILE "
                             f"{source}", needed)


def after_precompiled(name, flags, sources):
    """Yields what syntax() does, with the PRECOMPILED headers in front."""
    header = FOLDER / f"{name}.h"
    write(header, "".join(f"#include <{file}>\n" for file in PRECOMPILED))
    for _, kind, reading, needed in syntax([*flags, "-x c++-header"], [header], "header"):
        yield header, kind, reading.replace("-fsyntax-only", f"-o {header}.pch"), needed
    yield from syntax([*flags, f"-include-pch {header}.pch"], sources,
                      needed=stamp_of("header", header))


def readings(files):
    """Yields (source, kind, command, further dependency) of everything that clang reads."""
    sources = [name for name in files if name.endswith(".cpp") and not name.startswith(LEFT_OUT)]
    library = windows_library()
    yield from tidy("native", [], {"src": [name for name in sources if name.startswith("src/")]})
    # Each folder of apps/, and those below it, and each of wine/ are read as one; elsewhere files of one
    # folder define the same names.
    groups = {}
    for name in sources:
        if name.startswith(("apps/", "examples/", "tools/", "wine/")):
            group = name
            if name.startswith("apps/"):
                group = "/".join(name.split("/")[:2])
            elif name.startswith("wine/"):
                group = os.path.dirname(name)
            groups.setdefault(group.replace("/", "_"), []).append(name)
    yield from tidy("mingw", [*library, *VISUAL_STUDIO], groups, without=(SLOW,))

    windows = ["--target=x86_64-w64-mingw32", *library, *VISUAL_STUDIO,
               "-isystembuild/mingw/apps/cli11", "-isystembuild/mingw/apps/json",
               "-isystembuild/mingw/exports",
               "-D_WIN32_WINNT=0x0A00", "-DUNICODE", "-D_UNICODE",
               "'-DQUILL_GRAB_TEST_VERSION=\"\"'",
               "-Iapps", "-Iwine", "-Ibench/frames", "-Ibench/shaders"]
    linux = ["-fshort-wchar", "-DWINE_UNICODE_NATIVE", "-isystem/usr/include/wine/wine/windows",
             "-Iprojection/native", "-isystembuild/native/tests/native/platform/generated"]
    tests = [name for name in sources if name.startswith(("bench/", "src/", "tests/"))]
    yield from after_precompiled("windows", windows,
                                 [name for name in tests if not is_native(name)])
    yield from after_precompiled("linux", linux, [name for name in tests if is_native(name)])
    yield from syntax([*windows, "-Wno-pragma-once-outside-header", "-x c++"],
                      [name for name in files
                       if name.endswith(".h") and name.startswith(("src/", "include/"))], "header")


def write_ninja_file(edges):
    """Writes one edge for each reading, which keeps its log if there are findings."""
    lines = [f"builddir = {FOLDER}",
             "rule read", f"  command = : {digest(output_of('clang++', '--version'))}; "
             "{ $reading; } >$out.log 2>&1 && rm $out.log && touch $out",
             "  depfile = $out.d", "  deps = gcc"]
    for stamp, (source, reading, needed) in edges.items():
        lines += [f"build {stamp}: read {source} | {needed}",
                  f"  reading = {reading.replace('DEPFILE', f'{ROOT}/{stamp}.d')}"]
    FOLDER.mkdir(parents=True, exist_ok=True)
    (FOLDER / "build.ninja").write_text("\n".join(lines) + "\n", encoding="utf-8")


def clang_finds_nothing(files):
    edges = {stamp_of(kind, source): (source, reading, needed)
             for source, kind, reading, needed in readings(files)}
    write_ninja_file(edges)
    done = subprocess.run(["ninja", "-f", FOLDER / "build.ninja", "-k", "0", "-j",
                           str(os.cpu_count())], stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode == 0:
        return True
    logs = [pathlib.Path(f"{stamp}.log") for stamp in edges]
    found = [log.read_text(encoding="utf-8", errors="replace") for log in logs if log.exists()]
    for line in "".join(found or [done.stdout]).splitlines():
        if not line.endswith(("warnings generated.", "warning generated.",
                              "treated as error", "treated as errors")):
            print(line, file=sys.stderr)
    return False


def main():
    os.chdir(ROOT)
    listed = output_of("git", "ls-files", "--cached", "--others", "--exclude-standard",
                       "*.c", "*.cpp", "*.h").splitlines()
    files = [name for name in listed if os.path.exists(name)]
    passed = layout_is_right(files)
    if not passed:
        print("scripts/check: run clang-format -i on these files", file=sys.stderr)
    passed = lists_are_typed(name for name in files if not is_native(name)) and passed
    passed = leave_the_registry_alone(files) and passed
    return 0 if clang_finds_nothing(files) and passed else 1


if __name__ == "__main__":
    sys.exit(main())
