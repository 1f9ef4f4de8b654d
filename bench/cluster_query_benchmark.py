#!/usr/bin/env python3
"""Seconds of one EPIS-BN query: one process with one thread, one process
with two threads (--jobs 2), and a distributed.LocalCluster of two worker
processes drawing two shares (Network.infer(client=...)), whose answer must
equal the two threads' bit for bit.

    python bench/cluster_query_benchmark.py [--network data/networks/pigs.bif.gz]
        [--samples 2000000] [--repeats 3]

Each figure is the median wall time of the repeats; the cluster is started
once, before the first timed query. The machine's load (os.getloadavg) is
printed beside the figures."""

from __future__ import annotations

import argparse
import os
import statistics
import time
from pathlib import Path

import numpy as np

import samplenet

NETWORKS = Path(__file__).resolve().parents[1] / "data" / "networks"


def median_seconds(run, repeats):
    times, result = [], None
    for _ in range(repeats):
        start = time.perf_counter()
        result = run()
        times.append(time.perf_counter() - start)
    return statistics.median(times), result


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--network", default=str(NETWORKS / "pigs.bif.gz"))
    parser.add_argument("--samples", type=int, default=2_000_000)
    parser.add_argument("--repeats", type=int, default=3)
    arguments = parser.parse_args()

    from distributed import Client, LocalCluster

    network = samplenet.load(arguments.network)
    settings = dict(algorithm="epis", samples=arguments.samples, seed=1)
    rows = []
    one, _ = median_seconds(lambda: network.infer(jobs=1, **settings), arguments.repeats)
    rows.append(("one process, 1 thread", one))
    threads, local = median_seconds(lambda: network.infer(jobs=2, **settings), arguments.repeats)
    rows.append(("one process, 2 threads (jobs=2)", threads))
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        shared, on_cluster = median_seconds(lambda: network.infer(client=client, **settings), arguments.repeats)
    rows.append(("LocalCluster, 2 worker processes (2 shares)", shared))
    same = all(np.array_equal(local[node], on_cluster[node]) for node in local)

    print(f"{Path(arguments.network).name}: {len(network)} nodes, epis, {arguments.samples} samples, "
          f"median of {arguments.repeats}; load average {os.getloadavg()[0]:.2f} after the runs")
    print("| run | seconds | speed-up |")
    print("|---|---|---|")
    for name, seconds in rows:
        print(f"| {name} | {seconds:.2f} | {one / seconds:.2f}x |")
    print(f"cluster answer equals jobs=2 bit for bit: {same}")


if __name__ == "__main__":
    main()
