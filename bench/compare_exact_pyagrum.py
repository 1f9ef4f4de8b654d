#!/usr/bin/env python3
"""Exact inference against pyAgrum's LazyPropagation, in memory, case by case.

    python3 bench/compare_exact_pyagrum.py [--samplenet build/cli/samplenet] [--repeats 3] NET.bif.gz ...

Both run in this process and are timed in CPU seconds of the process,
interleaved: for each evidence case samplenet, then pyAgrum, `--repeats`
times, keeping each one's median. samplenet runs through its Python package
(`Network.infer(algorithm="exact")`, which plans and fills a junction tree for
the case); pyAgrum gets the same tables (`Network.to_pyagrum()`) and a fresh
LazyPropagation for each case, and is also timed with one LazyPropagation kept
for all the cases of a network. Both read every node's posterior. The evidence cases (likely and unlikely) are those of
`samplenet bench --format json`, generated once per network and kept in
--cases-dir. Prints a Markdown table: median milliseconds per case by network
and evidence kind, and the largest difference between the two's posteriors.
Needs the samplenet package and `pip install pyagrum`; not part of the build
or the tests.
"""
import argparse
import json
import os
import statistics
import subprocess
import tempfile
import time

import pyagrum as gum

import samplenet


def cases_of(network_path, cli, cases_dir):
    name = os.path.basename(network_path).split(".")[0]
    cached = os.path.join(cases_dir, name + ".json")
    if not os.path.exists(cached):
        report = subprocess.run([cli, "bench", network_path, "-a", "lbp", "--iterations", "1", "--format", "json"],
                                check=True, capture_output=True, text=True).stdout
        with open(cached, "w") as out:
            out.write(report)
    with open(cached) as report:
        return json.load(report)["cases"]


def cpu_seconds(run):
    start = time.process_time()
    answer = run()
    return time.process_time() - start, answer


def run_samplenet(network, evidence):
    result = network.infer(evidence=evidence, algorithm="exact")
    return {name: list(result[name]) for name in network.nodes}


def run_pyagrum(bn, evidence, engine=None):
    engine = engine or gum.LazyPropagation(bn)
    engine.setEvidence(evidence)
    engine.makeInference()
    return {name: list(engine.posterior(name).toarray()) for name in bn.names()}


def largest_difference(ours, theirs):
    return max(abs(a - b) for name in ours for a, b in zip(ours[name], theirs[name]))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("networks", nargs="+")
    parser.add_argument("--samplenet", default="build/cli/samplenet", help="command line that generates the cases")
    parser.add_argument("--cases-dir", default=os.path.join(tempfile.gettempdir(), "samplenet-exact-cases"))
    parser.add_argument("--repeats", type=int, default=3)
    arguments = parser.parse_args()
    os.makedirs(arguments.cases_dir, exist_ok=True)

    print("| network | evidence | cases | samplenet ms | pyAgrum ms | pyAgrum ms, engine kept | samplenet / pyAgrum "
          "(best of the two) | max difference |")
    print("|---|---|---|---|---|---|---|---|")
    for path in arguments.networks:
        network = samplenet.load(path)
        bn = network.to_pyagrum()
        kept = gum.LazyPropagation(bn)
        cases = cases_of(path, arguments.samplenet, arguments.cases_dir)
        for kind in ("likely", "unlikely"):
            chosen = [c["assignments"] for c in cases if c["evidence"] == kind]
            if not chosen:
                continue
            runs = {
                "samplenet": lambda evidence: run_samplenet(network, evidence),
                "pyagrum": lambda evidence: run_pyagrum(bn, evidence),
                "kept": lambda evidence: run_pyagrum(bn, evidence, kept),
            }
            medians = {who: [] for who in runs}
            difference = 0.0
            for evidence in chosen:
                times = {who: [] for who in runs}
                for _ in range(arguments.repeats):
                    answers = {}
                    for who, run in runs.items():
                        seconds, answers[who] = cpu_seconds(lambda: run(evidence))
                        times[who].append(seconds)
                difference = max(difference, largest_difference(answers["samplenet"], answers["pyagrum"]),
                                 largest_difference(answers["samplenet"], answers["kept"]))
                for who in runs:
                    medians[who].append(statistics.median(times[who]))
            ms = {who: statistics.median(values) * 1000 for who, values in medians.items()}
            name = os.path.basename(path).split(".")[0]
            print(f"| {name} | {kind} | {len(chosen)} | {ms['samplenet']:.2f} | {ms['pyagrum']:.2f} | "
                  f"{ms['kept']:.2f} | {ms['samplenet'] / min(ms['pyagrum'], ms['kept']):.2f} | {difference:.1e} |",
                  flush=True)


if __name__ == "__main__":
    main()
