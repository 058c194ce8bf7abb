#!/usr/bin/env python3
"""quill-check notices each defect of defects.toml in the checks that are named there, and in no other.

Builds a DLL with each defect from the library's sources and puts it beside a copy of quill-check.exe.
Runs inside with-wine, after the build folder's quill-check.exe and libquill-wgc.dll were built. Without
--whole, quill-check runs only the checks that must fail and one more, which must pass; with it, all, on
the genuine DLL, too, and a table is printed.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import time
import tomllib

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
DLL = "libquill-wgc.dll"
# Quick checks that need frames; one that must not fail runs beside those that must.
BYSTANDERS = (13, 5, 22)
LIMIT_S = 120
# A defect may leave something unused. Compiling takes longer than what optimising saves.
OPTIONS = ["-w", "-O0", "-g0"]


def changed_text(defect):
    text = (ROOT / defect["file"]).read_text(encoding="utf-8")
    if text.count(defect["old"]) != 1:
        sys.exit(f"defects_test.py: {defect['name']}: {defect['file']} must contain this once; correct "
                 f"defects.toml: {defect['old']!r}")
    return text.replace(defect["old"], defect["new"])


def replaced(words, old, new):
    if old not in words:
        sys.exit(f"defects_test.py: the build has no {old} in: {shlex.join(words)}")
    return [new if word == old else word for word in words]


class Builder:
    def __init__(self, build, folder):
        self.build = build
        commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
        self.compile = {entry["file"]: shlex.split(entry["command"]) for entry in commands}
        link = subprocess.run(["ninja", "-C", build, "-t", "commands", "-s", f"bin/{DLL}"], check=True,
                              capture_output=True, text=True).stdout
        # The linker's command stands between the no-op and the stripping of symbols.
        self.link = shlex.split(link.split(" && ")[1])

        # Most defects are in sources whose one header takes longer to compile than they do.
        self.header = folder / "session.h"
        self.header.write_text('#include "capture/wgc_capture_session.h"\n', encoding="utf-8")
        source = str(ROOT / "src" / "capture" / "wgc_capture_session.cpp")
        command = self.compile[source]
        words = replaced(command, source, str(self.header))
        words = replaced(words, words[words.index("-o") + 1], f"{self.header}.gch")
        self.run(replaced(words, "-c", "-xc++-header") + OPTIONS)

    def run(self, words):
        subprocess.run(words, cwd=self.build, check=True)

    def make(self, defect, folder):
        """Links the DLL with the defect into the folder."""
        source = ROOT / defect["file"]
        changed = folder / source.name
        changed.write_text(changed_text(defect), encoding="utf-8")
        link = replaced(self.link, f"bin/{DLL}", str(folder / DLL))
        link = replaced(link, f"-Wl,--out-implib,lib/{DLL}.a", f"-Wl,--out-implib,{folder / DLL}.a")
        if source.suffix == ".def":
            link = replaced(link, str(source), str(changed))
        else:
            command = replaced(self.compile[str(source)], str(source), str(changed))
            compiled = command[command.index("-o") + 1]
            command = replaced(command, compiled, str(changed) + ".obj")
            self.run(command + OPTIONS + ["-include", self.header] * (source.parent.name == "capture"))
            if compiled in link:
                link = replaced(link, compiled, str(changed) + ".obj")
            else:
                # It is in a static library, of which the linker takes only what is still missing.
                link.insert(link.index("-shared"), str(changed) + ".obj")
        self.run(link)


def prepare(builder, defect, folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    if "file" in defect:
        builder.make(defect, folder)
    else:
        shutil.copy(builder.build / "bin" / DLL, folder)
    shutil.copy(builder.build / "bin" / "quill-check.exe", folder)


def chosen(defect):
    """The checks that run without --whole."""
    must_fail = defect.get("short", defect["fails"])
    bystander = next(number for number in BYSTANDERS if number not in defect["fails"])
    return must_fail, [*must_fail, bystander]


def run_check(folder, numbers):
    """The results by number; what quill-check printed when there are none."""
    only = ["--only", ",".join(map(str, numbers))] if numbers else []
    with open(folder / "output", "wb") as output:
        subprocess.run(["wine", "./quill-check.exe", *only], cwd=folder, stdout=output,
                       stderr=subprocess.STDOUT, timeout=LIMIT_S, check=False,
                       env={**os.environ, "WINE_D3D_CONFIG": "csmt=0"})
    report = folder / "quill-check.json"
    if not report.exists():
        return None, (folder / "output").read_text(encoding="utf-8", errors="replace")
    return json.loads(report.read_text(encoding="utf-8")), ""


def notes_of(check):
    return [f"{note['verdict']} {check['number']}: {note['text']}" for note in check["notes"]
            if note["verdict"] == check["verdict"]]


def judge(defect, folder, whole):
    """The failed checks, and what is wrong with them; nothing when it is as it should be."""
    must_fail, numbers = (defect["fails"], []) if whole else chosen(defect)
    report, output = run_check(folder, numbers)
    if report is None:
        return [], ["no report was written:", output]
    failed = [check for check in report["checks"] if check["verdict"] == "FAIL"]
    notes = [note for check in failed for note in notes_of(check)]
    wrong = []
    if [check["number"] for check in failed] != must_fail:
        wrong.append(f"failed: {[check['number'] for check in failed]} instead of {must_fail}")
    if report["exitCode"] != (1 if must_fail else 0):
        wrong.append(f"the exit code is {report['exitCode']}")
    if not any(defect["says"] in note for note in notes) and must_fail:
        wrong.append(f"no failure says: {defect['says']}")
    skipped = [note for check in report["checks"] if check["verdict"] == "SKIP" for note in notes_of(check)]
    return [check["number"] for check in failed], wrong and wrong + notes + skipped


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="the build folder")
    parser.add_argument("folder", type=pathlib.Path, help="an own folder for the defects' DLLs")
    parser.add_argument("--whole", action="store_true", help="run all checks, and print a table")
    parser.add_argument("--few", action="store_true", help="only the defects that are marked so")
    parser.add_argument("--name", help="only the defects with this in their names")
    arguments = parser.parse_args()

    defects = tomllib.loads((HERE / "defects.toml").read_text(encoding="utf-8"))["defect"]
    if arguments.whole:
        defects.insert(0, {"name": "none", "fails": [], "says": ""})
    else:
        defects = [defect for defect in defects if defect.get("short") != []]
    if arguments.few:
        defects = [defect for defect in defects if defect.get("few")]
    if arguments.name:
        defects = [defect for defect in defects if arguments.name in defect["name"]]
    arguments.folder.mkdir(parents=True, exist_ok=True)
    folder = arguments.folder.resolve()
    builder = Builder(arguments.build.resolve(), folder)
    folders = [folder / str(number) for number in range(len(defects))]
    failures = 0
    table = ["| defect | failed checks |", "|---|---|"]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        builds = [pool.submit(prepare, builder, *pair) for pair in zip(defects, folders)]
        for defect, folder, built in zip(defects, folders, builds):
            built.result()
            start = time.monotonic()
            failed, wrong = judge(defect, folder, arguments.whole)
            failures += bool(wrong)
            table.append(f"| {defect['name']} | {', '.join(map(str, failed)) or 'none'} |")
            print("\n  ".join([f"{'FAILED' if wrong else 'ok'} {time.monotonic() - start:5.1f} s: "
                               f"{defect['name']}", *wrong]), flush=True)
    if arguments.whole:
        print("\n".join(["", *table]))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
