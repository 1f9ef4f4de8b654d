#!/usr/bin/env python3
"""How soon Ctrl-C ends a long run, in Python and on the command line, and
whether other Python threads run meanwhile.

    python bench/interrupt_latency.py [--cli build/cli/samplenet] [--max-seconds 60]

Each run would last --max-seconds (or --samples, for packages without a
time budget); SIGINT comes from another process --delay seconds after the
run starts, and the figure is the time from the signal to the run's end
(KeyboardInterrupt in Python, exit code 130 on the command line). A thread
that wakes every 10 ms counts its wake-ups during a run of --tick-seconds."""

from __future__ import annotations

import argparse
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import samplenet

NETWORKS = Path(__file__).resolve().parents[1] / "data" / "networks"
# Another process sends the signal, so that it comes on time even while the
# interpreter is blocked; it records CLOCK_MONOTONIC, which all processes share.
SENDER = "import os, sys, time; time.sleep(float(sys.argv[2])); t = time.monotonic(); " \
         "os.kill(int(sys.argv[1]), 2); open(sys.argv[3], 'w').write(repr(t))"


def send_sigint_later(pid, delay, stamp):
    return subprocess.Popen([sys.executable, "-c", SENDER, str(pid), str(delay), stamp])


def python_latency(network, algorithm, arguments) -> str:
    options = dict(algorithm=algorithm, samples=arguments.samples, iterations=2_000_000_000, seed=1)
    if arguments.max_seconds:
        options.update(max_seconds=arguments.max_seconds, generator="wide")
    with tempfile.NamedTemporaryFile() as stamp:
        sender = send_sigint_later(os.getpid(), arguments.delay, stamp.name)
        start = time.monotonic()
        try:
            network.infer(**options)
            ended = time.monotonic()
            outcome = f"not interrupted: the run ended after {ended - start:.2f} s"
        except KeyboardInterrupt:
            ended = time.monotonic()
            outcome = None
        sender.wait()
        sent = float(Path(stamp.name).read_text())
    return outcome or f"KeyboardInterrupt {1000 * (ended - sent):.1f} ms after SIGINT"


def cli_latency(cli, network_path, algorithm, arguments) -> str:
    command = [cli, "infer", str(network_path), "-a", algorithm, "-n", str(arguments.samples),
               "--iterations", "2000000000", "--generator", "wide", "--seed", "1"]
    with tempfile.NamedTemporaryFile() as stamp:
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        sender = send_sigint_later(process.pid, arguments.delay, stamp.name)
        _, err = process.communicate()
        ended = time.monotonic()
        sender.wait()
        sent = float(Path(stamp.name).read_text())
    return f"exit {process.returncode} {1000 * (ended - sent):.1f} ms after SIGINT ({err.decode().strip()})"


def ticks_during_a_run(network, arguments) -> str:
    ticks, stop = [], threading.Event()

    def tick():
        while not stop.wait(0.01):
            ticks.append(time.monotonic())

    ticker = threading.Thread(target=tick)
    ticker.start()
    options = dict(algorithm="epis", samples=arguments.samples, seed=1)
    if arguments.max_seconds:
        options.update(max_seconds=arguments.tick_seconds)
    start = time.monotonic()
    network.infer(**options)
    end = time.monotonic()
    stop.set()
    ticker.join()
    during = [t for t in ticks if start < t < end]
    gaps = [b - a for a, b in zip([start, *during], [*during, end])]
    return f"{len(during)} ticks in a run of {end - start:.2f} s, longest gap {1000 * max(gaps):.0f} ms"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cli", default=str(Path(__file__).resolve().parents[1] / "build" / "cli" / "samplenet"))
    parser.add_argument("--network", default="alarm")
    parser.add_argument("--samples", type=int, default=2_000_000_000)
    parser.add_argument("--max-seconds", type=float, default=60.0, help="0 for packages without max_seconds")
    parser.add_argument("--delay", type=float, default=3.0)
    parser.add_argument("--tick-seconds", type=float, default=3.0)
    arguments = parser.parse_args()
    path = NETWORKS / f"{arguments.network}.bif.gz"
    network = samplenet.load(path)
    print(f"samplenet {getattr(samplenet, '__version__', '(no version)')}, {arguments.network}")
    print(f"ticking thread: {ticks_during_a_run(network, arguments)}")
    for algorithm in ("epis", "ais", "lbp"):
        print(f"python {algorithm}: {python_latency(network, algorithm, arguments)}")
    if Path(arguments.cli).is_file():
        for algorithm in ("epis", "ais", "lbp"):
            print(f"cli {algorithm}: {cli_latency(arguments.cli, path, algorithm, arguments)}")


if __name__ == "__main__":
    main()
