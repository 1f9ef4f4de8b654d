"""Runs release the GIL and stop on Ctrl-C."""

import os
import signal
import threading
import time

import numpy as np
import pytest

# Long enough to notice a run that ignores Ctrl-C or holds the GIL; every
# run here ends by itself after LONG seconds at most.
LONG = 8.0


def endless(network, **kwargs):
    return network.infer(algorithm="epis", samples=2_000_000_000, generator="wide", max_seconds=LONG, **kwargs)


@pytest.mark.parametrize("jobs", [1, 2])
def test_ctrl_c_stops_a_run_with_keyboard_interrupt(alarm, jobs):
    timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
    start = time.monotonic()
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        endless(alarm, jobs=jobs)
    # The run would last LONG seconds; it stops within about 0.05 s of the signal.
    assert time.monotonic() - start < LONG / 2
    timer.join()
    # The engine is free again afterwards.
    assert alarm.infer(algorithm="epis", samples=1000, seed=1)["HR"].sum() == pytest.approx(1.0)


def test_other_threads_run_during_a_run(alarm):
    ticks = []
    stop = threading.Event()

    def tick():
        while not stop.wait(0.01):
            ticks.append(time.monotonic())

    ticker = threading.Thread(target=tick)
    ticker.start()
    try:
        start = time.monotonic()
        alarm.infer(algorithm="epis", samples=2_000_000_000, max_seconds=1.0)
        end = time.monotonic()
    finally:
        stop.set()
        ticker.join()
    during = [t for t in ticks if start < t < end]
    # Every 10 ms over a second; holding the GIL would leave none.
    assert len(during) > 20


def test_runs_from_several_threads_take_turns(alarm):
    def run(algorithm):
        return alarm.infer(evidence={"BP": "LOW"}, algorithm=algorithm, samples=20_000, seed=9)

    alone = {a: run(a) for a in ("epis", "ais", "lbp")}
    together = {}
    threads = [threading.Thread(target=lambda a=a: together.__setitem__(a, run(a))) for a in alone]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for algorithm, result in alone.items():
        for node in alarm.nodes:
            np.testing.assert_array_equal(together[algorithm][node], result[node], err_msg=algorithm)
