"""The chart of docs/performance.md."""
import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot

from bounds import MODES, RATIO_BOUNDS, SIZES


def draw(rows, path):
    matplotlib.rcParams["svg.hashsalt"] = "libquill-wgc"  # the same file for the same figures
    figure, axes = pyplot.subplots(figsize=(8, 4))
    places = range(len(SIZES))
    styles = (("#1f5f8b", "o"), ("#d1772a", "s"), ("#4a8c4a", "^"), ("#8c4a86", "D"))
    highest = lowest = 1.0
    for i, ((mode, label), (colour, marker)) in enumerate(zip(MODES.items(), styles)):
        ratios = [rows[f"frame/{mode}/{size}"]["ratio"] for size in SIZES]
        highest, lowest = max(highest, *ratios), min(lowest, *ratios)
        axes.plot([place + (i - 1.5) * 0.12 for place in places], ratios, marker, color=colour,
                  label=label)
    bound = RATIO_BOUNDS["frame"]
    axes.axhline(1.0, color="#444444", linewidth=1)
    axes.axhline(bound, color="#aa2222", linewidth=1, linestyle="--", label=f"bound {bound:.2f}")
    axes.set_ylim(min(0.94, lowest - 0.01), max(1.1, highest + 0.04))
    axes.set_xlim(-0.5, len(SIZES) - 0.5)
    axes.set_xticks(places, SIZES)
    axes.set_ylabel("time of a frame / floor")
    axes.spines[["top", "right"]].set_visible(False)
    axes.legend(ncols=3, frameon=False, loc="upper left", fontsize=8)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
