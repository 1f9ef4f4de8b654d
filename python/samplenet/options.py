"""Checked inference options, shared by single runs and batches."""

from __future__ import annotations

import math
import numbers
import warnings
from typing import NamedTuple

from samplenet import _core
from samplenet.errors import OptionError

ALGORITHMS = tuple(_core.algorithm_names())
_INT_MAX = 2**31 - 1
_LONG_MAX = 2**63 - 1


def whole_number(name, value, minimum, maximum=_INT_MAX) -> int:
    """`value` as an int within [minimum, maximum]; OptionError naming
    `name` otherwise (booleans and fractions included)."""
    if isinstance(value, bool) or not isinstance(value, numbers.Real) or not math.isfinite(value) \
            or int(value) != value or value < minimum:
        raise OptionError(name, f"{name} must be a whole number of at least {minimum}, got {value!r}")
    if value > maximum:
        raise OptionError(name, f"{name} must be at most {maximum}, got {value!r}")
    return int(value)


def seed_value(seed) -> int:
    """A seed as the command line takes it: a whole number from 0 up (only
    its low 15 bits are used)."""
    return whole_number("seed", seed, 0, _LONG_MAX)


class Option(NamedTuple):
    """A tuning option as the library declares it."""
    kind: str  # "whole", "number" or "choice"
    help: str
    default: str  # as help shows it; empty where unset by default
    choices: list
    name: str  # the command line's flag, without its dashes
    concern: str  # the heading it is documented under


OPTIONS = {keyword: Option(kind, help_text, default, choices, name, concern)
           for name, keyword, kind, help_text, default, choices, concern in _core.option_specs()}


def options_help() -> str:
    """Every tuning option, one paragraph each under its concern's heading,
    for docstrings."""
    lines = []
    for concern in dict.fromkeys(option.concern for option in OPTIONS.values()):
        lines.append(f"{concern}:")
        for keyword, option in OPTIONS.items():
            if option.concern == concern:
                lines.append(f"    {keyword}: {option.help}" + (f" (default {option.default})." if option.default else "."))
    return "\n".join(lines)


def _as_value(kind, value):
    """What the library checks: numbers as int or float, anything else as
    text, so that its message shows what was given."""
    if kind == "choice":
        return value if isinstance(value, str) else repr(value)
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        return repr(value)
    if kind == "whole" and math.isfinite(value) and int(value) == value and abs(int(value)) < 2**63:
        return int(value)
    return float(value)


def make_options(algorithm="epis", warn=False, **settings) -> _core.Options:
    """The library's options, each checked by the library's own rules:
    raises OptionError naming the first option refused, TypeError for an
    unknown keyword. None leaves an option at its default. With `warn`, an
    option that the algorithm does not read gets a RuntimeWarning. See
    Network.infer for their meaning."""
    options = _core.Options()
    if algorithm not in ALGORITHMS:
        raise OptionError("algorithm", _core.unknown_algorithm_message(str(algorithm)))
    options.algorithm = algorithm
    for keyword, value in settings.items():
        if value is None:
            continue
        if keyword not in OPTIONS:
            raise TypeError(f"unexpected option {keyword!r}; the options are {', '.join(OPTIONS)}")
        try:
            options.set(keyword, _as_value(OPTIONS[keyword].kind, value))
        except ValueError as error:
            raise OptionError(keyword, str(error)) from None
        if warn and (why := _core.option_ignored(options, keyword)):
            warnings.warn(f"{keyword} is {why}", RuntimeWarning, stacklevel=3)
    try:
        _core.check_options(options)
    except ValueError as error:
        keyword = str(error).split(":", 1)[0]
        raise OptionError(keyword if keyword in OPTIONS else "options", str(error)) from None
    return options


def refuse_unanswered(options, query, option) -> None:
    """Raises OptionError naming `option` where the options' algorithm does
    not answer `query` (a _core.Query), with the message that says which do."""
    if why := _core.why_no_answer(options, query):
        raise OptionError(option, why)
