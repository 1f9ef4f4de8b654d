#!/usr/bin/env python3
"""Cases per second of batch inference: Network.infer_many with 1, 2 and all
cores, the command line's `samplenet batch`, and samplenet.dask on a
distributed.LocalCluster.

    python bench/batch_benchmark.py [--cli build/cli/samplenet] [--cases 1000]

Cases are forward samples of the network with a fifth of the nodes observed
(so every case is possible), written to a CSV file that every runner reads."""

from __future__ import annotations

import argparse
import os
import resource
import subprocess
import tempfile
import time
from pathlib import Path

import numpy as np
import pandas as pd

import samplenet
import samplenet.dask

NETWORKS = Path(__file__).resolve().parents[1] / "data" / "networks"


def forward_cases(network, count, observed_fraction, rng) -> pd.DataFrame:
    """Ancestral samples; each case keeps a random fifth of the nodes."""
    order, placed = [], set()
    while len(order) < len(network):
        for node in network.nodes:
            if node not in placed and all(p in placed for p in network.parents(node)):
                order.append(node)
                placed.add(node)
    index = {}
    for node in order:
        table = network.table(node)
        parents = [index[p] for p in network.parents(node)]
        columns = table[tuple(parents)] if parents else np.broadcast_to(table, (count, table.shape[-1]))
        cumulative = np.cumsum(columns, axis=-1)
        draws = rng.random(count)[:, None]
        index[node] = np.minimum((draws > cumulative).sum(axis=-1), table.shape[-1] - 1)
    observed = max(1, round(observed_fraction * len(network)))
    cells = {n: np.array(network.states(n), dtype=object)[index[n]] for n in network.nodes}
    table = pd.DataFrame(cells)[network.nodes]
    mask = np.zeros(table.shape, dtype=bool)
    for row in range(count):
        mask[row, rng.choice(len(network), observed, replace=False)] = True
    return table.where(mask)


def timed(run):
    start = time.perf_counter()
    result = run()
    return time.perf_counter() - start, result


def cpu_of_children(run):
    """Seconds of CPU that `run`'s child processes and theirs used: with
    wall time and process count, it shows whether the processes got their
    cores or shared them with other work."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    run()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--cli", default=str(NETWORKS.parents[1] / "build" / "cli" / "samplenet"))
    parser.add_argument("--networks", nargs="+", default=["alarm", "hailfinder"])
    parser.add_argument("--cases", type=int, default=1000, help="cases per EPIS-BN run (exact runs 5 times as many)")
    parser.add_argument("--no-dask", action="store_true")
    arguments = parser.parse_args()
    cores = os.cpu_count()
    # Other work on the machine takes cores away from the parallel runs.
    print("load average at start: {:.1f} {:.1f} {:.1f}".format(*os.getloadavg()))
    rows = []
    cluster = client = None
    if not arguments.no_dask:
        import dask.dataframe as dd
        from distributed import Client, LocalCluster

        startup, cluster = timed(lambda: LocalCluster(n_workers=cores, threads_per_worker=1, processes=True,
                                                      dashboard_address=None))
        client = Client(cluster)
        print(f"LocalCluster with {cores} worker processes started in {startup:.2f} s")
    with tempfile.TemporaryDirectory() as scratch:
        for name in arguments.networks:
            path = NETWORKS / f"{name}.bif.gz"
            network = samplenet.load(path)
            for algorithm, samples, count in [("epis", 10_000, arguments.cases), ("exact", 1, 5 * arguments.cases)]:
                cases = forward_cases(network, count, 0.2, np.random.default_rng(1))
                cases_path = Path(scratch) / f"{name}.csv"
                cases.to_csv(cases_path, index=False)
                common = dict(algorithm=algorithm, samples=samples, seed=1)

                def record(runner, jobs, seconds, done, cpu=None):
                    rows.append((name, algorithm, runner, jobs, done, seconds, cpu))
                    print(f"{name:10} {algorithm:5} {runner:24} jobs={jobs}: {done} cases in {seconds:.2f} s,"
                          f" {done / seconds:,.0f} cases/s" + (f", {cpu:.2f} CPU s" if cpu else ""), flush=True)

                for jobs in sorted({1, 2, cores}):
                    cpu_start = time.process_time()
                    seconds, table = timed(lambda: network.infer_many(cases, jobs=jobs, **common))
                    own_cpu = time.process_time() - cpu_start if jobs == 1 else None  # workers' is not ours to see
                    record("infer_many", jobs, seconds, len(table), own_cpu)
                if Path(arguments.cli).is_file():
                    for jobs in sorted({1, 2, cores}):
                        command = [arguments.cli, "batch", str(path), str(cases_path), "-a", algorithm,
                                   "-n", str(samples), "--seed", "1", "-j", str(jobs), "-o", os.devnull]
                        run = lambda: subprocess.run(command, check=True, stderr=subprocess.DEVNULL)  # noqa: E731
                        seconds, cpu = timed(lambda: cpu_of_children(run))
                        record("samplenet batch (C++)", jobs, seconds, count, cpu)
                if client is not None:
                    partitions = dd.from_pandas(cases, npartitions=4 * cores)
                    seconds, table = timed(lambda: samplenet.dask.infer_many(path, partitions, **common).compute())
                    record("dask LocalCluster", cores, seconds, len(table))
    if client is not None:
        client.close()
        cluster.close()
    print("load average at end: {:.1f} {:.1f} {:.1f}".format(*os.getloadavg()))
    print("\n| network | algorithm | runner | processes | cases | wall s | cases/s | CPU s | CPU ms/case |")
    print("|---|---|---|---:|---:|---:|---:|---:|---:|")
    for name, algorithm, runner, jobs, done, seconds, cpu in rows:
        cpu_text = f"{cpu:.2f} | {1000 * cpu / done:.2f}" if cpu else "- | -"
        print(f"| {name} | {algorithm} | {runner} | {jobs} | {done} | {seconds:.2f} | {done / seconds:,.0f} "
              f"| {cpu_text} |")


if __name__ == "__main__":
    main()
