import json
import random
import subprocess

import pytest

from conftest import NETWORKS


def test_neighbourhoods_of_asia(asia):
    assert asia.parents("either") == ["lung", "tub"]
    assert sorted(asia.children("either")) == ["dysp", "xray"]
    assert sorted(asia.markov_blanket("either")) == ["bronc", "dysp", "lung", "tub", "xray"]
    assert asia.markov_blanket("asia") == ["tub"]
    assert asia.children("dysp") == []
    # Every list is in the order of nodes.
    for node in asia.nodes:
        for listed in (asia.children(node), asia.markov_blanket(node)):
            assert listed == sorted(listed, key=asia.index)
    with pytest.raises(KeyError, match="nope"):
        asia.markov_blanket("nope")


def test_dseparation_agrees_with_pgmpy_on_alarm(alarm):
    pytest.importorskip("pgmpy")
    model = alarm.to_pgmpy()
    rng = random.Random(29)
    answers = []
    for _ in range(150):
        chosen = rng.sample(alarm.nodes, rng.randint(2, 9))
        i = rng.randint(1, len(chosen) - 1)
        j = rng.randint(i + 1, len(chosen))
        a, b, given = chosen[:i], chosen[i:j], chosen[j:]
        expected = not any(model.is_dconnected(x, y, observed=given) for x in a for y in b)
        assert alarm.is_dseparated(a, b, given=given) == expected, (a, b, given)
        answers.append(expected)
    # Both answers occur, so the comparison says something.
    assert 20 < sum(answers) < len(answers) - 20


def test_dseparation_refuses_overlapping_sets(asia):
    with pytest.raises(ValueError, match="tub"):
        asia.is_dseparated("tub", "smoke", given=["tub"])
    with pytest.raises(KeyError, match="nope"):
        asia.is_dseparated("nope", "smoke")


def test_command_line_answers_as_python_does(asia, cli):
    path = str(NETWORKS / "asia.bif.gz")
    for a, b, given in [("tub", "smoke", []), ("tub", "smoke", ["either"]), ("asia,tub", "smoke,bronc", ["xray"]),
                        ("lung", "bronc", ["smoke"])]:
        arguments = [cli, "dsep", path, a, b] + [x for g in given for x in ("--given", g)]
        text = subprocess.run(arguments, capture_output=True, text=True, check=True).stdout
        reply = json.loads(subprocess.run(arguments + ["--format", "json"], capture_output=True, text=True,
                                          check=True).stdout)
        expected = asia.is_dseparated(a.split(","), b.split(","), given=given)
        assert text == ("yes\n" if expected else "no\n")
        assert reply["d_separated"] is expected
        assert reply["a"] == a.split(",") and reply["given"] == given
