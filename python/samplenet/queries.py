"""Queries beyond single marginals: the most probable explanation of the
evidence (Network.mpe) and the joint posterior of a few nodes
(Network.infer(joint=...))."""

from __future__ import annotations

import math
from dataclasses import dataclass

import numpy as np
import pandas as pd

from samplenet import _core
from samplenet.errors import OptionError
from samplenet.intervention import intervened
from samplenet.options import make_options


@dataclass(frozen=True)
class Explanation:
    """A state for every node that agrees with the evidence, and how probable
    it is. With exact=False (found by epis or ais) it is the most probable
    assignment the samplers and the local search found: its probability is a
    lower bound on the most probable explanation's, and
    log_posterior_probability uses the sampled estimate of P(evidence)."""

    states: dict
    # Natural logs of P(states, evidence) and P(states | evidence).
    log_joint_probability: float
    log_posterior_probability: float
    exact: bool
    # The algorithm that found it: "exact", "epis" or "ais".
    algorithm: str
    # algorithm="auto": what ran and why; None otherwise.
    choice: str | None = None
    # Nodes the local search changed from the best sample (0 when exact).
    search_changes: int = 0

    @property
    def joint_probability(self) -> float:
        """P(states, evidence); 0.0 when it underflows."""
        return math.exp(self.log_joint_probability)

    @property
    def posterior_probability(self) -> float:
        """P(states | evidence)."""
        return math.exp(self.log_posterior_probability)


@dataclass(frozen=True)
class JointPosterior:
    """P(nodes | evidence) for a few nodes at once: `table` has one axis per
    node, in the order of `nodes`, over that node's `states`. Added up by the
    samplers, `standard_errors` has the table's shape; exact tables have
    None."""

    nodes: list
    states: dict
    table: np.ndarray
    standard_errors: np.ndarray | None = None

    def to_pandas(self) -> pd.DataFrame:
        """One row per combination of the nodes' states, the last node's
        varying fastest: a column per node (its state), probability, and when
        sampled standard_error, as the command line's joint CSV. Index it by
        the nodes with .set_index(joint.nodes)."""
        combinations = pd.MultiIndex.from_product([self.states[node] for node in self.nodes], names=self.nodes)
        frame = combinations.to_frame(index=False)
        frame["probability"] = self.table.reshape(-1)
        if self.standard_errors is not None:
            frame["standard_error"] = self.standard_errors.reshape(-1)
        return frame


def explain(network, evidence, likelihood, algorithm, samples, seed, memory_limit_gib, jobs, local_search,
            do) -> Explanation:
    """Network.mpe."""
    if algorithm == "lbp":
        raise OptionError("algorithm", "lbp gives no explanation: use auto, exact, epis or ais")
    options = make_options(algorithm, samples=samples, seed=seed, memory_limit_gib=memory_limit_gib, jobs=jobs)
    hard, soft = network._evidence_by_name(evidence, likelihood)
    states, log_joint, log_posterior, exact, changes, used, choice = _core.explain(
        intervened(network, do, hard, soft)._core, hard, soft, options, bool(local_search))
    return Explanation({node: network._core.states(v)[s] for v, (node, s) in enumerate(zip(network.nodes, states))},
                       log_joint, log_posterior, exact, used, choice or None, changes)


def most_probable_states(network, nodes, evidence, likelihood, algorithm, memory_limit_gib, do) -> Explanation:
    """Network.map."""
    if algorithm not in ("auto", "exact"):
        raise OptionError("algorithm", "the most probable states of chosen nodes are computed exactly only: use "
                                       "auto or exact, or infer(joint=...) with a sampler")
    nodes = [network._queried(node, "nodes") for node in ([nodes] if isinstance(nodes, str) else nodes)]
    options = make_options(algorithm, memory_limit_gib=memory_limit_gib)
    hard, soft = network._evidence_by_name(evidence, likelihood)
    states, log_joint, log_posterior, exact, changes, used, choice = _core.most_probable_states(
        intervened(network, do, hard, soft)._core, hard, soft, [network.index(node) for node in nodes], options)
    return Explanation({node: network.states(node)[states[network.index(node)]] for node in nodes}, log_joint,
                       log_posterior, exact, used, choice or None, changes)
