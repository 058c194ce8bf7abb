"""What a session may cost, and which figures exceed it."""

RATIO_BOUNDS = {"poll": 1.10, "frame": 1.05, "convert": 0.50, "shrink": 0.50}
# What a ratio is of: the time that passed, or the processor's.
CLOCKS = {"floor": "real_time", "swscale": "cpu_time"}
TRIES = 3
GROWTH_BOUND = 1.15  # growth of the time per pixel from the smallest size, relative to the floor's
GROWTH_MODES = ("buffer", "unchanged")
INSTRUCTIONS_A_FRAME = 600
INSTRUCTIONS_A_ROW = 40
# The smallest number of rows that the bound applies to, where it is strictest: with detection the rows
# of a tile, otherwise none.
FEWEST_ROWS = {"unchanged": 32, "changed": 32}
# The calls of a frame: PeekMessageW, and once more after a message; a copy to where the host reads the
# frame, and for detection copies of the new frame, the old frame and the flags; a Map for each thing
# that the CPU reads. A superfluous call that the renderer answers quickly shows in no time.
CALLS = {
    "idle": {"PeekMessageW": 1},
    "buffer": {"PeekMessageW": 2, "Context::CopyResource": 1, "Context::Map": 1,
               "Resource::GetDesc": 3},
    "unchanged": {"PeekMessageW": 2, "Context::CopyResource": 4, "Context::Map": 1,
                  "Context::Dispatch": 3, "Resource::GetDesc": 4},
    "changed": {"PeekMessageW": 2, "Context::CopyResource": 4, "Context::Map": 2,
                "Context::Dispatch": 3, "Resource::GetDesc": 4},
    "texture": {"PeekMessageW": 2, "Context::CopyResource": 1, "Resource::GetDesc": 1},
}
COUNTED_CALLS = sorted({name for calls in CALLS.values() for name in calls})

SIZES = ("1280x720", "1920x1080", "2560x1440", "3840x2160", "5120x2880")
MODES = {
    "buffer": "frame in the buffer",
    "unchanged": "detection, unchanged",
    "changed": "detection, changed",
    "texture": "frame in a texture",
}


def bound_of(name):
    return RATIO_BOUNDS.get(name.split("/")[0])


def missed_ratios(rows):
    return [name for name, row in rows.items() if "ratio" in row and row["ratio"] > bound_of(name)]


def missed_growth(rows):
    """The modes whose time per pixel grows too much more than the floor's."""
    return [mode for mode in GROWTH_MODES if any(value > GROWTH_BOUND for value in
                                                 relative_growth(rows, mode).values())]


def check_counts(rows):
    for name, row in rows.items():
        _, mode, size = (name.split("/") + ["", ""])[:3]
        if "allocations" not in row:
            continue
        if row["allocations"] != 0:
            yield f"{name} allocates {row['allocations']:g} times a frame"
        width, height = map(int, size.split("x"))
        expected = width * height * 4 if mode in ("buffer", "changed") else 0
        if row["copied_bytes"] != expected:
            yield f"{name} copies {row['copied_bytes']:g} bytes a frame, not {expected}"


def growth(rows, mode, side=""):
    """Nanoseconds per pixel by size; empty unless all sizes were measured."""
    names = [f"growth/{mode}/{size}{side}" for size in SIZES]
    if not all(name in rows for name in names):
        return {}
    return {size: rows[name]["ns_per_pixel"] for size, name in zip(SIZES, names)}


def relative_growth(rows, mode):
    """By size: the growth of the time per pixel since the smallest size, over the floor's growth."""
    session, floor = growth(rows, mode), growth(rows, mode, "/floor")
    return {size: (session[size] / session[SIZES[0]]) / (floor[size] / floor[SIZES[0]])
            for size in session}


def check_times(rows):
    for name in missed_ratios(rows):
        yield (f"{name}: ratio {rows[name]['ratio']:.3f}, bound {bound_of(name):.2f}, "
               f"{TRIES} times in a row")
    for mode in missed_growth(rows):
        yield (f"growth/{mode}: the time per pixel grows by up to "
               f"{max(relative_growth(rows, mode).values()):.2f} times the floor's growth, more "
               f"than {GROWTH_BOUND:g}, {TRIES} times in a row")


def instructions_at(cost, rows):
    return cost["constant"] + cost["per_row"] * rows


def instruction_bound(rows):
    return INSTRUCTIONS_A_FRAME + INSTRUCTIONS_A_ROW * rows


def check_instructions(instructions):
    for mode, cost in instructions.items():
        rows = FEWEST_ROWS.get(mode, 0)
        if (instructions_at(cost, rows) > instruction_bound(rows)
                or cost["per_row"] > INSTRUCTIONS_A_ROW):
            yield (f"{mode}: {cost['constant']:.0f} + {cost['per_row']:.1f} instructions a row, "
                   f"above {INSTRUCTIONS_A_FRAME} + {INSTRUCTIONS_A_ROW} a row")


def check_calls(instructions):
    for mode, cost in instructions.items():
        for name in COUNTED_CALLS:
            made, expected = cost["calls"].get(name, 0), CALLS[mode].get(name, 0)
            if made != expected:
                yield f"{mode}: {made:g} calls of {name} a frame, not {expected}"


def ratio_table(rows, other="floor"):
    """Yields (name, time, other time, ratio, bound, verdict) of what was compared with `other`."""
    for name, row in rows.items():
        if "ratio" not in row or f"{name}/{other}" not in rows:
            continue
        bound, clock = bound_of(name), CLOCKS[other]
        verdict = "met" if row["ratio"] <= bound else "missed"
        if row["tries"] > 1:
            verdict += f", try {row['tries']}"
        yield (name, row[clock], rows[f"{name}/{other}"][clock], row["ratio"], bound, verdict)
