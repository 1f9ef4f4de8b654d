"""The package's surface: option errors, the version, pickling, docstrings."""

import inspect
import pickle
import re
import subprocess
import sys
from concurrent.futures import ProcessPoolExecutor
from importlib import metadata
from pathlib import Path
import multiprocessing

import numpy as np
import pandas as pd
import pytest

import samplenet
import samplenet.batch
import samplenet.dask
from samplenet.errors import CaseError, OptionError, ParseError


@pytest.mark.parametrize("option, value", [
    ("samples", 10**12), ("samples", 0), ("samples", 2.5), ("samples", "many"), ("iterations", 0),
    ("propagation_length", -1), ("jobs", 0), ("seed", -1), ("seed", 2**64), ("memory_limit_gib", 0),
    ("max_seconds", 0), ("max_seconds", float("nan")), ("target_error", 1), ("tolerance", -1),
    ("algorithm", "gibbs"), ("generator", "fast"), ("query", ["nope"]),
])
def test_every_bad_option_raises_an_option_error_naming_it(asia, option, value):
    with pytest.raises(OptionError, match=option) as error:
        asia.infer(**{option: value})
    assert error.value.option == option
    assert isinstance(error.value, ValueError) and isinstance(error.value, samplenet.Error)


def test_every_surface_takes_the_registered_options_with_the_same_checks(asia, cli):
    from samplenet.options import OPTIONS

    infer_help = subprocess.run([cli, "infer", "--help"], capture_output=True, text=True).stdout
    batch_help = subprocess.run([sys.executable, "-m", "samplenet", "batch", "--help"], capture_output=True,
                                text=True).stdout
    for keyword, option in OPTIONS.items():
        assert f"--{option.name}" in infer_help, option.name
        assert keyword == "jobs" or f"--{option.name}" in batch_help, option.name
        assert keyword in samplenet.Network.infer.__doc__, keyword
        # Each under its concern's heading, everywhere.
        assert f"\n{option.concern}:" in infer_help and f"{option.concern}:" in samplenet.Network.infer.__doc__
        assert keyword == "jobs" or f"\n{option.concern}:" in batch_help
    # One check, one message: the command line's, less its dashes.
    run = subprocess.run([cli, "infer", "--target-error", "1"], capture_output=True, text=True)
    with pytest.raises(OptionError) as error:
        asia.infer(target_error=1)
    assert str(error.value).split(": ", 1)[1].split(", found")[0] in run.stderr
    with pytest.warns(RuntimeWarning, match="iterations is read by lbp alone; exact ignores it"):
        asia.infer(algorithm="exact", iterations=5)


def test_version_is_the_same_everywhere(cli):
    assert re.fullmatch(r"\d+\.\d+\.\d+", samplenet.__version__)
    assert samplenet.__version__ == metadata.version("samplenet")
    run = subprocess.run([cli, "--version"], capture_output=True, text=True, check=True)
    assert run.stdout.strip() == f"samplenet {samplenet.__version__}"


def test_results_and_errors_pickle(alarm):
    result = alarm.infer(evidence={"BP": "LOW"}, algorithm="epis", samples=2000, seed=5, query=["HR", "CO"])
    copy = pickle.loads(pickle.dumps(result))
    assert list(copy) == ["HR", "CO"]
    for node in copy:
        np.testing.assert_array_equal(copy[node], result[node])
    assert copy.sampling.samples_drawn == result.sampling.samples_drawn == 2000
    np.testing.assert_array_equal(copy.standard_errors["CO"], result.standard_errors["CO"])
    assert copy.picture() == result.picture()
    assert (copy.seconds, copy.log_probability_of_evidence) == (result.seconds, result.log_probability_of_evidence)
    assert copy.to_pandas().equals(result.to_pandas())
    for error in [ParseError("f.bif:3: expected x", "f.bif", 3), OptionError("samples", "too many"),
                  CaseError(4, "unknown state")]:
        again = pickle.loads(pickle.dumps(error))
        assert (type(again), str(again), vars(again)) == (type(error), str(error), vars(error))


def test_a_result_comes_back_from_a_process_pool(asia):
    with ProcessPoolExecutor(1, mp_context=multiprocessing.get_context("spawn")) as pool:
        result = pool.submit(asia.infer, evidence={"smoke": 1}, algorithm="exact").result()
    np.testing.assert_array_equal(result["smoke"], [0.0, 1.0])
    assert result.probability_of_evidence == pytest.approx(0.5)


def test_infer_many_takes_state_indices_as_infer_does(asia):
    by_index = asia.infer_many(pd.DataFrame({"smoke": [1, 0]}), algorithm="exact", jobs=1)
    by_name = asia.infer_many(pd.DataFrame({"smoke": ["no", "yes"]}), algorithm="exact", jobs=1)
    pd.testing.assert_frame_equal(by_index, by_name)
    single = asia.infer(evidence={"smoke": 1}, algorithm="exact")
    np.testing.assert_array_equal(by_index.loc[0, ["lung=yes", "lung=no"]].to_numpy(dtype=float), single["lung"])


def public_members():
    """Every public function, class, method and property of the package."""
    for name in samplenet.__all__:
        item = getattr(samplenet, name)
        if name.startswith("__"):
            continue
        yield name, item
        if inspect.isclass(item) and not issubclass(item, BaseException):
            for member_name, member in vars(item).items():
                if member_name.startswith("_"):
                    continue
                if isinstance(member, (property, classmethod, staticmethod)) or callable(member):
                    yield f"{name}.{member_name}", getattr(item, member_name) if not isinstance(member, property) \
                        else member
    for module in (samplenet.batch, samplenet.dask):
        yield f"{module.__name__}.infer_many", module.infer_many


def test_every_public_name_has_a_docstring():
    undocumented = [name for name, item in public_members() if not (inspect.getdoc(item) or "").strip()]
    assert undocumented == []
    for name in ["load", "Network.infer", "Network.save"]:
        item = dict(public_members())[name]
        assert "Raises" in inspect.getdoc(item) or "raise" in inspect.getdoc(item), name


def test_the_package_is_typed_and_the_extension_has_stubs():
    package = Path(samplenet.__file__).parent
    assert (package / "py.typed").exists()
    stub = (package / "_core.pyi").read_text()
    for signature in ("def infer(network: ", "def sample(network: ", "class Options"):
        assert signature in stub, signature
