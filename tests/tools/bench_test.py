#!/usr/bin/env python3
"""What scripts/bench concludes from figures, and what it reads from Callgrind's file."""
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "bench"))
import bounds
import instructions
import page
import runs


def ratio(name, value):
    return {"name": name, "ratio": value}


class Runs:
    """In place of the bench: a list of rows for each run."""

    def __init__(self, *runs):
        self.runs = list(runs)
        self.asked = []

    def __call__(self, wanted, seconds):
        self.asked.append((wanted, seconds))
        return {"benchmarks": self.runs.pop(0)}


class Measure(unittest.TestCase):
    def test_all_within_their_bounds_run_once(self):
        bench = Runs([ratio("poll/buffer", 1.10), ratio("frame/buffer/1280x720", 1.05)])
        _, rows = runs.measure(bench, ".*", 2)
        self.assertEqual(bench.asked, [(".*", 2)])
        self.assertEqual(list(bounds.check_times(rows)), [])

    def test_a_filter_that_matches_nothing_is_an_error(self):
        with self.assertRaises(SystemExit):
            runs.measure(Runs([]), "frames", 2)

    def test_only_what_missed_runs_again_for_longer(self):
        bench = Runs([ratio("frame/buffer/1280x720", 1.051), ratio("frame/texture/1280x720", 1.0)],
                   [ratio("frame/buffer/1280x720", 1.02)])
        _, rows = runs.measure(bench, ".*", 2)
        self.assertEqual(bench.asked[1], ("^(frame/buffer/1280x720)$", 4))
        self.assertEqual(list(bounds.check_times(rows)), [])
        self.assertEqual(rows["frame/buffer/1280x720"]["tries"], 2)
        self.assertEqual(rows["frame/texture/1280x720"]["tries"], 1)

    def test_the_third_miss_counts(self):
        bench = Runs(*[[ratio("poll/buffer", value)] for value in (1.2, 1.3, 1.101)])
        _, rows = runs.measure(bench, ".*", 2)
        self.assertEqual(len(bench.asked), 3)
        self.assertEqual(len(list(bounds.check_times(rows))), 1)

    def growth(self, side, *values):
        return [{"name": f"growth/buffer/{size}{side}", "ns_per_pixel": value}
                for size, value in zip(bounds.SIZES, values)]

    def test_time_per_pixel_may_grow_as_the_floors_does(self):
        # What does not fit into a cache costs both more.
        bench = Runs(self.growth("", 1, 1, 2, 2, 2.3) + self.growth("/floor", .5, .5, 1, 1, 1))
        _, rows = runs.measure(bench, ".*", 2)
        self.assertEqual(list(bounds.check_times(rows)), [])

    def test_conversions_have_a_table_and_a_bound_of_their_own(self):
        rows = {"poll/buffer": dict(ratio("poll/buffer", 1.0), real_time=2, cpu_time=1, tries=1),
                "poll/buffer/floor": {"real_time": 2, "cpu_time": 1}}
        name = "convert/y4m/64x64/point"
        for value, misses in ((0.50, 0), (0.51, 1)):
            rows |= {name: dict(ratio(name, value), real_time=9, cpu_time=2, tries=1),
                     f"{name}/swscale": {"real_time": 9, "cpu_time": 4}}
            (row,) = bounds.ratio_table(rows, "swscale")
            self.assertEqual(row, (name, 2, 4, value, 0.5, "missed" if misses else "met"))
            self.assertEqual(len(list(bounds.check_times(rows))), misses)
        self.assertEqual([row[0] for row in bounds.ratio_table(rows)], ["poll/buffer"])

    def test_growth_keeps_the_shortest_times(self):
        floor = self.growth("/floor", 1, 1, 1, 1, 1)
        bench = Runs(self.growth("", 1, 1, 1, 1, 1.16) + floor,
                   self.growth("", 2, 2, 2, 2, 1.155) + floor,
                   self.growth("", 2, 2, 2, 2, 2) + self.growth("/floor", 1, 1, 1, 1, 0.9))
        _, rows = runs.measure(bench, ".*", 2)
        self.assertEqual([wanted for wanted, _ in bench.asked[1:]], ["^(growth/buffer/.*)$"] * 2)
        self.assertEqual(list(bounds.growth(rows, "buffer").values()), [1, 1, 1, 1, 1.155])
        self.assertEqual(list(bounds.growth(rows, "buffer", "/floor").values()), [1, 1, 1, 1, 0.9])
        self.assertEqual(len(list(bounds.check_times(rows))), 1)


