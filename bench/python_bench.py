#!/usr/bin/env python3
"""The lorn Python package against pandas and against the C++ library, in one run.

    PYTHONPATH=build/python python3 bench/python_bench.py [--rows N] [--reps R]
        [--dir DIR] [--gen PATH] [--bench PATH]

Generates the benchmark catalogue with lorn_gen (build-bench/bench/ by default;
./build.sh bench builds it), then measures, warm:

  - every row into a pandas DataFrame: lorn.Table(path).to_pandas() against
    pandas.read_csv(path, sep="\\t", dtype=str), both all cells as text;
  - a point query of ~10 rows with its rows read, list(table.query("STOCK=k"))
    and the same on PRIX and LIBELLE, 1,000 keys, median of single queries,
    by the exact search (the package's default) or with --walk by the index
    walk; and lorn_bench --only point on the same catalogue for the C++
    figures (the walk).
"""

import argparse
import os
import random
import re
import statistics
import subprocess
import sys
import tempfile
import time

import lorn


def median_time(action, reps):
    times = []
    for _ in range(reps):
        start = time.perf_counter()
        action()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def point_queries(table, column, keys):
    quote = column == "LIBELLE"
    expressions = [f"{column}='{k}'" if quote else f"{column}={k}" for k in keys]
    for expression in expressions[:50]:  # warm
        list(table.query(expression))
    times, rows = [], 0
    for expression in expressions:
        start = time.perf_counter_ns()
        found = list(table.query(expression))
        times.append(time.perf_counter_ns() - start)
        rows += len(found)
    return statistics.median(times) / 1000.0, rows / len(expressions)


def cpp_point_figures(bench, rows, folder):
    """The C++ point query figures of lorn_bench, in µs by column type."""
    result = subprocess.run([bench, "--rows", str(rows), "--only", "point", "--dir", folder],
                            capture_output=True, text=True, check=True)
    figures = {}
    for line in result.stdout.splitlines():
        match = re.match(r"point query (Long|Real|Str) \S+ \+ rows\s+([\d.]+) us", line)
        if match:
            figures[match.group(1)] = float(match.group(2))
    return figures


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rows", type=int, default=1_000_000)
    parser.add_argument("--reps", type=int, default=5)
    parser.add_argument("--dir", default=None)
    parser.add_argument("--gen", default="build-bench/bench/lorn_gen")
    parser.add_argument("--bench", default="build-bench/bench/lorn_bench")
    parser.add_argument("--walk", action="store_true",
                        help="queries by the index walk, as lorn_bench's (default: exact search)")
    args = parser.parse_args()
    lorn.configure(exact_search=not args.walk)
    import pandas as pd

    folder = args.dir or tempfile.mkdtemp(prefix="lorn_py_bench")
    os.makedirs(folder, exist_ok=True)
    path = os.path.join(folder, "catalogue.txt")
    subprocess.run([args.gen, "--rows", str(args.rows), path], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    with lorn.Table(path) as table:
        start = time.perf_counter()
        table.index("STOCK", "PRIX", "LIBELLE")
        index_time = time.perf_counter() - start
        rng = random.Random(7)
        sample = table.rows(rng.sample(range(len(table)), 1000), ["STOCK", "PRIX", "LIBELLE"])
        sample = [row for row in sample if all(row) and "'" not in row[2]]

    def read_lorn():
        with lorn.Table(path) as t:
            return t.to_pandas()

    def read_pandas():
        return pd.read_csv(path, sep="\t", dtype=str, encoding="cp1252", keep_default_na=False)

    read_lorn(), read_pandas()  # warm the page cache
    lorn_frame = median_time(read_lorn, args.reps)
    pandas_frame = median_time(read_pandas, args.reps)

    cpp = {}
    if os.path.exists(args.bench):
        cpp = cpp_point_figures(args.bench, args.rows, os.path.join(folder, "cpp"))
    print(f"lorn Python benchmark: {args.rows:,} rows, {os.path.getsize(path) / 1e6:.1f} MB, "
          f"Python {sys.version.split()[0]}, pandas {pd.__version__}, reps {args.reps}")
    print(f"index STOCK, PRIX, LIBELLE (analysis included): {index_time:.2f} s")
    print(f"every row into a DataFrame: lorn {lorn_frame:.2f} s, pandas.read_csv {pandas_frame:.2f} s"
          f" ({pandas_frame / lorn_frame:.2f}x)")
    with lorn.Table(path) as table:
        for position, (column, kind) in enumerate([("STOCK", "Long"), ("PRIX", "Real"),
                                                   ("LIBELLE", "Str")]):
            micros, rows = point_queries(table, column, [row[position] for row in sample])
            against = (f", C++ {cpp[kind]:.2f} us, +{micros - cpp[kind]:.2f} us"
                       if kind in cpp else "")
            search = "walk" if args.walk else "exact"
            print(f"point query {kind} {column} + rows: Python ({search}) {micros:.2f} us "
                  f"({rows:.1f} rows){against}")


if __name__ == "__main__":
    main()
