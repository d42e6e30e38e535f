"""Faults in real daemons: scripts/chaos [SECONDS] [SEED] runs this with the build folder as the first argument."""

import collections
import os
import pathlib
import random
import resource
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import traceback

from rounds import Runner
from worlds import LinuxWorld, SimulatedWorld, name_user, user_of


def run(runner, seconds):
    try:
        runner.run(seconds)
    except Exception:  # pylint: disable=broad-except  a fault of this program counts as a violation
        runner.violation(traceback.format_exc())
        runner.keep_state()


def print_table(title, counts):
    print(f"\n{title}: {sum(counts.values())}")
    for name, count in sorted(counts.items(), key=lambda item: -item[1]):
        print(f"  {name:32} {count:7}")


def total(runners, read):
    return sum((read(runner) for runner in runners), collections.Counter())


def main():
    build, seconds = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 and sys.argv[3] else random.SystemRandom().randrange(1_000_000)
    results = build / f"chaos/seed-{seed}"
    shutil.rmtree(results, ignore_errors=True)
    results.mkdir(parents=True)
    resource.setrlimit(resource.RLIMIT_CORE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
    print(f"chaos: {seconds} s, seed {seed}; to repeat it: scripts/chaos {seconds} {seed}", flush=True)
    began = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="chaos-") as folder:
        os.chmod(folder, 0o755)  # the daemons run as another user
        name_user(pathlib.Path(folder), user_of(seed))
        worlds, runners = [], []
        try:
            for make in (SimulatedWorld, LinuxWorld):
                worlds.append(make(pathlib.Path(folder), build, seed))
            runners = [Runner(world, seed, results) for world in worlds]
            threads = [threading.Thread(target=run, args=(runner, seconds)) for runner in runners]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
        finally:
            for world in worlds:
                world.close()
            for file in ("passwd", "group"):
                subprocess.run(["umount", f"/etc/{file}"], check=False)
    print_table("requests by result", total(runners, lambda runner: runner.outcomes))
    print_table("faults by kind", total(runners, lambda runner: runner.faults.applied))
    print_table("faults that were not possible at their moment", total(runners, lambda runner: runner.faults.skipped))
    print_table("checks", total(runners, lambda runner: runner.checks.counts))
    frames = [(runner.world.wire.lost, runner.world.wire.delayed) for runner in runners]
    print(f"\nframes lost {sum(lost for lost, _ in frames)}, held {sum(held for _, held in frames)}; "
          f"rounds {' and '.join(str(runner.round) for runner in runners)}; {time.monotonic() - began:.0f} s")
    violations = [(runner.world.name, *one) for runner in runners for one in runner.violations]
    for name, number, text in violations:
        print(f"violation: seed {seed}, {name}, round {number}: {text}")
    print(f"violations: {len(violations)}; plan and logs: {results}")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
