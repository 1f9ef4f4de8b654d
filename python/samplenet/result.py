"""What one inference run gives."""

from __future__ import annotations

import math
import warnings
from collections.abc import Mapping
from dataclasses import dataclass

import numpy as np
import pandas as pd


@dataclass(frozen=True)
class SamplingSummary:
    """What a sampling run (epis, ais, wmb) says of itself: samples drawn (fewer
    than asked when max_seconds ran out), distinct samples, the effective
    sample size, the relative error of the estimated P(evidence), every
    posterior entry's standard error by node, with a target error whether
    it was met, and the error bound: with 95% confidence every posterior
    entry is within it of the truth, all at once."""

    samples_drawn: int
    # Samples drawn before the generator's stream could repeat.
    distinct_samples: int
    # (sum of weights)^2 / sum of squared weights; below about 100 the error
    # estimates themselves are unreliable.
    effective_sample_size: float
    probability_of_evidence_relative_error: float
    # Per node, the standard error of every posterior entry.
    standard_errors: dict
    # With a target error: whether the run met it; None otherwise.
    target_met: bool | None = None
    error_bound: float | None = None
    # Why the answer cannot be taken as printed (too few effective samples,
    # or a target error not met); None when it can.
    warning: str | None = None

    @property
    def reliable(self):
        """Whether the answer can be taken as printed: enough effective
        samples for its error estimates, and its target met if it had one."""
        return self.warning is None

    @classmethod
    def of(cls, run, shown, positions):
        """The summary of a binding's run (None when nothing was sampled),
        with the standard errors of the nodes `shown` at `positions`; warns
        as the command line does where the answer is not to be taken as
        printed or the generator's stream repeated."""
        if run.samples_drawn is None:
            return None
        drawn, distinct = run.samples_drawn, run.distinct_samples
        if distinct < drawn:
            warnings.warn(f"only {distinct} of {drawn} samples are distinct draws: the generator's stream of "
                          "2^31 numbers repeats after that, so more samples add no information", RuntimeWarning,
                          stacklevel=3)
        errors = run.standard_errors
        summary = cls(drawn, distinct, run.effective_sample_size, run.probability_of_evidence_relative_error,
                      {name: np.asarray(errors[v]) for name, v in zip(shown, positions)},
                      run.target_met, run.error_bound, run.warning or None)
        if summary.warning:
            warnings.warn(summary.warning, RuntimeWarning, stacklevel=3)
        return summary


class Result(Mapping):
    """What Network.infer returns: a mapping from node name (every node, or
    the queried ones) to its posterior, a numpy array over the node's states.

    Attributes: algorithm (the one that ran: for "auto", the step that
    answered); seconds (the run's time); ln_probability_of_evidence (the
    natural log; log_probability_of_evidence is the same) and
    probability_of_evidence (exact from exact inference, estimated by the
    samplers, None from lbp); sampling, a SamplingSummary for epis, ais and wmb
    (None otherwise); converged (lbp with a tolerance, else None: True
    means a fixed point was reached, not that the beliefs are accurate, as
    loopy belief propagation gives no error bound); choice
    (algorithm="auto": what ran and why, else None); joint (with
    infer(joint=[...]): a JointPosterior, else None); interventions (the
    nodes infer(do=...) set, by state name). A Result pickles, so it
    can come back from a process pool or dask.delayed; it carries its
    network along for picture()."""

    def __init__(self, posteriors, states, ln_probability_of_evidence, seconds, picture=None, sampling=None,
                 converged=None, choice=None, queried=None, joint=None, interventions=None, algorithm=None):
        self._posteriors = posteriors
        self._picture = picture
        self._queried = queried
        self._states = states
        self.algorithm = algorithm
        self.ln_probability_of_evidence = ln_probability_of_evidence
        self.seconds = seconds
        self.sampling = sampling
        # lbp with a tolerance: whether it reached a fixed point (which says
        # nothing of its error); None otherwise.
        self.converged = converged
        # algorithm="auto": what ran and why; None otherwise.
        self.choice = choice
        # infer(joint=[...]): the joint posterior of those nodes.
        self.joint = joint
        # infer(do={...}): the nodes set, node -> state name.
        self.interventions = interventions or {}

    @property
    def log_probability_of_evidence(self):
        """ln_probability_of_evidence, by the name earlier releases gave it."""
        return self.ln_probability_of_evidence

    @property
    def probability_of_evidence(self):
        """P(evidence), or None where the algorithm gives no estimate; 0.0
        when it underflows (ln_probability_of_evidence keeps it)."""
        if self.ln_probability_of_evidence is None:
            return None
        return math.exp(self.ln_probability_of_evidence)

    @property
    def standard_errors(self):
        """Per node, the standard error of every posterior entry (samplers
        only; None otherwise)."""
        return None if self.sampling is None else self.sampling.standard_errors

    @property
    def effective_sample_size(self):
        """(sum of weights)^2 / sum of squared weights of a sampling run;
        None for the other algorithms."""
        return None if self.sampling is None else self.sampling.effective_sample_size

    def __getitem__(self, node) -> np.ndarray:
        return self._posteriors[node]

    def __iter__(self):
        return iter(self._posteriors)

    def __len__(self):
        return len(self._posteriors)

    def to_pandas(self) -> pd.DataFrame:
        """One row per (node, state): columns node, state, probability, from
        the samplers standard_error, and where the algorithm gives it (all
        but lbp) ln_probability_of_evidence, the same on every row; as the
        command line's CSV."""
        errors = self.standard_errors
        rows = [
            (node, state, float(p)) + (() if errors is None else (float(errors[node][s]),))
            for node, values in self._posteriors.items()
            for s, (state, p) in enumerate(zip(self._states[node], values))
        ]
        columns = ["node", "state", "probability"] + ([] if errors is None else ["standard_error"])
        frame = pd.DataFrame(rows, columns=columns)
        if self.ln_probability_of_evidence is not None:
            frame["ln_probability_of_evidence"] = float(self.ln_probability_of_evidence)
        return frame

    def picture(self, nodes=None) -> str:
        """SVG of the network with these posteriors, observed nodes marked:
        every node, or the given ones (by default the queried ones) with
        their parents and children by name (needed above 60 nodes). Drawn by
        Graphviz's dot program; RuntimeError without it, ValueError for too
        many nodes, KeyError for an unknown one."""
        if self._picture is None:
            raise ValueError("this result has no network to draw")
        return self._picture(nodes or self._queried or [])

    def _repr_svg_(self):
        # Notebooks show the picture; a network too large to draw whole
        # falls back to the text form.
        try:
            return self.picture()
        except ValueError:
            return None

    def __repr__(self):
        return f"Result({len(self)} nodes, {self.seconds:.4f} s)"
