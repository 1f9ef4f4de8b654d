import json
import urllib.error
import urllib.request

import numpy as np
import pytest


def post(url, body):
    request = urllib.request.Request(url, json.dumps(body).encode(), {"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=30) as response:
        return json.load(response)


def test_explore_serves_the_posteriors_of_the_clicked_evidence(asia):
    url = asia.explore(algorithm="exact")
    assert url.startswith("http://127.0.0.1:")
    with urllib.request.urlopen(url, timeout=30) as page:
        assert b"samplenet explore" in page.read()
    answer = post(url + "api/posteriors", {"evidence": ["smoke=yes", "xray=[0.9,0.2]"]})
    expected = asia.infer(evidence={"smoke": "yes"}, likelihood={"xray": [0.9, 0.2]}, algorithm="exact")
    for v, node in enumerate(asia.nodes):
        np.testing.assert_allclose(answer["posteriors"][v], expected[node], rtol=0, atol=1e-12)
    with pytest.raises(urllib.error.HTTPError) as refused:
        post(url + "api/posteriors", {"evidence": ["smoke=sometimes"]})
    assert refused.value.code == 400
    assert json.load(refused.value)["error"] == 'unknown state "sometimes" of "smoke"; valid states: yes, no'
