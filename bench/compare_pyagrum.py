#!/usr/bin/env python3
"""Runs pyAgrum's approximate algorithms on the evidence cases of a
`samplenet bench --format json` report, for a side-by-side comparison.

    samplenet bench NET.bif.gz --format json > cases.json
    python3 bench/compare_pyagrum.py NET.bif.gz cases.json [--samples N]

Ground truth is pyAgrum's own exact inference (LazyPropagation). Needs
`pip install pyagrum`; not part of the build or the tests.
"""
import argparse
import gzip
import json
import math
import os
import statistics
import tempfile
import time

import pyagrum as gum


def load(path):
    if not path.endswith(".gz"):
        return gum.loadBN(path)
    with gzip.open(path, "rt") as compressed, tempfile.NamedTemporaryFile("w", suffix=".bif", delete=False) as plain:
        plain.write(compressed.read())
    try:
        return gum.loadBN(plain.name)
    finally:
        os.unlink(plain.name)


def hellinger(p, q):
    return math.sqrt(sum((math.sqrt(a) - math.sqrt(b)) ** 2 for a, b in zip(p, q)) / 2)


def posteriors(engine, bn, evidence):
    engine.setEvidence(evidence)
    start = time.perf_counter()
    engine.makeInference()
    seconds = time.perf_counter() - start
    return seconds, {name: list(engine.posterior(name).toarray()) for name in bn.names() if name not in evidence}


def sampler(kind, samples):
    def make(bn):
        engine = kind(bn)
        # Stop on the sample count alone, like samplenet.
        engine.setMaxIter(samples)
        engine.setEpsilon(1e-300)
        engine.setMinEpsilonRate(1e-300)
        engine.setMaxTime(1e9)
        return engine
    return make


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("network")
    parser.add_argument("report")
    parser.add_argument("--samples", type=int, default=10000)
    arguments = parser.parse_args()
    bn = load(arguments.network)
    cases = json.load(open(arguments.report))["cases"]
    algorithms = {
        "ImportanceSampling": sampler(gum.ImportanceSampling, arguments.samples),
        "WeightedSampling": sampler(gum.WeightedSampling, arguments.samples),
        "LoopyBeliefPropagation": gum.LoopyBeliefPropagation,
    }
    print(f"{'evidence':9} {'algorithm':24} {'samples':>8} {'median ms':>10} {'mean H':>8} {'max H':>8}")
    for kind in ("likely", "unlikely"):
        chosen = [c for c in cases if c["evidence"] == kind]
        if not chosen:
            continue
        exact = [posteriors(gum.LazyPropagation(bn), bn, c["assignments"])[1] for c in chosen]
        for name, make in algorithms.items():
            times, means, worst = [], [], 0.0
            for case, truth in zip(chosen, exact):
                seconds, approximate = posteriors(make(bn), bn, case["assignments"])
                distances = [hellinger(approximate[v], truth[v]) for v in truth]
                times.append(seconds)
                means.append(sum(distances) / len(distances))
                worst = max(worst, max(distances))
            samples = arguments.samples if "Sampling" in name else "-"
            print(f"{kind:9} {name:24} {samples:>8} {statistics.median(times) * 1000:>10.2f} "
                  f"{statistics.mean(means):>8.4f} {worst:>8.4f}")


if __name__ == "__main__":
    main()