class Counts(unittest.TestCase):
    def row(self, mode, allocations, copied):
        name = f"frame/{mode}/1280x720"
        return {name: {"allocations": allocations, "copied_bytes": copied}}

    def test_what_a_frame_may_cost(self):
        for mode, copied in (("buffer", 3686400), ("changed", 3686400), ("unchanged", 0),
                             ("texture", 0)):
            self.assertEqual(list(bounds.check_counts(self.row(mode, 0, copied))), [])
            self.assertEqual(len(list(bounds.check_counts(self.row(mode, 1, copied)))), 1)
            self.assertEqual(len(list(bounds.check_counts(self.row(mode, 0, copied + 1)))), 1)


class Instructions(unittest.TestCase):
    def check(self, constant, per_row, mode="buffer"):
        cost = {"constant": constant, "per_row": per_row}
        return list(bounds.check_instructions({mode: cost}))

    def test_bound(self):
        self.assertEqual(self.check(600, 40), [])
        self.assertEqual(len(self.check(601, 40)), 1)
        # A poll and a texture have no rows that could make up for it.
        self.assertEqual(len(self.check(601, 0)), 1)
        # Cheap for few rows, too dear for many.
        self.assertEqual(len(self.check(0, 40.1)), 1)

    def test_bound_with_detection_is_that_of_a_row_of_tiles(self):
        for mode in ("unchanged", "changed"):
            self.assertEqual(self.check(600 + 40 * 32, 0, mode), [])
            self.assertEqual(len(self.check(601 + 40 * 32, 0, mode)), 1)

    def test_calls(self):
        calls = {"PeekMessageW": 2, "Context::CopyResource": 1, "Resource::GetDesc": 1}

        def check(**more):
            made = dict(calls, **{f"Context::{name}": count for name, count in more.items()})
            return list(bounds.check_calls({"texture": {"calls": made}}))

        self.assertEqual(check(), [])
        self.assertEqual(len(check(CopyResource=2)), 1)
        self.assertEqual(len(check(CopyResource=0)), 1)
        self.assertEqual(len(check(Map=1)), 1)

    def test_callgrind_file(self):
        text = "\n".join([
            "events: Ir",
            f"fl=(1) {ROOT}/src/capture/a.cpp",
            "fn=(1) Session::Handle(int)",
            "10 5",
            "fi=(2) /usr/include/c++/12/atomic",  # inlined: still the function's own
            "+1 2",
            "fe=(1)",
            "12 1",
            "cfi=(3) /elsewhere/platform.cpp",
            "cfn=(2) non-virtual thunk to fake::(anonymous namespace)::Texture::GetDesc(void*)",
            "calls=3 100",
            "12 900",
            "cfi=(2)",
            "cfn=(3) std::swap<int>(int&, int&)",
            "calls=1 7",
            "* 11",
            "cfn=(4) Session::Other()",  # of the same file, which then is not named
            "calls=1 40",
            "13 20",
            "",
            "fl=(3)",
            "fn=(2)",
            "100 900",
            "",
        ])
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "callgrind.out"
            path.write_text(text, encoding="utf-8")
            functions, platform = instructions.attribute(*instructions.parse(path))
        self.assertEqual(functions, {"Session::Handle": 8, "std::swap": 11})
        self.assertEqual(platform, {"Texture::GetDesc": 3})


class PutInto(unittest.TestCase):
    def put(self, text):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "page.md"
            path.write_text(text, encoding="utf-8")
            page.put_into(path, "a", ["1", "2"])
            return path.read_text(encoding="utf-8")

    def test_what_stands_between_the_marks_is_replaced(self):
        self.assertEqual(
            self.put("x\n<!-- a figures -->\nold\n<!-- end of a figures -->\ny\n"),
            "x\n<!-- a figures -->\n\n1\n2\n\n<!-- end of a figures -->\ny\n")

    def test_a_page_without_the_marks_is_an_error(self):
        with self.assertRaises(SystemExit):
            self.put("<!-- b figures -->\n<!-- end of b figures -->\n")


if __name__ == "__main__":
    unittest.main()
