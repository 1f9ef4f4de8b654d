"""Checked inference options, shared by single runs and batches."""

from __future__ import annotations

import math
import numbers

from samplenet import _core
from samplenet.errors import OptionError

ALGORITHMS = ("auto", "epis", "ais", "lbp", "exact", "wmb", "bpis")
_INT_MAX = 2**31 - 1
_LONG_MAX = 2**63 - 1
_YEAR = 365 * 24 * 3600


def whole_number(name, value, minimum, maximum=_INT_MAX) -> int:
    """`value` as an int within [minimum, maximum]; OptionError naming
    `name` otherwise (booleans and fractions included)."""
    if isinstance(value, bool) or not isinstance(value, numbers.Real) or not math.isfinite(value) \
            or int(value) != value or value < minimum:
        raise OptionError(name, f"{name} must be a whole number of at least {minimum}, got {value!r}")
    if value > maximum:
        raise OptionError(name, f"{name} must be at most {maximum}, got {value!r}")
    return int(value)


def _number(name, value, requirement, inside) -> float:
    """`value` as a float when `inside` accepts it; OptionError naming
    `name` and the `requirement` otherwise."""
    if isinstance(value, bool) or not isinstance(value, numbers.Real) or not math.isfinite(value) \
            or not inside(value):
        raise OptionError(name, f"{name} must {requirement}, got {value!r}")
    return float(value)


def seed_value(seed) -> int:
    """A seed as the command line takes it: a whole number from 0 up (only
    its low 15 bits are used)."""
    return whole_number("seed", seed, 0, _LONG_MAX)


def make_options(algorithm="epis", samples=None, iterations=50, propagation_length=4, seed=None,
                 memory_limit_gib=4.0, jobs=1, generator="standard", target_error=None, tolerance=None,
                 max_seconds=None) -> _core.Options:
    """The library's options, each checked: raises OptionError naming the
    first option out of range. See Network.infer for their meaning."""
    options = _core.Options()
    if algorithm not in ALGORITHMS:
        raise OptionError("algorithm", f'unknown algorithm "{algorithm}"; use {", ".join(ALGORITHMS)}')
    options.algorithm = algorithm
    # None: 100,000 samples, or with a target error no cap (the run ends when
    # the target is met or the time budget, 10 s by default, is spent).
    most_samples = _INT_MAX if target_error is not None else 100_000
    if samples is not None:
        options.samples = most_samples = whole_number("samples", samples, 1)
    options.lbp_iterations = whole_number("iterations", iterations, 1)
    options.propagation_length = whole_number("propagation_length", propagation_length, 0)
    options.jobs = whole_number("jobs", jobs, 1, most_samples)
    if generator not in ("standard", "wide"):
        raise OptionError("generator", f'unknown generator {generator!r}; use "standard" or "wide"')
    options.wide_generator = generator == "wide"
    if target_error is not None:
        options.target_error = _number("target_error", target_error, "lie between 0 and 1", lambda x: 0 < x < 1)
    if tolerance is not None:
        options.tolerance = _number("tolerance", tolerance, "be above 0", lambda x: x > 0)
    if max_seconds is not None:
        options.max_seconds = _number("max_seconds", max_seconds, "be above 0 and at most a year of seconds",
                                      lambda x: 0 < x <= _YEAR)
    if seed is not None:
        options.seed = seed_value(seed)
    gib = _number("memory_limit_gib", memory_limit_gib, "be above 0", lambda x: x > 0)
    # Limits beyond what a size can count mean no limit, as on the command line.
    options.memory_limit_bytes = min(int(gib * (1 << 30)), 2**64 - 1)
    return options
