#!/usr/bin/python3
"""The pandas peer of the chart benchmark.

Computes, over one symbol's closes, the three indicators the benchmark's chart draws: the
5- and 50-bar simple moving averages (rolling means) and RSIa( Close, 14 ) as AFL defines it
(Wilder's smoothing of the gains and losses: an ewm with alpha 1/14 and adjust=False, the
first 14 bars without a value). It draws nothing: it is the arithmetic of the chart alone,
done the vectorised way a pandas user would.

Usage: pandas_chart_indicators.py PRICE_FILE RUNS
Reads the file (not timed), computes the indicators RUNS times and prints the median seconds
of one computation and the number of bars.
"""
import statistics
import sys
import time

import pandas as pd


def indicators(close):
    short = close.rolling(5).mean()
    long = close.rolling(50).mean()
    change = close.diff()
    gain = change.clip(lower=0).fillna(0)
    loss = (-change).clip(lower=0).fillna(0)
    up = gain.ewm(alpha=1 / 14, adjust=False).mean()
    down = loss.ewm(alpha=1 / 14, adjust=False).mean()
    rsi = 100 - 100 / (1 + up / down)
    rsi.iloc[:14] = float("nan")
    return short, long, rsi


def main():
    close = pd.read_csv(sys.argv[1], usecols=["Close"], engine="c")["Close"].astype("float64")
    runs = int(sys.argv[2])
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        indicators(close)
        times.append(time.perf_counter() - start)
    print(f"{statistics.median(times):.9f} {len(close)}")


if __name__ == "__main__":
    main()
