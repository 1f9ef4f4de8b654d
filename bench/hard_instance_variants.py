#!/usr/bin/env python3
"""Instances of the same kinds as data/uai2014, beyond that development set,
with reference marginals from samplenet's own exact inference.

    python3 bench/hard_instance_variants.py findings --out DIR [--per-network 2] [--seed 1]
    python3 bench/hard_instance_variants.py pedigree --out DIR [--count 6] [--seed 1]

`findings`: each diagnosis network of data/uai2014 with other findings.
Its findings are its childless nodes, all observed present in the
published evidence. A variant observes a random subset of them present (at
least two, at most all but one) and each of the others, with probability
one half, absent: evidence of the same kind, unlikely, and possible
whenever exact inference finds it so (variants it finds impossible are
drawn again).

`pedigree`: synthetic genetic pedigrees. Founder couples have children;
each generation's children marry each other across nuclear families, or
marry in, which closes loops from the second generation on. Per person and
locus there is a paternal and a maternal allele (two states); a non-founder
has a selector per parent and locus saying which of that parent's alleles
it inherited (0/1 tables: Mendelian inheritance), linked to the previous
locus's selector by a recombination fraction. Locus 0 carries a disease
with recessive penetrance (affected or not); the other loci are markers
observed as unordered genotypes (three states, a 0/1 table). Evidence is a
forward sample's phenotypes and typed genotypes of a share of the persons:
always possible, and far from likely.

Every instance is written as NAME.uai (BAYES, child last), NAME.uai.evid and
NAME.uai.MAR (from `samplenet infer -a exact --memory-limit GIB`); an
instance whose exact inference fails is dropped with a note. The folder is
then a set for `uai_benchmark DIR`.
"""

import argparse
import json
import os
import random
import subprocess
import sys


def read_uai(path):
    tokens = open(path).read().split()
    count = int(tokens[1])
    at = 2
    cards = [int(t) for t in tokens[at:at + count]]
    at += count
    factors = int(tokens[at])
    at += 1
    scopes = []
    for _ in range(factors):
        k = int(tokens[at])
        scopes.append([int(t) for t in tokens[at + 1:at + 1 + k]])
        at += 1 + k
    tables = []
    for _ in range(factors):
        k = int(tokens[at])
        tables.append([float(t) for t in tokens[at + 1:at + 1 + k]])
        at += 1 + k
    return cards, scopes, tables


def write_uai(path, cards, scopes, tables):
    with open(path, "w") as out:
        out.write("BAYES\n%d\n%s\n%d\n" % (len(cards), " ".join(map(str, cards)), len(scopes)))
        for scope in scopes:
            out.write("%d %s\n" % (len(scope), " ".join(map(str, scope))))
        for table in tables:
            out.write("\n%d\n%s\n" % (len(table), " ".join(repr(p) for p in table)))


def write_evidence(path, evidence):
    with open(path, "w") as out:
        out.write("%d %s\n" % (len(evidence), " ".join("%d %d" % (v, s) for v, s in sorted(evidence.items()))))


