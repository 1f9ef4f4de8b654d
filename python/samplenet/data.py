"""Data drawn from a network: forward samples as a DataFrame."""

from __future__ import annotations

import random

import pandas as pd

from samplenet import _core
from samplenet.intervention import intervened
from samplenet.options import seed_value, whole_number


def sample(network, n, evidence=None, likelihood=None, seed=None, do=None) -> pd.DataFrame:
    """See Network.sample."""
    count = whole_number("n", n, 0, 2**63 - 1)
    seed = random.SystemRandom().randrange(2**63) if seed is None else seed_value(seed)
    hard, soft = network._evidence_by_name(evidence, likelihood)
    network = intervened(network, do, hard, soft)
    states, weights = _core.sample(network._core, hard, soft, count, seed)
    columns = {
        node: pd.Categorical.from_codes(states[:, v], categories=network.states(node))
        for v, node in enumerate(network.nodes)
    }
    frame = pd.DataFrame(columns)
    if hard or soft:
        frame[_core.weight_column_name(network._core)] = weights
    return frame
