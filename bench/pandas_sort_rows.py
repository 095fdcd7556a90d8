#!/usr/bin/python3
"""The pandas peer of the results table's sort benchmark.

Usage: pandas_sort_rows.py ROWS_CSV RUNS
Reads the rows (Symbol,Date,Close,Volume; not timed) and sorts them RUNS times each way a
header click does: by Close (a number) and by Symbol descending, both stable, so that ties keep
the rows' own order (by symbol, then date), as the table's do. Prints one line: the median
seconds of the sort by the number and of the sort by the symbol, and the first symbol of each
result, to check both sorted the same rows the same way.
"""
import statistics
import sys
import time

import pandas as pd


def timed(frame, runs, **how):
    seconds = []
    result = None
    for _ in range(runs):
        start = time.perf_counter()
        result = frame.sort_values(kind="stable", **how)
        seconds.append(time.perf_counter() - start)
    return statistics.median(seconds), result


def main():
    rows, runs = sys.argv[1], int(sys.argv[2])
    frame = pd.read_csv(rows, dtype={"Symbol": str})
    by_number, numbers = timed(frame, runs, by="Close", ascending=False)
    by_symbol, symbols = timed(frame, runs, by="Symbol", ascending=False)
    first = numbers.iloc[0]
    print(f"{by_number:.6f} {by_symbol:.6f} {first['Symbol']},{first['Date']} "
          f"{symbols.iloc[0]['Symbol']},{symbols.iloc[0]['Date']}")


main()
