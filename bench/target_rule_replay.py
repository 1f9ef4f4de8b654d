#!/usr/bin/env python3
"""Replays the rounds of epis target runs to compare stopping rules offline.

A target run draws 1,000 samples, then doubles what it has, up to its cap,
checking its error after each round. With one job, `infer -n N --seed S`
adds up exactly the samples of the round that ends at N, so running
N = 1,000, 2,000, ..., and the cap gives every round's estimates. Each rule
below then picks the round it would stop at; the script counts the runs that
claim the target met and the claims that are true against exact inference.
Cases are those of rare_entry_targets.py (the fixed alarm case and evidence
drawn by forward sampling).

    python3 bench/target_rule_replay.py --samplenet build/cli/samplenet --target 0.005
"""

import argparse

import rare_entry_targets as cases_of

FIRST_ROUND = 1000


def rounds(cap):
    sizes, size = [], FIRST_ROUND
    while size < cap:
        sizes.append(size)
        size *= 2
    return sizes + [cap]


def replay(samplenet, path, evidence, node, seed, cap):
    states = []
    for samples in rounds(cap):
        answer = cases_of.run_json([samplenet, "infer", path, "-a", "epis", "-q", node, "-n", str(samples),
                                    "--seed", str(seed), "--format", "json", *cases_of.evidence_options(evidence)])
        states.append({"samples": samples, "estimate": answer["posteriors"][0]["probabilities"],
                       "bound": answer["error_bound"], "ess": answer["effective_sample_size"]})
    return states


def moved(states, k):
    return max(abs(a - b) for a, b in zip(states[k]["estimate"], states[k - 1]["estimate"]))


# Whether each rule stops after round k; all need the reliable sample size.
RULES = {
    "bound (today)": lambda s, k, target: s[k]["bound"] <= target,
    "bound + change over the doubling": lambda s, k, target: k > 0 and s[k]["bound"] + moved(s, k) <= target,
    "bound, and change within half": lambda s, k, target: k > 0 and s[k]["bound"] <= target and
    moved(s, k) <= target / 2,
}


def outcome(states, rule, target, exact):
    for k, state in enumerate(states):
        if state["ess"] >= 100 and rule(states, k, target):
            return True, max(abs(a - b) for a, b in zip(state["estimate"], exact)) <= target, state["samples"]
    return False, False, states[-1]["samples"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--samplenet", default="build/cli/samplenet")
    parser.add_argument("--networks", nargs="*", default=["alarm", "insurance", "win95pts"])
    parser.add_argument("--cases", type=int, default=4, help="forward samples drawn per network")
    parser.add_argument("--seeds", type=int, default=10)
    parser.add_argument("--fixed-seeds", type=int, default=20, help="seeds for the fixed case")
    parser.add_argument("--target", type=float, default=0.005)
    parser.add_argument("--cap", type=int, default=1000000)
    options = parser.parse_args()
    cases = [(case, options.fixed_seeds) for case in cases_of.FIXED_CASES if options.fixed_seeds > 0]
    for network in options.networks:
        path = f"data/networks/{network}.bif.gz"
        cases += [(case, options.seeds) for case in cases_of.drawn_cases(options.samplenet, network, path,
                                                                          options.cases, 7)]
    print("| network | query | smallest exact entry | " +
          " | ".join(f"{name}: claimed / true / mean samples" for name in RULES) + " |")
    print("|---|---|---|" + "---|" * len(RULES))
    totals = {name: [0, 0, 0, 0] for name in RULES}
    for (network, evidence, node), seeds in cases:
        path = f"data/networks/{network}.bif.gz"
        exact = cases_of.exact_posteriors(options.samplenet, path, evidence)[node]
        runs = [replay(options.samplenet, path, evidence, node, seed, options.cap) for seed in range(1, seeds + 1)]
        cells = []
        for name, rule in RULES.items():
            results = [outcome(states, rule, options.target, exact) for states in runs]
            claimed = sum(met for met, _, _ in results)
            true = sum(met and within for met, within, _ in results)
            drawn = sum(samples for _, _, samples in results)
            for k, value in enumerate((claimed, true, seeds, drawn)):
                totals[name][k] += value
            cells.append(f"{claimed} of {seeds} / {true} / {drawn / seeds:,.0f}")
        print(f"| {network} | {node} | {min(exact):.4f} | " + " | ".join(cells) + " |", flush=True)
    for name, (claimed, true, runs, drawn) in totals.items():
        print(f"\n{name}: {runs} runs, claimed met {claimed}, claims that were true {true}, "
              f"mean samples {drawn / runs:,.0f}")


if __name__ == "__main__":
    main()
