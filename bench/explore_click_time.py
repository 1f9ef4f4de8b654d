#!/usr/bin/env python3
"""Click-to-bars time of the explore page in headless Chromium: from the
click on a state to the first frame after the new posteriors are drawn,
measured by the page itself (window.exploreTimings).

    /usr/bin/python3 bench/explore_click_time.py [--cli build/cli/samplenet] [--clicks 20]

alarm runs with -a exact and the whole picture; andes (223 nodes) with
-a epis and the picture of one chosen node and its neighbours. Needs
chromium, chromium-driver and python3-selenium (scripts/setup.sh --tests)."""

import argparse
import statistics
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "explore"))
from page_driver import ExploreServer, Page, browser_paths  # noqa: E402

CASES = [
    # network, options, node drawn (large networks only), node clicked
    ("alarm", ["-a", "exact"], None, "HYPOVOLEMIA"),
    ("andes", ["-a", "epis"], "SNode_8", "SNode_8"),
    ("andes", [], "SNode_8", "SNode_8"),
]


def measure(cli, network, options, drawn, clicked, clicks):
    path = ROOT / "data" / "networks" / f"{network}.bif.gz"
    server = ExploreServer(cli, str(path), *options)
    page = Page(*browser_paths())
    try:
        page.open(server.url + (f"?q={drawn}" if drawn else ""))
        for i in range(clicks):
            page.click_state(clicked, i % 2)
        status = page.driver.find_element("id", "status").text
        return page.timings(), status
    finally:
        page.close()
        server.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cli", default=str(ROOT / "build" / "cli" / "samplenet"))
    parser.add_argument("--clicks", type=int, default=20)
    arguments = parser.parse_args()
    if browser_paths() is None:
        sys.exit("needs chromium and chromedriver (scripts/setup.sh --tests)")
    print(f"{'network':8} {'options':10} {'median ms':>9} {'max ms':>7}  last status")
    for network, options, drawn, clicked in CASES:
        timings, status = measure(arguments.cli, network, options, drawn, clicked, arguments.clicks)
        print(f"{network:8} {' '.join(options) or '(auto)':10} {statistics.median(timings):9.0f} {max(timings):7.0f}  {status}")


if __name__ == "__main__":
    main()
