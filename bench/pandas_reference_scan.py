#!/usr/bin/python3
"""The pandas peer of the warm reference-scan benchmark.

    Buy = RSIa( Close, 14 ) < 30 AND BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) <= 3
          AND Volume > MA( Volume, 15 );

Written the fast way a pandas user would: one wide frame per field (a column per symbol) and
vectorised operations over the whole frame, no Python loop over symbols or bars. AFL computes
each symbol on its own bars, so a symbol's missing days are no gaps in its arrays: the frames
are laid out by bar number, each symbol's bars ending on the last row (every symbol of the data
set ends on the same date), so that a symbol that starts late has only leading NaNs. RSIa is
AFL's: both averages start at zero on the symbol's first bar and follow Wilder's smoothing
(an ewm with alpha 1/n and adjust=False), and the first n bars have no value.

Usage: pandas_reference_scan.py PRICES_DIR SIGNALS_FILE RUNS
Reads every SYMBOL.csv (not timed), runs the scan RUNS times on the frames in memory, and
compares its signals with SIGNALS_FILE (lines "SYMBOL,YYYY-MM-DD", the engine's). Prints one
line: the median seconds of a run, the number of signals, and the number of signals found by
only one of the two (0 when both find the same set).
"""
import pathlib
import statistics
import sys
import time

import numpy as np
import pandas as pd


def load(folder):
    closes, volumes, dates = {}, {}, {}
    for file in sorted(pathlib.Path(folder).glob("*.csv")):
        frame = pd.read_csv(file, usecols=["Date", "Close", "Volume"], engine="c")
        symbol = file.name[: -len(".csv")]
        closes[symbol] = frame["Close"].to_numpy(dtype=np.float64)
        volumes[symbol] = frame["Volume"].to_numpy(dtype=np.float64)
        dates[symbol] = frame["Date"].to_numpy()
    length = max(len(c) for c in closes.values())

    def wide(columns):
        # Each symbol's bars at the bottom, NaN above its first bar.
        block = np.full((length, len(columns)), np.nan)
        for j, values in enumerate(columns.values()):
            block[length - len(values):, j] = values
        return pd.DataFrame(block, columns=list(columns.keys()))

    return wide(closes), wide(volumes), dates, length


def reference_scan(close, volume):
    n = 14
    change = close.diff()
    up = change.clip(lower=0).fillna(0.0)
    down = (-change).clip(lower=0).fillna(0.0)
    gains = up.ewm(alpha=1 / n, adjust=False).mean()
    losses = down.ewm(alpha=1 / n, adjust=False).mean()
    rsi = 100 * gains / (gains + losses)
    # The bar number within each symbol: its first bar is 0.
    bar = close.notna().cumsum() - 1
    rsi = rsi.where(bar >= n)

    fast = close.rolling(5).mean()
    slow = close.rolling(50).mean()
    cross = (fast > slow) & (fast.shift(1) <= slow.shift(1))
    rows = np.arange(len(close), dtype=np.float64)[:, None]
    last_cross = pd.DataFrame(np.where(cross.to_numpy(), rows, np.nan), columns=close.columns)
    bars_since = rows - last_cross.ffill().to_numpy()

    return (rsi < 30) & (bars_since <= 3) & (volume > volume.rolling(15).mean())


def main():
    folder, signals_file, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
    close, volume, dates, length = load(folder)
    seconds = []
    for _ in range(runs):
        start = time.perf_counter()
        buy = reference_scan(close, volume)
        row, column = np.nonzero(buy.to_numpy())
        seconds.append(time.perf_counter() - start)

    symbols = list(close.columns)
    found = set()
    for r, c in zip(row, column):
        symbol = symbols[c]
        days = dates[symbol]
        found.add(f"{symbol},{days[r - (length - len(days))]}")
    ours = set(pathlib.Path(signals_file).read_text().split())
    print(f"{statistics.median(seconds):.6f} {len(found)} {len(found ^ ours)}")


main()
