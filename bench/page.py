"""Writes measured figures into the Markdown pages."""
import datetime
import pathlib
import platform
import re
import subprocess
import sys

from bounds import (GROWTH_MODES, MODES, SIZES, growth, instruction_bound, instructions_at,
                    ratio_table)

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "performance.md"
CHART = ROOT / "docs" / "images" / "performance.svg"
# What a 60 Hz host asks for.
POLLS_A_SECOND = 60


def first_line(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.split("\n")[0]


def machine(context):
    model = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    wine = first_line("wine", "--version")
    # Wine makes up the name of its Direct3D adapter; the display that the bench runs on, Xvfb, draws
    # with Mesa's software renderer.
    mesa = first_line("dpkg-query", "-W", "-f", "${Version}\n", "libgl1-mesa-dri")
    commit = first_line("git", "-C", str(ROOT), "log", "-1", "--format=%h")
    return (f"{model[1] if model else platform.machine()}, {context['num_cpus']} processors; "
            f"{wine}; software renderer of Mesa {mesa}; {datetime.date.today()}; sources {commit}.")


def time_text(microseconds):
    if microseconds < 1000:
        return f"{microseconds:.1f} µs"
    return f"{microseconds / 1000:.2f} ms"


def table(header, lines):
    return ["| " + " | ".join(header) + " |", "|---" * len(header) + "|",
            *("| " + " | ".join(line) + " |" for line in lines)]


def ratios_text(sides, lines):
    return table(("What", *sides, "Ratio", "Bound", ""),
                 [(name, time_text(time), time_text(other_time), f"{ratio:.3f}", f"{bound:.2f}", verdict)
                  for name, time, other_time, ratio, bound, verdict in lines])


def streams_text(rows):
    swscale = first_line("dpkg-query", "-W", "-f", "${Version}\n", "libswscale-dev")
    return [f"swscale of FFmpeg {swscale}, on the same machine:", "",
            *ratios_text(("quill-grab", "swscale"), ratio_table(rows, "swscale"))]


def figures_text(folder, result, rows, instructions):
    text = ["Measured on: " + machine(result["context"]), "",
            *ratios_text(("Session", "Floor"), ratio_table(rows))]
    poll = rows["poll/buffer"]["real_time"]
    share = poll * POLLS_A_SECOND / 1e6 * 100
    text += ["", f"A poll that finds nothing takes {time_text(poll)}: {POLLS_A_SECOND} of them a "
             f"second take {share:.2g} % of one",
             f"processor, 1000 a second {poll / 10:.2g} %.", ""]
    text += ["Time per pixel with cold caches, in nanoseconds:", ""]
    text += table(("What", *SIZES),
                  [(MODES[mode] + name, *(f"{v:.2f}" for v in growth(rows, mode, side).values()))
                   for mode in GROWTH_MODES for name, side in (("", ""), (", floor", "/floor"))])
    text += ["", "What the library executes for a frame, in instructions of its own:", ""]
    text += table(("What", "A frame", "A row", "1080 rows", "Bound"),
                  [("poll without a frame" if mode == "idle" else MODES[mode],
                    f"{cost['constant']:.0f}", f"{cost['per_row']:.1f}",
                    f"{instructions_at(cost, 1080):,.0f}", f"{instruction_bound(1080):,}")
                   for mode, cost in instructions.items()])
    memory = rows["memory/1920x1080"]
    dll = (folder / "bin" / "libquill-wgc.dll").stat().st_size
    text += ["", "Once, without a bound:", ""]
    text += table(("What", "Figure"), [
        ("Size of the DLL", f"{dll / 1024:.0f} KiB"),
        ("Loading it, the system's libraries being there", time_text(rows["load"]["real_time"])),
        ("Creation to started, 1920x1080", time_text(rows["start/1920x1080"]["started_us"])),
        ("Creation to the first frame", time_text(rows["start/1920x1080"]["real_time"])),
        ("A resize to the first frame of the new size, 1920x1080 and 2560x1440",
         time_text(rows["resize/buffer"]["real_time"])),
        ("The same with detection", time_text(rows["resize/detection"]["real_time"])),
        ("Private memory of a session that used every output and detection, 1920x1080",
         f"{memory['session_mib']:.0f} MiB"),
        ("Its textures and buffer together", f"{memory['session_textures_mib']:.0f} MiB"),
        ("Private memory of the floor", f"{memory['floor_mib']:.0f} MiB"),
        ("Its textures and buffer together", f"{memory['floor_textures_mib']:.0f} MiB"),
    ])
    return text


def put_into(page, name, lines):
    """Replaces what stands between <!-- NAME figures --> and <!-- end of NAME figures --> in page."""
    begin, end = f"<!-- {name} figures -->\n", f"<!-- end of {name} figures -->\n"
    old = page.read_text(encoding="utf-8")
    if old.count(begin) != 1 or old.count(end) != 1:
        sys.exit(f"{page} needs the lines {begin.strip()} and {end.strip()}, once each")
    before, rest = old.split(begin)
    after = rest.split(end)[1]
    text = "\n".join(lines)
    page.write_text(f"{before}{begin}\n{text}\n\n{end}{after}", encoding="utf-8")