def exact_marginals(samplenet, uai, memory_gib):
    """Exact posteriors of every variable, or None (with the reason) when exact inference fails."""
    done = subprocess.run([samplenet, "infer", uai, "--evidence-file", uai + ".evid", "-a", "exact",
                           "--memory-limit", str(memory_gib), "--format", "json"],
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        return None, done.stderr.strip().splitlines()[-1] if done.stderr.strip() else "exit %d" % done.returncode
    answer = json.loads(done.stdout)
    return [entry["probabilities"] for entry in answer["posteriors"]], None


def write_reference(path, marginals):
    with open(path, "w") as out:
        out.write("MAR\n%d %s\n" % (len(marginals), " ".join(
            "%d %s" % (len(p), " ".join(repr(x) for x in p)) for p in marginals)))


def finish(args, name, cards, scopes, tables, evidence):
    """Writes the instance and its reference; returns whether exact inference answered."""
    uai = os.path.join(args.out, name + ".uai")
    write_uai(uai, cards, scopes, tables)
    write_evidence(uai + ".evid", evidence)
    marginals, failure = exact_marginals(args.samplenet, uai, args.memory_limit)
    if marginals is None:
        print("%s: dropped, exact inference failed: %s" % (name, failure), file=sys.stderr)
        for suffix in ("", ".evid"):
            os.remove(uai + suffix)
        return False
    write_reference(uai + ".MAR", marginals)
    print("%s: %d variables, %d observed" % (name, len(cards), len(evidence)), file=sys.stderr)
    return True


def findings_variants(args):
    rng = random.Random(args.seed)
    folder = args.data
    names = sorted(f[:-4] for f in os.listdir(folder) if f.startswith("Promedus_") and f.endswith(".uai"))
    for name in names:
        cards, scopes, tables = read_uai(os.path.join(folder, name + ".uai"))
        has_child = set(v for scope in scopes for v in scope[:-1])
        findings = [scope[-1] for scope in scopes if scope[-1] not in has_child and len(scope) > 1]
        if len(findings) < 3:
            continue
        made = 0
        for attempt in range(10 * args.per_network):
            if made == args.per_network:
                break
            present = rng.sample(findings, rng.randint(2, len(findings) - 1))
            evidence = {v: 1 for v in present}
            for v in findings:
                if v not in evidence and rng.random() < 0.5:
                    evidence[v] = 0
            if finish(args, "%s_f%d" % (name, made + 1), cards, scopes, tables, evidence):
                made += 1


class PedigreeBuilder:
    """A BAYES network built variable by variable, parents first."""

    def __init__(self):
        self.cards, self.scopes, self.tables = [], [], []

    def add(self, card, parents, table):
        v = len(self.cards)
        self.cards.append(card)
        self.scopes.append(list(parents) + [v])
        self.tables.append(table)
        return v


def allele_table(frequency):
    return [1.0 - frequency, frequency]


def inherited_table():
    # Parents (parent's paternal allele, parent's maternal allele, selector);
    # the child's allele is the one the selector picks.
    table = []
    for paternal in range(2):
        for maternal in range(2):
            for selector in range(2):
                allele = paternal if selector == 0 else maternal
                table += [1.0 if a == allele else 0.0 for a in range(2)]
    return table


def selector_table(theta):
    return [1.0 - theta, theta, theta, 1.0 - theta]


def genotype_table():
    # Unordered genotype of two alleles: 0 (both 0), 1 (mixed), 2 (both 1).
    table = []
    for paternal in range(2):
        for maternal in range(2):
            table += [1.0 if g == paternal + maternal else 0.0 for g in range(3)]
    return table


def penetrance_table(rng):
    # Recessive: affected mostly with both disease alleles.
    high, low = rng.uniform(0.8, 0.95), rng.uniform(0.01, 0.05)
    table = []
    for paternal in range(2):
        for maternal in range(2):
            affected = high if paternal == 1 and maternal == 1 else low
            table += [1.0 - affected, affected]
    return table


def forward_sample(rng, cards, scopes, tables):
    states = [0] * len(cards)
    for scope, table in zip(scopes, tables):
        v = scope[-1]
        column = 0
        for parent in scope[:-1]:
            column = column * cards[parent] + states[parent]
        row = table[column * cards[v]:(column + 1) * cards[v]]
        target, running = rng.random(), 0.0
        states[v] = len(row) - 1
        for s, p in enumerate(row):
            running += p
            if target < running:
                states[v] = s
                break
    return states


def pedigree(rng, couples, generations):
    """Persons as (father, mother) or None for founders, in birth order."""
    persons = []
    families = []
    for _ in range(couples):
        persons += [None, None]
        families.append((len(persons) - 2, len(persons) - 1))
    for _ in range(generations):
        children = []
        for index, (father, mother) in enumerate(families):
            for _ in range(rng.randint(1, 3)):
                persons.append((father, mother))
                children.append((len(persons) - 1, index))
        rng.shuffle(children)
        families = []
        while children:
            child, family = children.pop()
            partner = next((k for k, (_, other) in enumerate(children) if other != family), None)
            if partner is None:
                persons.append(None)  # marries in
                spouse = len(persons) - 1
            else:
                spouse = children.pop(partner)[0]
            families.append((child, spouse))
    return persons


def pedigree_instance(rng, couples, generations, loci, typed_share):
    persons = pedigree(rng, couples, generations)
    frequencies = [rng.uniform(0.1, 0.3)] + [rng.uniform(0.2, 0.5) for _ in range(loci - 1)]
    thetas = [rng.uniform(0.05, 0.2) for _ in range(loci)]
    net = PedigreeBuilder()
    paternal, maternal = {}, {}
    observations = []  # (variable, person)
    for person, parents in enumerate(persons):
        previous = None
        for locus in range(loci):
            if parents is None:
                paternal[person, locus] = net.add(2, [], allele_table(frequencies[locus]))
                maternal[person, locus] = net.add(2, [], allele_table(frequencies[locus]))
            else:
                selectors = []
                for side in range(2):
                    if previous is None:
                        selectors.append(net.add(2, [], [0.5, 0.5]))
                    else:
                        selectors.append(net.add(2, [previous[side]], selector_table(thetas[locus])))
                previous = selectors
                for side, alleles in ((0, paternal), (1, maternal)):
                    parent = parents[side]
                    alleles[person, locus] = net.add(
                        2, [paternal[parent, locus], maternal[parent, locus], selectors[side]], inherited_table())
            pair = [paternal[person, locus], maternal[person, locus]]
            if locus == 0:
                observations.append((net.add(2, pair, penetrance_table(rng)), person))
            else:
                observations.append((net.add(3, pair, genotype_table()), person))
    states = forward_sample(rng, net.cards, net.scopes, net.tables)
    typed = set(p for p in range(len(persons)) if rng.random() < typed_share)
    evidence = {v: states[v] for v, person in observations if person in typed}
    return net, evidence


def pedigree_variants(args):
    rng = random.Random(args.seed)
    for index in range(args.count):
        net, evidence = pedigree_instance(rng, rng.randint(2, 4), 2, rng.randint(3, 5), 0.7)
        finish(args, "Pedigree_s%d" % (index + 1), net.cards, net.scopes, net.tables, evidence)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kind", choices=["findings", "pedigree"])
    parser.add_argument("--out", required=True, help="folder for the instances (made if missing)")
    parser.add_argument("--samplenet", default="build/cli/samplenet")
    parser.add_argument("--data", default="data/uai2014", help="folder of the diagnosis networks")
    parser.add_argument("--memory-limit", type=float, default=8.0, help="GiB for the exact references")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--per-network", type=int, default=2, help="findings: variants per network")
    parser.add_argument("--count", type=int, default=6, help="pedigree: instances")
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    (findings_variants if args.kind == "findings" else pedigree_variants)(args)


if __name__ == "__main__":
    main()
