import subprocess
import sys

import numpy as np
import pytest

import samplenet
from conftest import NETWORKS


def test_model_is_readable_as_names_and_arrays(asia):
    assert len(asia) == 8
    assert "either" in asia
    assert asia.states("either") == ["yes", "no"]
    assert asia.parents("either") == ["lung", "tub"]
    table = asia.table("either")
    assert table.shape == (2, 2, 2)
    np.testing.assert_allclose(table.sum(axis=-1), 1.0)
    # either is the logical or of its parents.
    assert table[1, 1, 1] == 1.0 and table[0, 1, 0] == 1.0
    with pytest.raises(KeyError, match="nope"):
        asia.states("nope")


ODD_NAMES = ["with space", "Ünïcödé", "日本語", "a{b}", "x;y", "p|q", "(e)", "%pct", "a//b", "<tag>&amp;", "it's",
             "network", "variable", "probability", "table", "default", "node", "potential", "states", "data"]


def odd_network(names):
    """A chain over `names`, each node's states named by the next two names."""
    families = [(name, [names[(k + 1) % len(names)], names[(k + 2) % len(names)]], [names[k - 1]] if k else [],
                 [[0.25, 0.75], [0.5, 0.5]] if k else [0.125, 0.875]) for k, name in enumerate(names)]
    return samplenet.Network.from_tables(families, "odd")


# The library's tests take odd names through every format and refuse those
# a format cannot hold; here the names cross into it and back, and the
# refusal arrives as a ModelError.
def test_odd_names_survive_a_round_trip_and_quotes_are_refused_where_they_cannot(tmp_path):
    network = odd_network(ODD_NAMES)
    network.save(tmp_path / "odd.bif.gz")
    assert [f[:3] for f in samplenet.load(tmp_path / "odd.bif.gz").families()] == [f[:3] for f in network.families()]
    with pytest.raises(samplenet.ModelError, match="cannot hold"):
        odd_network(ODD_NAMES[:3] + ['say "hi"'] + ODD_NAMES[3:]).save(tmp_path / "quoted.bif")


def test_built_network_equals_the_one_it_came_from(alarm):
    rebuilt = samplenet.Network.from_tables(alarm.families(), "copy")
    assert rebuilt.name == "copy"
    for node in alarm.nodes:
        assert np.array_equal(rebuilt.table(node), alarm.table(node))


def test_file_errors_are_os_errors_and_parse_errors_say_where(tmp_path):
    with pytest.raises(FileNotFoundError) as missing:
        samplenet.load(tmp_path / "missing.bif")
    assert missing.value.filename == str(tmp_path / "missing.bif")
    with pytest.raises(IsADirectoryError):
        samplenet.load(tmp_path)
    bad = tmp_path / "bad.bif"
    bad.write_text("network x {\n}\nvariable A {\n  type discrete [ 2 ] { a, b }\n  oops\n}\n")
    with pytest.raises(samplenet.ParseError, match=r"bad\.bif:5:") as error:
        samplenet.load(bad)
    assert (error.value.path, error.value.line) == (str(bad), 5)
    # Bytes that are not UTF-8 show escaped: the error itself never fails.
    garbage = tmp_path / "garbage.bif"
    garbage.write_bytes(b"\x8b\xff\x00 binary \xe9t\xe9\n")
    with pytest.raises(samplenet.ParseError, match=r"found '\\x8b\\xff") as error:
        samplenet.load(garbage)
    assert (error.value.path, error.value.line) == (str(garbage), 1)
    latin = tmp_path / "latin.bif"
    latin.write_bytes(b"network n {\n}\nvariable Bogot\xe1 {\n  type discrete [ 1 ] { s };\n}\n"
                      b"probability ( Bogot\xe1 ) {\n  table 1;\n}\n")
    with pytest.raises(samplenet.ParseError, match=r'"Bogot\\xe1" is not UTF-8'):
        samplenet.load(latin)
    unknown = tmp_path / "net.unknownformat"
    unknown.write_text("")
    with pytest.raises(samplenet.ParseError, match="unknown file extension") as error:
        samplenet.load(unknown)
    assert error.value.path == str(unknown)
    with pytest.raises(FileNotFoundError):
        samplenet.Network.from_tables([("A", ["a", "b"], [], [0.5, 0.5])]).save(tmp_path / "none" / "x.bif")


def test_writing_follows_links_and_refuses_read_only_files(asia, tmp_path):
    target = tmp_path / "target.bif"
    target.write_text("old")
    link = tmp_path / "link.bif"
    link.symlink_to(target.name)
    asia.save(link)
    assert link.is_symlink()
    assert samplenet.load(target).nodes == asia.nodes
    target.chmod(0o444)  # refused also as root, which the system lets write it
    with pytest.raises(PermissionError) as refused:
        asia.save(link)
    assert refused.value.filename == str(link)
    assert samplenet.load(target).nodes == asia.nodes

    # python -m samplenet batch -o writes through the same writer, whose own
    # tests follow links and leave no temporary file.
    cases = tmp_path / "cases.csv"
    cases.write_text("asia,smoke\nyes,\n,no\n")
    rows = tmp_path / "rows.csv"
    rows.write_text("old")
    rows.chmod(0o444)
    refused = subprocess.run([sys.executable, "-m", "samplenet", "batch", str(NETWORKS / "asia.bif.gz"), str(cases),
                              "-a", "exact", "-o", str(rows)], capture_output=True, text=True)
    assert refused.returncode == 1 and "Permission denied" in refused.stderr
    assert rows.read_text() == "old"


def test_bad_tables_are_refused_with_the_node_named():
    with pytest.raises(samplenet.ModelError, match='"B"'):
        samplenet.Network.from_tables([("A", ["a", "b"], [], [0.5, 0.5]),
                                       ("B", ["x", "y"], ["A"], [[0.5, 0.5], [0.5, 0.7]])])
    with pytest.raises(samplenet.ModelError, match="unknown parent"):
        samplenet.Network.from_tables([("B", ["x"], ["A"], [1.0])])
    with pytest.raises(samplenet.ModelError, match="cycle"):
        samplenet.Network.from_tables([("A", ["a"], ["B"], [1.0]), ("B", ["b"], ["A"], [1.0])])
