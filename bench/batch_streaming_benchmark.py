#!/usr/bin/env python3
"""What `samplenet batch` costs beyond its cases, with nothing but the
command line and the standard library:

  memory    peak resident memory (/usr/bin/time -v) of a batch of many
            small cases, generated here (nothing big is kept in the repo);
  overhead  CPU per case of `samplenet batch -j 1` against the run alone:
            the CPU of `samplenet infer` for the same case and seed, less
            that of starting and reading the network (`samplenet info`).

    python bench/batch_streaming_benchmark.py memory [--cases 1000000]
    python bench/batch_streaming_benchmark.py overhead [--cases 1000] [--alone 200]
"""

from __future__ import annotations

import argparse
import csv
import gzip
import random
import re
import resource
import subprocess
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
NETWORKS = ROOT / "data" / "networks"


def states_of(network: Path) -> dict[str, list[str]]:
    """Variables and their states, read off the BIF text."""
    text = gzip.decompress(network.read_bytes()).decode()
    found = re.findall(r"variable\s+(\S+)\s*\{[^}]*?\{([^}]*)\}", text)
    return {name: [s.strip() for s in states.split(",")] for name, states in found}


def write_cases(path: Path, network: Path, count: int, observed: int, seed: int) -> list[dict[str, str]]:
    """`count` rows, each observing `observed` random nodes in a random state;
    returns the first 1000 for the runs alone."""
    states = states_of(network)
    names = sorted(states)
    rng = random.Random(seed)
    kept = []
    with path.open("w", newline="") as out:
        writer = csv.writer(out)
        writer.writerow(names)
        for row in range(count):
            chosen = dict((name, rng.choice(states[name])) for name in rng.sample(names, observed))
            writer.writerow([chosen.get(name, "") for name in names])
            if row < 1000:
                kept.append(chosen)
    return kept


def peak_memory(command: list[str]) -> tuple[float, int]:
    """Wall seconds and peak resident KiB, as /usr/bin/time -v reports them."""
    start = time.perf_counter()
    run = subprocess.run(["/usr/bin/time", "-v", *command], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                         text=True, check=True)
    seconds = time.perf_counter() - start
    peak = int(re.search(r"Maximum resident set size \(kbytes\): (\d+)", run.stderr).group(1))
    return seconds, peak


def memory(arguments, scratch: Path) -> None:
    network = NETWORKS / f"{arguments.network}.bif.gz"
    cases = scratch / "cases.csv"
    write_cases(cases, network, arguments.cases, 2, seed=1)
    print(f"{arguments.cases:,} cases of {network.name} (two nodes observed each), "
          f"{cases.stat().st_size / 2**20:.1f} MiB of CSV")
    for jobs in arguments.jobs:
        command = [arguments.cli, "batch", str(network), str(cases), "-a", arguments.algorithm, "--seed", "1",
                   "-j", str(jobs), "-o", str(scratch / "out.csv")]
        seconds, peak = peak_memory(command)
        print(f"-j {jobs}: {seconds:.1f} s, peak resident memory {peak / 1024:.1f} MiB"
              f" ({arguments.cases / seconds:,.0f} cases/s)", flush=True)


def children_cpu(command: list[str]) -> float:
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def overhead(arguments, scratch: Path) -> None:
    network = NETWORKS / f"{arguments.network}.bif.gz"
    cases = scratch / "cases.csv"
    kept = write_cases(cases, network, arguments.cases, arguments.observed, seed=1)
    common = ["-a", arguments.algorithm, "-n", str(arguments.samples)]
    batch_cpu = children_cpu([arguments.cli, "batch", str(network), str(cases), *common, "--seed", "1", "-j", "1",
                              "-o", str(scratch / "out.csv")])
    # A run alone: the CPU of `infer` for the case, less that of starting
    # and reading the network (`info` on the same file).
    start_up = sum(children_cpu([arguments.cli, "info", str(network)]) for _ in range(20)) / 20
    alone = []
    for index, case in enumerate(kept[: arguments.alone]):
        command = [arguments.cli, "infer", str(network), *common, "--seed", str(case_seed(1, index))]
        for name, state in case.items():
            command += ["-e", f"{name}={state}"]
        alone.append(children_cpu(command) - start_up)
    per_case = 1000 * batch_cpu / arguments.cases
    run_alone = 1000 * sum(alone) / len(alone)
    print(f"{network.name}, {arguments.algorithm}, -n {arguments.samples}, {arguments.observed} nodes observed")
    print(f"batch -j 1: {arguments.cases} cases, {batch_cpu:.2f} CPU s, {per_case:.3f} ms per case")
    print(f"run alone ({len(alone)} of the same cases through infer, less {1000 * start_up:.2f} ms of start-up): "
          f"{run_alone:.3f} ms per run")
    print(f"ratio: {per_case / run_alone:.2f}")


def case_seed(run_seed: int, index: int) -> int:
    """lib/batch's caseSeed: splitmix64's finaliser, low 15 bits."""
    mask = 2**64 - 1
    z = (run_seed * 0x9E3779B97F4A7C15 + index + 1) & mask
    z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & mask
    z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & mask
    z ^= z >> 31
    return z & 0x7FFF


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("what", choices=["memory", "overhead"])
    parser.add_argument("--cli", default=str(ROOT / "build" / "cli" / "samplenet"))
    parser.add_argument("--network", default=None)
    parser.add_argument("--algorithm", default=None)
    parser.add_argument("--cases", type=int, default=None)
    parser.add_argument("--jobs", type=int, nargs="+", default=[1, 2])
    parser.add_argument("--samples", type=int, default=10_000)
    parser.add_argument("--observed", type=int, default=7, help="nodes observed per case (overhead)")
    parser.add_argument("--alone", type=int, default=200, help="cases run alone through infer (overhead)")
    arguments = parser.parse_args()
    memory_run = arguments.what == "memory"
    arguments.network = arguments.network or ("asia" if memory_run else "alarm")
    arguments.algorithm = arguments.algorithm or ("exact" if memory_run else "epis")
    arguments.cases = arguments.cases or (1_000_000 if memory_run else 1000)
    print("load average at start: {:.1f} {:.1f} {:.1f}".format(*__import__("os").getloadavg()))
    with tempfile.TemporaryDirectory() as scratch:
        (memory if memory_run else overhead)(arguments, Path(scratch))


if __name__ == "__main__":
    main()
