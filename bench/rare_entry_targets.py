#!/usr/bin/env python3
"""How often a target-error run that claims "met" truly met its target, on
queried nodes with a rare posterior entry.

Each case is a network, evidence and one queried node (-q). The script runs
`samplenet infer -a epis -q NODE --target-error E --seed S` over several
seeds, compares the queried node's posterior with `-a exact`, and counts the
runs that claimed the target met and those whose largest true error was
within it. Cases are the fixed one below and, per network, evidence drawn by
forward sampling (a fifth of the nodes observed), querying the unobserved
node with the smallest exact posterior entry between 0.002 and 0.02.

    python3 bench/rare_entry_targets.py --samplenet build/cli/samplenet
"""

import argparse
import csv
import io
import json
import random
import subprocess
import sys

FIXED_CASES = [
    ("alarm", ["FIO2=NORMAL", "VENTLUNG=LOW", "ERRLOWOUTPUT=FALSE", "HRSAT=HIGH", "HREKG=HIGH",
               "SHUNT=NORMAL", "KINKEDTUBE=FALSE"], "ERRCAUTER"),
]
RARE_LOW, RARE_HIGH = 0.002, 0.02


def run_json(command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        return None
    return json.loads(done.stdout)


def evidence_options(evidence):
    return [part for assignment in evidence for part in ("-e", assignment)]


def exact_posteriors(samplenet, path, evidence):
    answer = run_json([samplenet, "infer", path, "-a", "exact", "--format", "json", *evidence_options(evidence)])
    return {p["node"]: p["probabilities"] for p in answer["posteriors"]} if answer else None


def drawn_cases(samplenet, network, path, count, seed):
    """Evidence from forward samples, each with the node whose rarest entry lies in the rare band."""
    rows = subprocess.run([samplenet, "sample", path, "-n", str(count), "--seed", str(seed)],
                          capture_output=True, text=True, check=True).stdout
    table = list(csv.DictReader(io.StringIO(rows)))
    chooser = random.Random(seed)
    cases = []
    for row in table:
        names = sorted(row)
        evidence = [f"{name}={row[name]}" for name in chooser.sample(names, max(1, len(names) // 5))]
        exact = exact_posteriors(samplenet, path, evidence)
        observed = {assignment.split("=")[0] for assignment in evidence}
        rare = [(min(p for p in probabilities if p >= RARE_LOW), node) for node, probabilities in exact.items()
                if node not in observed and any(RARE_LOW <= p <= RARE_HIGH for p in probabilities)]
        if rare:
            cases.append((network, evidence, min(rare)[1]))
    return cases


def measure(samplenet, path, evidence, node, target, seeds, extra):
    exact = exact_posteriors(samplenet, path, evidence)[node]
    claimed = truly = claimed_and_true = drawn = 0
    for seed in seeds:
        answer = run_json([samplenet, "infer", path, "-a", "epis", "-q", node, "--target-error", str(target),
                           "--seed", str(seed), "--format", "json", *extra, *evidence_options(evidence)])
        if answer is None:
            continue
        estimate = answer["posteriors"][0]["probabilities"]
        within = max(abs(a - b) for a, b in zip(estimate, exact)) <= target
        met = bool(answer.get("target_met"))
        claimed += met
        truly += within
        claimed_and_true += met and within
        drawn += answer["samples_drawn"]
    return {"claimed": claimed, "truly": truly, "claimed_and_true": claimed_and_true,
            "mean_drawn": drawn / len(seeds), "smallest_exact": min(exact)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--samplenet", default="build/cli/samplenet")
    parser.add_argument("--networks", nargs="*", default=["alarm", "insurance", "win95pts", "hailfinder"])
    parser.add_argument("--cases", type=int, default=4, help="forward samples drawn per network")
    parser.add_argument("--seeds", type=int, default=10)
    parser.add_argument("--target", type=float, nargs="*", default=[0.005])
    parser.add_argument("--fixed-seeds", type=int, default=20, help="seeds for the fixed case")
    parser.add_argument("extra", nargs="*", help="more options for infer, after --, e.g. -- -n 1000000")
    options = parser.parse_args()
    cases = [(case, options.fixed_seeds) for case in FIXED_CASES if options.fixed_seeds > 0]
    for network in options.networks:
        path = f"data/networks/{network}.bif.gz"
        cases += [(case, options.seeds) for case in drawn_cases(options.samplenet, network, path, options.cases, 7)]
    print("| network | query | smallest exact entry | target | claimed met | truly met | claimed and true | mean samples |")
    print("|---|---|---|---|---|---|---|---|")
    totals = {}
    for (network, evidence, node), seeds in cases:
        path = f"data/networks/{network}.bif.gz"
        for target in options.target:
            result = measure(options.samplenet, path, evidence, node, target, range(1, seeds + 1), options.extra)
            total = totals.setdefault(target, [0, 0, 0, 0])
            for k, key in enumerate(("claimed", "truly", "claimed_and_true")):
                total[k] += result[key]
            total[3] += seeds
            print(f"| {network} | {node} | {result['smallest_exact']:.4f} | {target} | {result['claimed']} of {seeds} "
                  f"| {result['truly']} of {seeds} | {result['claimed_and_true']} | {result['mean_drawn']:.0f} |")
            sys.stdout.flush()
    for target, (claimed, truly, both, runs) in totals.items():
        print(f"\ntarget {target}: {runs} runs, claimed met {claimed}, truly met {truly}, "
              f"claims that were true {both} of {claimed}")


if __name__ == "__main__":
    main()
