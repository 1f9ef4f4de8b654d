"""Which node to observe next: what observing each would tell about a target."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
import pandas as pd

from samplenet import _core
from samplenet.errors import OptionError
from samplenet.intervention import intervened, settings_of


@dataclass(frozen=True)
class CandidateImpact:
    """One candidate node: its mutual information with the target given the
    evidence, in bits (the expected fall of the target's entropy once it is
    observed), with a standard error for sampled runs (None otherwise); its
    posterior; and, by state, the target's posterior were it observed in
    that state (None for a state of probability 0)."""

    node: str
    mutual_information: float
    standard_error: float | None
    expected_entropy: float
    states: list
    probabilities: np.ndarray
    # Sampled runs: the standard error of every entry of probabilities.
    standard_errors: np.ndarray | None
    target_given: dict


class Impact:
    """What Network.impact returns. Attributes: target, target_states,
    target_posterior (numpy array) and target_standard_errors (sampled runs,
    else None), target_entropy (bits), candidates (CandidateImpact, most
    informative first), algorithm (what ran), choice (auto: why), runs,
    seconds, seed (what the samplers' seeds derive from; None unless
    sampled), warnings (why a sampled run cannot be taken as printed), and
    interventions (node -> state)."""

    def __init__(self, target, target_states, target_posterior, target_standard_errors, target_entropy, candidates,
                 algorithm, choice, runs, seconds, seed, warnings, interventions):
        self.target, self.target_states = target, target_states
        self.target_posterior, self.target_standard_errors = target_posterior, target_standard_errors
        self.target_entropy = target_entropy
        self.candidates = candidates
        self.algorithm, self.choice, self.runs, self.seconds, self.seed = algorithm, choice, runs, seconds, seed
        self.warnings, self.interventions = warnings, interventions

    def to_pandas(self) -> pd.DataFrame:
        """One row per candidate state, most informative candidate first:
        node, mutual_information, standard_error, state, probability, then
        one column per target state ("target=state") holding the target's
        posterior given that candidate state (NaN where it is impossible);
        the columns of `samplenet impact --format csv`."""
        target_columns = [f"{self.target}={state}" for state in self.target_states]
        rows = []
        for candidate in self.candidates:
            for c, state in enumerate(candidate.states):
                given = candidate.target_given[state]
                rows.append([candidate.node, candidate.mutual_information, candidate.standard_error, state,
                             float(candidate.probabilities[c])]
                            + (list(given) if given is not None else [np.nan] * len(target_columns)))
        return pd.DataFrame(rows, columns=["node", "mutual_information", "standard_error", "state", "probability"]
                            + target_columns)

    def __repr__(self):
        best = ", ".join(f"{c.node} {c.mutual_information:.3g}" for c in self.candidates[:3])
        return f"Impact(target {self.target!r}, {len(self.candidates)} candidates: {best})"


def _errors(values):
    return np.asarray(values) if len(values) else None


def _candidate(network, record, target_entropy):
    variable, information, error, (probabilities, errors), given = record
    node = network.nodes[variable]
    states = network.states(node)
    return CandidateImpact(node, information, error, max(target_entropy - information, 0.0), states,
                           np.asarray(probabilities), _errors(errors),
                           {state: (np.asarray(p) if len(p) else None) for state, (p, _) in zip(states, given)})


def impact(network, target, evidence, likelihood, do, candidates, options) -> Impact:
    """See Network.impact."""
    hard, soft = network._evidence_by_name(evidence, likelihood)
    settings = settings_of(network, do)
    cut = intervened(network, do, hard, soft)
    for role, nodes in (("target", [target]), ("candidates", list(candidates or []))):
        for node in nodes:
            if node not in cut:
                raise OptionError(role, f"unknown node {node!r} in {role}")
            if node in settings:
                raise OptionError(role, f"{node!r} in {role} is set by an intervention: its state is known")
    chosen = None if candidates is None else [cut.index(node) for node in candidates]
    excluded = [cut.index(node) for node in settings]
    (posterior, errors), entropy, ranked, algorithm, choice, runs, seconds, seed, warnings = _core.impact(
        cut._core, hard, soft, cut.index(target), chosen, excluded, options)
    return Impact(target, cut.states(target), np.asarray(posterior), _errors(errors), entropy,
                  [_candidate(cut, record, entropy) for record in ranked], algorithm, choice or None, runs, seconds,
                  seed, warnings, settings)
