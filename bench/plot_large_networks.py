"""Draws the per-node-and-sample cost from large_network_benchmark's tables.

    large_network_benchmark 1000 10000 100000 > sizes.md
    python3 bench/plot_large_networks.py sizes.md [more.md ...] -o docs/pictures/large-networks.svg

Needs matplotlib (pip install matplotlib); rows of the same network size are
taken from the last table that has them.
"""

import argparse

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

SERIES = [
    ("engine loop ns", "engine's loop, sample by sample"),
    ("blocks ns", "block sampler, 1 thread"),
    ("blocks, 2 jobs ns", "block sampler, 2 threads"),
    ("bare loop ns", "bare flat-array forward sampler"),
]


def read_rows(paths):
    rows = {}
    for path in paths:
        header = None
        with open(path) as table:
            for line in table:
                cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
                if not line.startswith("|") or cells[0].startswith("---"):
                    continue
                if cells[0] == "network":
                    header = cells
                elif header and cells[0] == "random":
                    rows[int(cells[1])] = dict(zip(header, cells))
    return [rows[n] for n in sorted(rows)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tables", nargs="+")
    parser.add_argument("-o", "--output", required=True)
    arguments = parser.parse_args()
    rows = read_rows(arguments.tables)
    nodes = [int(row["nodes"]) for row in rows]
    figure, axes = plt.subplots(figsize=(6.4, 4.0))
    for column, label in SERIES:
        axes.plot(nodes, [float(row[column]) for row in rows], marker="o", label=label)
    axes.set_xscale("log")
    axes.set_xlabel("nodes (random layered networks, 2 to 4 states, up to 3 parents)")
    axes.set_ylabel("ns per node and sample (EPIS-BN)")
    axes.set_ylim(bottom=0)
    axes.grid(True, which="major", alpha=0.3)
    axes.legend(fontsize="small")
    figure.tight_layout()
    figure.savefig(arguments.output)


if __name__ == "__main__":
    main()
