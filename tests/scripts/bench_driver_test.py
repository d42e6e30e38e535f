"""Tests of the benchmark driver: it judges figures by their goals, and reports a benchmark that fails."""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, sys.argv.pop(1))
import run  # noqa: E402

FIGURE = """import json, sys
print(json.dumps({"name": "fast.ratio", "value": 3.0, "unit": "us", "peer": "other", "peer_value": 2.0, "pinned": True}))
print(json.dumps({"name": "fast.slow", "value": 9.0, "unit": "us", "peer": "other", "peer_value": 2.0, "pinned": True}))
"""
GOALS = {
    "fast_bench": {"fast.ratio": {"ratio": "<= 1", "gate": True, "reason": "it is slow"},
                   "fast.slow": {"ratio": ">= 4", "value": "<= 10"}},
    "broken_bench": {"broken": {"value": "<= 1", "gate": True}},
    "last_bench": {"last.curve": {}},
}


class BenchDriverTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "bench").mkdir()
        self.write("fast", FIGURE)
        self.write("broken", "import sys; sys.exit('no such device')")
        self.write("last", FIGURE.replace("fast.ratio", "last.curve.known_10.time"))
        (self.root / "bench" / "goals.json").write_text(json.dumps(GOALS))

    def write(self, program, text):
        (self.root / "bench" / f"{program}_bench.py").write_text(text)

    def bench(self, *arguments):
        """Runs the driver. Returns its exit code, what it printed, and the results by name."""
        output = io.StringIO()
        out = self.root / "out"
        with mock.patch.multiple(run, ROOT=self.root, GOALS=self.root / "bench" / "goals.json", build=lambda _: None), \
                mock.patch.object(sys, "argv", ["bench", "--out", str(out), *arguments]), \
                contextlib.redirect_stdout(output), contextlib.redirect_stderr(output):
            status = run.main()
        lines = (out / "results.jsonl").read_text().splitlines() if (out / "results.jsonl").exists() else []
        return status, output.getvalue(), {result["name"]: result for result in map(json.loads, lines)}

    def test_missed_goal_stays_with_its_reason_and_is_no_failure(self):
        status, output, results = self.bench("fast")
        self.assertEqual(status, 0, output)
        self.assertEqual((results["fast.ratio"]["ratio"], results["fast.ratio"]["met"]), (1.5, False))
        self.assertIn("fast.ratio misses its goal: it is slow", output)
        self.assertTrue(results["fast.slow"]["met"])
        self.assertIn("unpinned", results["fast.ratio"])
        self.assertIn("fast.ratio", (self.root / "out" / "fast.svg").read_text())

    def test_failing_benchmark_is_named_and_the_others_run(self):
        status, output, results = self.bench()
        self.assertEqual(status, 1)
        self.assertIn("broken_bench FAILED: it ended with 1", output)
        self.assertIn("no such device", output)
        self.assertIn("last.curve.known_10.time", results)

    def test_gate_fails_only_beyond_twice_the_goal(self):
        self.assertEqual(self.bench("--gate", "fast")[0], 0)
        self.write("fast", FIGURE.replace("3.0", "4.2"))
        status, output, results = self.bench("--gate", "fast")
        self.assertEqual((status, list(results)), (1, ["fast.ratio"]))
        self.assertIn("fast.ratio FAILED: its ratio is 2.1", output)

    def test_gate_measures_a_bad_ratio_once_more(self):
        self.write("fast", "import os\nfirst = not os.path.exists('ran')\nopen('ran', 'w')\n" +
                   FIGURE.replace("3.0", "4.2 if first else 3.0"))
        status, output, results = self.bench("--gate", "fast")
        self.assertEqual((status, results["fast.ratio"]["ratio"]), (0, 1.5), output)
        self.assertIn("fast.ratio: its ratio was 2.1; measured once more", output)

    def test_unknown_name_lists_the_names(self):
        status, output, _ = self.bench("fastest")
        self.assertEqual(status, 2)
        self.assertIn("fast.ratio, fast.slow", output)


if __name__ == "__main__":
    unittest.main()
