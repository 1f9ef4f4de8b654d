#!/usr/bin/env python3
"""How honest the error bars of a sampled Network.impact are: over many
seeds, how often each candidate's mutual information lies within 1 and 2
standard errors of the exact value, and the mean reported error against
the actual root mean square error.

    python bench/impact_error_coverage.py [--network alarm] [--target LVFAILURE]
        [--evidence BP=LOW --evidence HRSAT=HIGH] [--algorithm epis] [--samples 5000] [--seeds 20]
"""

from __future__ import annotations

import argparse
import math
import warnings
from pathlib import Path

import samplenet

NETWORKS = Path(__file__).resolve().parents[1] / "data" / "networks"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--network", default="alarm")
    parser.add_argument("--target", default="LVFAILURE")
    parser.add_argument("--evidence", action="append", default=None, help="NODE=STATE; repeatable")
    parser.add_argument("--algorithm", default="epis")
    parser.add_argument("--samples", type=int, default=5000)
    parser.add_argument("--seeds", type=int, default=20)
    arguments = parser.parse_args()
    evidence = dict(item.split("=", 1) for item in (arguments.evidence or ["BP=LOW", "HRSAT=HIGH"]))
    network = samplenet.load(NETWORKS / f"{arguments.network}.bif.gz")
    exact = {c.node: c.mutual_information
             for c in network.impact(arguments.target, evidence=evidence, algorithm="exact").candidates}
    within1 = within2 = count = 0
    reported = squares = 0.0
    for seed in range(arguments.seeds):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            impact = network.impact(arguments.target, evidence=evidence, algorithm=arguments.algorithm,
                                    samples=arguments.samples, seed=seed)
        for candidate in impact.candidates:
            error = abs(candidate.mutual_information - exact[candidate.node])
            within1 += error <= candidate.standard_error
            within2 += error <= 2 * candidate.standard_error
            reported += candidate.standard_error
            squares += error * error
            count += 1
    print(f"{arguments.network}, target {arguments.target}, evidence {evidence}, {arguments.algorithm} "
          f"{arguments.samples} samples, {arguments.seeds} seeds, {count} candidate estimates")
    print(f"within 1 standard error: {within1 / count:.1%}; within 2: {within2 / count:.1%}")
    print(f"mean reported error {reported / count:.3g}, actual root mean square error "
          f"{math.sqrt(squares / count):.3g}")


if __name__ == "__main__":
    main()
