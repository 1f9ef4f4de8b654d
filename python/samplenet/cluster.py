"""One query's final samples drawn on a Dask cluster (Network.infer(...,
client=...)).

The importance tables and the sampling plan are computed here, once; the plan
goes to the workers as one task's result, and each round of samples becomes one task per share:
share k draws the samples job k of infer(jobs=N) draws, from the same place
in the generator's stream, and returns its weight sums as bytes. The client
merges them in share order, so the answer equals infer(jobs=N)'s bit for bit.
A share is a pure function of its inputs, so a share whose worker is lost is
drawn again elsewhere with the same numbers."""

from __future__ import annotations

import uuid

from samplenet import _core
from samplenet.errors import OptionError


def _plan(plan: bytes) -> bytes:
    return plan


def _draw_share(plan: bytes, share: bytes, samples: int) -> bytes:
    return _core.draw_share(plan, share, samples)


def worker_count(client) -> int:
    """The workers the client's scheduler knows of now."""
    return len(client.scheduler_info()["workers"])


def check_query(client, algorithm, options) -> None:
    """Refuses what a cluster cannot draw (OptionError); sets the shares
    (`jobs`) to one per worker where none are given."""
    samplers = _core.algorithm_names(engine_samplers=True)
    if algorithm not in samplers:
        raise OptionError("algorithm", f"a cluster draws {' or '.join(samplers)} samples, not {algorithm!r}")
    if options.get("jobs") is None:
        options["jobs"] = worker_count(client)
        if options["jobs"] == 0:
            raise OptionError("client", "the cluster has no workers")


class ClusterRounds:
    """draw_round for _core.infer_on_shares: each round's shares as tasks
    on the client's cluster, gathered in order."""

    def __init__(self, client):
        self.client = client
        self.plan = None
        self.run = uuid.uuid4().hex
        self.round = 0

    def __call__(self, plan: bytes, shares: list, samples: list) -> list:
        if self.plan is None:
            # A task's result rather than scattered data: when the worker
            # holding it is lost, the scheduler makes it again from the task.
            self.plan = self.client.submit(_plan, plan, key=f"samplenet-plan-{self.run}")
        futures = [self.client.submit(_draw_share, self.plan, share, count,
                                      key=f"samplenet-share-{self.run}-{self.round}-{k}")
                   for k, (share, count) in enumerate(zip(shares, samples))]
        self.round += 1
        return self.client.gather(futures)
