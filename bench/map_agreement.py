#!/usr/bin/env python3
"""Sampled most probable states of chosen nodes against the exact ones.

    python3 bench/map_agreement.py [--samplenet build/cli/samplenet] [--sets 40] [--samples 20000] \
        [--algorithm epis] [--seed 1] NET.bif.gz ...

For each network, `--sets` random sets of three nodes, each with one other
node observed in a random state of positive probability: `samplenet infer
--mpe -q ...` with `-a exact` and with the sampler (fixed seed), both as JSON.
Counts the sets where the sampled answer equals the exact one, and, among
those where it does not, the ones where the exact joint posterior's best and
second best entries lie within 1% of each other (near ties, where the
sampler's error can decide). Prints a Markdown table (with --verbose, each
clear difference too). Not part of the build
or the tests.
"""
import argparse
import json
import random
import subprocess
import time


def run(cli, args):
    done = subprocess.run([cli, "infer", *args, "--format", "json"], capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(done.stderr)
    return json.loads(done.stdout)


def node_names(cli, path):
    return [posterior["node"] for posterior in run(cli, [path, "-a", "exact"])["posteriors"]]


def random_case(cli, path, nodes, rng):
    """Three query nodes and one observed node in a state of positive probability."""
    while True:
        chosen = rng.sample(nodes, 4)
        observed = chosen[3]
        marginal = run(cli, [path, "-a", "exact", "-q", observed])["posteriors"][0]
        states = [s for s, p in zip(marginal["states"], marginal["probabilities"]) if p > 1e-4]
        if states:
            return chosen[:3], f"{observed}={rng.choice(states)}"


def margin(cli, path, query, evidence):
    """Relative gap between the best and second best entries of the exact joint."""
    table = sorted(run(cli, [path, "-a", "exact", "-e", evidence, "--joint", ",".join(query)])["probabilities"],
                   reverse=True)
    return (table[0] - table[1]) / table[0]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("networks", nargs="+")
    parser.add_argument("--samplenet", default="build/cli/samplenet")
    parser.add_argument("--sets", type=int, default=40)
    parser.add_argument("--samples", type=int, default=20000)
    parser.add_argument("--algorithm", default="epis")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--verbose", action="store_true", help="print each clear difference as an HTML comment")
    options = parser.parse_args()
    rng = random.Random(options.seed)
    print(f"| network | sets | sampled = exact | differ, near tie (<1%) | differ, clear | mean seconds ({options.algorithm}) |")
    print("|---|---|---|---|---|---|")
    for path in options.networks:
        nodes = node_names(options.samplenet, path)
        agree = ties = clear = 0
        seconds = 0.0
        for _ in range(options.sets):
            query, evidence = random_case(options.samplenet, path, nodes, rng)
            asked = [path, "-e", evidence, "--mpe"] + [arg for node in query for arg in ("-q", node)]
            exact = run(options.samplenet, asked + ["-a", "exact"])
            start = time.monotonic()
            sampled = run(options.samplenet, asked + ["-a", options.algorithm, "-n", str(options.samples),
                                                      "--seed", str(rng.randrange(1, 30000))])
            seconds += time.monotonic() - start
            if sampled["explanation"] == exact["explanation"]:
                agree += 1
            elif margin(options.samplenet, path, query, evidence) < 0.01:
                ties += 1
            else:
                clear += 1
                if options.verbose:
                    print(f"<!-- {path} {query} {evidence}: exact {exact['explanation']} "
                          f"{exact['ln_joint_probability']:.4f}, sampled {sampled['explanation']} "
                          f"{sampled['ln_joint_probability']:.4f} ± {sampled['ln_joint_probability_standard_error']:.3f}"
                          f" ({sampled['chosen_because']}) -->", flush=True)
        name = path.split("/")[-1].split(".")[0]
        print(f"| {name} | {options.sets} | {agree} | {ties} | {clear} | {seconds / options.sets:.2f} |", flush=True)


if __name__ == "__main__":
    main()
