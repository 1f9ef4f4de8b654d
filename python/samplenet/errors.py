"""The exceptions samplenet raises.

    Error                     base of samplenet's own errors
    ├─ ParseError             a file that does not follow its format (a ValueError);
    │                         .path and .line say where (line None when the
    │                         error concerns the whole file)
    ├─ ModelError             a network that cannot be used as given (a ValueError)
    ├─ EvidenceError          evidence on an unknown node or state, or malformed
    │                         (a ValueError)
    ├─ OptionError            an option out of its range or of the wrong kind
    │                         (a ValueError); .option names it
    ├─ CaseError              a case of infer_many that failed, with
    │                         on_error="raise" (a ValueError); .row is its row (from 1)
    ├─ NetworkTooLargeError   the algorithm would need more than the memory limit
    │                         (a RuntimeError)
    └─ InferenceError         no posteriors: evidence of probability zero, or no
                              sample compatible with it (a RuntimeError)

Files that cannot be opened, read or written raise the OSError that says why,
with .filename set: FileNotFoundError, PermissionError, IsADirectoryError, ...
Ctrl-C during a run raises KeyboardInterrupt, as elsewhere in Python.
"""

from __future__ import annotations


class Error(Exception):
    """Base class of the errors samplenet raises itself (files: OSError)."""


class ParseError(Error, ValueError):
    """A network file that does not follow its format. `path` is the file,
    `line` the line the reader stopped at (None for errors about the whole
    file, such as a corrupt compressed stream); the message says both."""

    def __init__(self, message, path=None, line=None):
        super().__init__(message)
        self.path = path
        self.line = line

    def __reduce__(self):
        return (type(self), (str(self), self.path, self.line))


class ModelError(Error, ValueError):
    """A network that cannot be used as given: a cycle, a table of the wrong
    size or whose columns do not sum to 1, an unknown parent, a node without
    a table."""


class EvidenceError(Error, ValueError):
    """Evidence that names an unknown node or state, or a likelihood of the
    wrong length or with negative factors."""


class OptionError(Error, ValueError):
    """An option out of its range or of the wrong kind; `option` names it."""

    def __init__(self, option, message):
        super().__init__(message)
        self.option = option

    def __reduce__(self):
        return (type(self), (self.option, str(self)))


class CaseError(Error, ValueError):
    """A case of infer_many that gave no posteriors, with on_error="raise";
    `row` is its row, counted from 1, and `reason` why it failed."""

    def __init__(self, row, reason):
        super().__init__(f"row {row}: {reason}")
        self.row = row
        self.reason = reason

    def __reduce__(self):
        return (type(self), (self.row, self.reason))


class NetworkTooLargeError(Error, RuntimeError):
    """The chosen algorithm would need more memory than memory_limit_gib
    allows (exact inference: its clique tables; the others: their copies of
    the network's tables)."""


class InferenceError(Error, RuntimeError):
    """Inference that produced no posteriors: evidence of probability zero
    under the model, or no sample compatible with it."""
