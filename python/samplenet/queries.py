"""Queries beyond single marginals: the most probable explanation of the
evidence (Network.mpe) and the joint posterior of a few nodes
(Network.infer(joint=...))."""

from __future__ import annotations

import math
from dataclasses import dataclass

import numpy as np
import pandas as pd

from samplenet import _core
from samplenet.intervention import intervened
from samplenet.options import make_options, refuse_unanswered


@dataclass(frozen=True)
class Explanation:
    """A state for every node that agrees with the evidence, and how probable
    it is. With exact=False (found by epis or ais) it is the most probable
    assignment the samplers and the local search found: its probability is a
    lower bound on the most probable explanation's, and
    log_posterior_probability uses the sampled estimate of P(evidence).
    Network.map's answer holds the chosen nodes alone; found by a sampler,
    it is approximate and its probabilities are estimates (estimated=True,
    with their standard errors)."""

    states: dict
    # Natural logs of P(states, evidence) and P(states | evidence).
    log_joint_probability: float
    log_posterior_probability: float
    exact: bool
    # The algorithm that found it: "exact", "epis" or "ais".
    algorithm: str
    # algorithm="auto": what ran and why; None otherwise.
    choice: str | None = None
    # Nodes the local search changed from the best sample (0 when exact);
    # for sampled states of chosen nodes, the moves of their search.
    search_changes: int = 0
    # Network.map with a sampler: the two logs are estimates (exact=False),
    # with these standard errors; the choice says how they were found.
    estimated: bool = False
    log_joint_probability_standard_error: float = 0.0
    log_posterior_probability_standard_error: float = 0.0

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
    options = make_options(algorithm, samples=samples, seed=seed, memory_limit_gib=memory_limit_gib, jobs=jobs)
    refuse_unanswered(options, _core.Query.EXPLANATION, "algorithm")
    hard, soft = network._evidence_by_name(evidence, likelihood)
    record = _core.explain(intervened(network, do, hard, soft)._core, hard, soft, options, bool(local_search))
    return _explanation(record, {node: network._core.states(v) for v, node in enumerate(network.nodes)})


def most_probable_states(network, nodes, evidence, likelihood, algorithm, memory_limit_gib, do, samples, seed,
                         jobs, max_seconds) -> Explanation:
    """Network.map."""
    options = make_options(algorithm, samples=samples, seed=seed, memory_limit_gib=memory_limit_gib, jobs=jobs,
                           max_seconds=max_seconds)
    refuse_unanswered(options, _core.Query.MOST_PROBABLE_STATES, "algorithm")
    nodes = [network._queried(node, "nodes") for node in ([nodes] if isinstance(nodes, str) else nodes)]
    hard, soft = network._evidence_by_name(evidence, likelihood)
    record = _core.most_probable_states(intervened(network, do, hard, soft)._core, hard, soft,
                                        [network.index(node) for node in nodes], options)
    return _explanation(record, {node: network.states(node) for node in network.nodes}, nodes)


def _explanation(record, states_of, nodes=None) -> Explanation:
    """An Explanation of the nodes given (all by default) from the extension's record."""
    states, log_joint, log_posterior, exact, changes, used, choice, estimated, joint_error, posterior_error = record
    position = {node: v for v, node in enumerate(states_of)}
    nodes = list(states_of) if nodes is None else nodes
    return Explanation({node: states_of[node][states[position[node]]] for node in nodes}, log_joint,
                       log_posterior, exact, used, choice or None, changes, estimated, joint_error, posterior_error)
