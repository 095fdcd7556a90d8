#!/usr/bin/python3
"""The pandas peer of the quote-import benchmark: reads every price file of a folder the way a
pandas user would (read_csv, C parser, dates parsed, one frame per symbol) and prints the
seconds the reading took, once pandas is loaded, and the number of bars read."""
import pathlib
import sys
import time

import pandas as pd

folder = pathlib.Path(sys.argv[1])
files = sorted(folder.glob("*.csv"))
start = time.perf_counter()
bars = 0
for file in files:
    frame = pd.read_csv(file, parse_dates=["Date"], engine="c")
    bars += len(frame)
print(f"{time.perf_counter() - start:.6f} {bars}")
