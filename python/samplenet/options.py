"""Checked inference options, shared by single runs and batches."""

from __future__ import annotations

from samplenet import _core


def _whole_at_least(name, value, minimum):
    if isinstance(value, bool) or int(value) != value or value < minimum:
        raise ValueError(f"{name} must be a whole number of at least {minimum}, got {value!r}")
    return int(value)


def make_options(algorithm="epis", samples=100_000, iterations=50, propagation_length=4, seed=None,
                 memory_limit_gib=4.0, jobs=1, generator="standard",
                 target_error=None, tolerance=None) -> _core.Options:
    """The library's options; a fixed seed makes sampling repeatable (only
    its low 15 bits are used); `jobs` threads share one run's samples;
    generator="wide" draws from a stream of period 2^64 instead of the
    standard one, whose 2^31 numbers repeat; with `target_error`, epis and
    ais draw in rounds until the largest standard error is at most it
    (`samples` is then the most they draw); lbp stops early once no belief
    changes by more than `tolerance`."""
    options = _core.Options()
    options.algorithm = algorithm
    options.samples = _whole_at_least("samples", samples, 1)
    options.lbp_iterations = _whole_at_least("iterations", iterations, 1)
    options.propagation_length = _whole_at_least("propagation_length", propagation_length, 0)
    options.jobs = _whole_at_least("jobs", jobs, 1)
    if generator not in ("standard", "wide"):
        raise ValueError(f'unknown generator {generator!r}; use "standard" or "wide"')
    options.wide_generator = generator == "wide"
    if target_error is not None:
        if not 0 < target_error < 1:
            raise ValueError(f"target_error must lie between 0 and 1, got {target_error!r}")
        options.target_error = float(target_error)
    if tolerance is not None:
        if not tolerance > 0:
            raise ValueError(f"tolerance must be above 0, got {tolerance!r}")
        options.tolerance = float(tolerance)
    if seed is not None:
        options.seed = _whole_at_least("seed", seed, 0)
    if not memory_limit_gib > 0:
        raise ValueError(f"memory_limit_gib must be above 0, got {memory_limit_gib!r}")
    options.memory_limit_bytes = int(memory_limit_gib * (1 << 30))
    return options
