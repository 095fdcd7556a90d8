"""The peer of the settings-file benchmark: Python's configparser reading the same REGEDIT4
file (an INI file but for its first line), timed from the text in memory to the parsed
sections, as a Python program would load its settings. Prints: seconds sections values."""
import configparser
import sys
import time

with open(sys.argv[1], encoding="cp1252", newline="") as f:
    text = f.read()
start = time.perf_counter()
body = text.split("\n", 1)[1]  # "REGEDIT4" stands before the first section
parser = configparser.ConfigParser(delimiters=("=",), interpolation=None, strict=True)
parser.read_string(body)
values = sum(len(parser[section]) for section in parser.sections())
seconds = time.perf_counter() - start
print(f"{seconds:.6f} {len(parser.sections())} {values}")
