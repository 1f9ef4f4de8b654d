"""python -m samplenet batch NET CASES.csv [--format csv|parquet] [-o OUT]
python -m samplenet infer NET [-e NODE=STATE]... [--dask SCHEDULER_ADDRESS]

The command line's batch, with Parquet output (through pandas and pyarrow),
and one query, whose samples a Dask cluster can draw; it prints JSON."""

from __future__ import annotations

import argparse
import io
import json
import sys
import warnings

import pandas as pd

import samplenet
from samplenet import _core
from samplenet.options import ALGORITHMS, OPTIONS


def read_cases(path) -> pd.DataFrame:
    # Only an empty cell is unobserved: states named "NA" or "None" stay states.
    return pd.read_csv(path, dtype=str, keep_default_na=False, na_values=[""])


def batch(arguments) -> int:
    network = samplenet.load(arguments.network)
    options = {keyword: getattr(arguments, keyword) for keyword in OPTIONS if keyword not in ("jobs", "seed")}
    table = network.infer_many(
        read_cases(arguments.cases), algorithm=arguments.algorithm, seed=arguments.seed, query=arguments.query,
        jobs=arguments.jobs, on_error="raise" if arguments.on_error == "fail" else "skip",
        standard_errors=arguments.standard_errors, **options)
    table.index = table.index + 1
    table.index.name = "row"
    if not arguments.output:
        table.to_csv(sys.stdout)
    elif arguments.format == "parquet":
        parquet = io.BytesIO()
        table.to_parquet(parquet)
        _core.write_file(arguments.output, parquet.getvalue())
    else:
        _core.write_file(arguments.output, table.to_csv().encode())
    return 0


def infer(arguments) -> int:
    network = samplenet.load(arguments.network)
    evidence = dict(item.split("=", 1) if "=" in item else (item, "") for item in arguments.evidence)
    options = {keyword: getattr(arguments, keyword) for keyword in OPTIONS}
    client = None
    if arguments.dask:
        from distributed import Client
        client = Client(arguments.dask)
    try:
        result = network.infer(evidence, algorithm=arguments.algorithm, query=arguments.query, client=client,
                               **options)
    finally:
        if client is not None:
            client.close()
    print(json.dumps(result_json(result, network), indent=2))
    return 0


def result_json(result, network) -> dict:
    """The command line's JSON fields that a Result holds."""
    sampling = result.sampling
    summary = {"algorithm": result.algorithm, "ln_probability_of_evidence": result.ln_probability_of_evidence}
    if sampling is not None:
        summary.update(samples_drawn=sampling.samples_drawn, distinct_samples=sampling.distinct_samples,
                       effective_sample_size=sampling.effective_sample_size,
                       probability_of_evidence_relative_error=sampling.probability_of_evidence_relative_error,
                       error_bound=sampling.error_bound, reliable=sampling.reliable)
        if sampling.target_met is not None:
            summary["target_met"] = sampling.target_met
    summary["seconds"] = result.seconds
    summary["posteriors"] = [
        {"node": node, "states": network.states(node), "probabilities": result[node].tolist()}
        | ({} if sampling is None else {"standard_errors": sampling.standard_errors[node].tolist()})
        for node in result]
    return summary


def add_library_options(command, skip=()):
    """The library's options, as the command line takes them, under their
    concerns' headings; the library checks their values."""
    groups = {}
    for keyword, option in OPTIONS.items():
        if keyword in skip:
            continue
        if option.concern not in groups:
            groups[option.concern] = command.add_argument_group(option.concern)
        flags = ["-n", "--samples"] if keyword == "samples" else [f"--{option.name}"]
        # argparse formats help with %, so the library's "95%" is escaped.
        help_text = option.help.replace("%", "%%") + (f" (default {option.default})" if option.default else "")
        groups[option.concern].add_argument(*flags, dest=keyword, help=help_text,
                                            type={"whole": int, "number": float}.get(option.kind, str),
                                            choices=option.choices or None)


def parser() -> argparse.ArgumentParser:
    top = argparse.ArgumentParser(prog="python -m samplenet")
    commands = top.add_subparsers(dest="command", required=True)
    command = commands.add_parser("batch", help="posteriors for every row of a CSV file of evidence cases")
    command.add_argument("network")
    command.add_argument("cases", help="CSV: a header of node names, one case per row, empty cells unobserved")
    command.add_argument("-a", "--algorithm", default="epis", choices=ALGORITHMS,
                         help="epis by default, so that every row comes from one algorithm with the same columns")
    add_library_options(command, skip=("jobs",))
    command.add_argument("-q", "--query", action="append")
    command.add_argument("-j", "--jobs", type=int, help="processes to run cases on (default: one per core)")
    command.add_argument("--on-error", choices=["skip", "fail"], default="skip")
    command.add_argument("--standard-errors", action="store_true",
                         help="after the posteriors, a standard_error:NODE=STATE column for each (samplers only)")
    command.add_argument("--format", choices=["csv", "parquet"], default="csv")
    command.add_argument("-o", "--output")

    command = commands.add_parser("infer", help="posteriors of one query, as JSON; --dask draws its samples on a cluster")
    command.add_argument("network")
    command.add_argument("-e", "--evidence", action="append", default=[], metavar="NODE=STATE")
    cluster_samplers = " or ".join(_core.algorithm_names(engine_samplers=True))
    command.add_argument("-a", "--algorithm", default="epis", choices=ALGORITHMS,
                         help=f"epis by default; a cluster draws {cluster_samplers} samples")
    add_library_options(command)
    command.add_argument("-q", "--query", action="append")
    command.add_argument("--dask", metavar="SCHEDULER_ADDRESS",
                         help="draw the samples on this Dask scheduler's workers, in --jobs shares (default: one per "
                              "worker), with the results of --jobs on one machine")
    return top


def main(argv=None) -> int:
    arguments = parser().parse_args(argv)
    if arguments.command == "batch" and arguments.format == "parquet" and not arguments.output:
        parser().error("--format parquet needs -o FILE")
    warnings.formatwarning = lambda message, *_: f"samplenet: warning: {message}\n"
    try:
        return batch(arguments) if arguments.command == "batch" else infer(arguments)
    except samplenet.InferenceError as error:
        print(f"samplenet: error: {error}", file=sys.stderr)
        return 2
    except (ValueError, KeyError, OSError) as error:
        print(f"samplenet: error: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
