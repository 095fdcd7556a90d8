#!/usr/bin/python3
"""Independent reference for the AFL evaluator's test vectors.

Every function below is written from the definitions in the engine's semantics (what each AFL
function computes, with the settled choices), with plain loops and no cleverness, so that a
reader can check a value without reading the C++ evaluator. Running this script writes
series.txt (the price series) and one file of cases per function family; the C++ test runs
each case's AFL expression on its series and compares bar by bar.

Null is None. IEEE results are kept: a division by zero gives an infinity or NaN, never an
exception (see div).
"""

import datetime
import math
import os

NAN = float("nan")
INF = float("inf")
HERE = os.path.dirname(os.path.abspath(__file__))


# ---------------------------------------------------------------- values and Null rules

def div(a, b):
    """IEEE division: x/0 is an infinity with the sign of x times the sign of the zero."""
    if b == 0:
        if a == 0 or math.isnan(a):
            return NAN
        return math.copysign(INF, a) * math.copysign(1.0, b)
    return a / b


def truth(v):
    """True: non-zero and not NaN (Null is handled before this is asked)."""
    return v != 0 and not math.isnan(v)


def leading(x):
    n = 0
    while n < len(x) and x[n] is None:
        n += 1
    return n


def after_lead(core, arrays, size):
    """Runs core on the bars after the leading Nulls of all the arrays; Null before."""
    first = max([leading(a) for a in arrays] + [0])
    first = min(first, size)
    part = core(*[a[first:] for a in arrays])
    return [None] * first + part


def each(f, *args):
    """Element by element; a number stands for itself on every bar; Null in, Null out."""
    size = max(len(a) for a in args if isinstance(a, list))
    out = []
    for i in range(size):
        values = [a[i] if isinstance(a, list) else a for a in args]
        out.append(None if any(v is None for v in values) else f(*values))
    return out


def window(x, i, n):
    return x[i - n + 1:i + 1]


# ---------------------------------------------------------------- averages

def MA(x, n):
    return after_lead(lambda x: [sum(window(x, i, n)) / n if i >= n - 1 else None
                                 for i in range(len(x))], [x], len(x))


def smoothed(x, n, k):
    """Seeded with the simple average of the first n values at bar n-1."""
    def core(x):
        out = [None] * len(x)
        if n > len(x):
            return out
        e = sum(x[:n]) / n
        out[n - 1] = e
        for i in range(n, len(x)):
            e = e + k * (x[i] - e)
            out[i] = e
        return out
    return after_lead(core, [x], len(x))


def EMA(x, n):
    return smoothed(x, n, 2.0 / (n + 1))


def Wilders(x, n):
    return smoothed(x, n, 1.0 / n)


def WMA(x, n):
    def core(x):
        out = []
        for i in range(len(x)):
            if i < n - 1:
                out.append(None)
                continue
            total = sum((n - j) * x[i - j] for j in range(n))
            out.append(total / (n * (n + 1) / 2))
        return out
    return after_lead(core, [x], len(x))


def DEMA(x, n):
    k = 2.0 / (n + 1)

    def core(x):
        e1 = e2 = None
        out = []
        for v in x:
            if e1 is None:
                e1 = e2 = v
            else:
                e1 = e1 + k * (v - e1)
                e2 = e2 + k * (e1 - e2)
            out.append(2 * e1 - e2)
        return out
    return after_lead(core, [x], len(x))


def TEMA(x, n):
    k = 2.0 / (n + 1)

    def core(x):
        e1 = e2 = e3 = None
        out = []
        for v in x:
            if e1 is None:
                e1 = e2 = e3 = v
            else:
                e1 = e1 + k * (v - e1)
                e2 = e2 + k * (e1 - e2)
                e3 = e3 + k * (e2 - e3)
            out.append(3 * e1 - 3 * e2 + e3)
        return out
    return after_lead(core, [x], len(x))


def AMA(x, f):
    f = f if isinstance(f, list) else [f] * len(x)

    def core(x, f):
        out = []
        for i in range(len(x)):
            out.append(x[0] if i == 0 else f[i] * x[i] + (1 - f[i]) * out[i - 1])
        return out
    return after_lead(core, [x, f], len(x))


def AMA2(x, sf, ff):
    sf = sf if isinstance(sf, list) else [sf] * len(x)
    ff = ff if isinstance(ff, list) else [ff] * len(x)

    def core(x, sf, ff):
        out = []
        for i in range(len(x)):
            out.append(x[0] if i == 0 else sf[i] * x[i] + ff[i] * out[i - 1])
        return out
    return after_lead(core, [x, sf, ff], len(x))


def StDev(x, n, population=True):
    def core(x):
        out = []
        for i in range(len(x)):
            if i < n - 1:
                out.append(None)
                continue
            w = window(x, i, n)
            mean = sum(w) / n
            squares = sum((v - mean) ** 2 for v in w)
            out.append(math.sqrt(squares / (n if population else n - 1)))
        return out
    return after_lead(core, [x], len(x))


def BBandTop(x, n=15, width=2):
    return each(lambda m, s: m + width * s, MA(x, n), StDev(x, n))


def BBandBot(x, n=15, width=2):
    return each(lambda m, s: m - width * s, MA(x, n), StDev(x, n))


# ---------------------------------------------------------------- oscillators and trend

def rsi_loop(x, n, lag, first):
    """The developer's RSI loop on the change over `lag` bars: zero-seeded Wilder averages;
    a bar where both averages are 0 (nothing has changed yet) is Null."""
    def core(x):
        p = q = 0.0
        out = []
        for i in range(len(x)):
            if i < lag:
                out.append(None)
                continue
            d = x[i] - x[i - lag]
            p = ((n - 1) * p + max(d, 0.0)) / n
            q = ((n - 1) * q + max(-d, 0.0)) / n
            out.append(100 * p / (p + q) if i >= first and p + q != 0 else None)
        return out
    return after_lead(core, [x], len(x))


def RSIa(x, n=14):
    return rsi_loop(x, n, 1, n)


def RMI(close, n=20, m=5):
    return rsi_loop(close, n, m, m + n - 1)


def CCIa(x, n=14):
    def core(x):
        out = []
        for i in range(len(x)):
            if i < n - 1:
                out.append(None)
                continue
            w = window(x, i, n)
            mean = sum(w) / n
            deviation = sum(abs(v - mean) for v in w) / n
            out.append(div(x[i] - mean, 0.015 * deviation))
        return out
    return after_lead(core, [x], len(x))


def extreme(x, n, pick):
    """pick (min or max) of the n bars ending at each bar; NaN when the window holds one."""
    def core(x):
        out = []
        for i in range(len(x)):
            w = window(x, i, n) if i >= n - 1 else None
            out.append(None if w is None else NAN if any(math.isnan(v) for v in w) else pick(w))
        return out
    return after_lead(core, [x], len(x))


def LLV(x, n):
    return extreme(x, n, min)


def HHV(x, n):
    return extreme(x, n, max)


def StochK(s, p=14, k=3):
    lowest, highest = LLV(s.L, p), HHV(s.H, p)
    fast = each(lambda c, lo, hi: div(100 * (c - lo), hi - lo), s.C, lowest, highest)
    return MA(fast, k)


def StochD(s, p=14, k=3, d=3):
    return MA(StochK(s, p, k), d)


def ROC(x, n=12, absmode=False):
    def core(x):
        return [None if i < n else
                div(100 * (x[i] - x[i - n]), abs(x[i - n]) if absmode else x[i - n])
                for i in range(len(x))]
    return after_lead(core, [x], len(x))


def Ref(x, k):
    if not isinstance(x, list):
        return x
    return [x[i + k] if 0 <= i + k < len(x) else None for i in range(len(x))]


def TRIX(close, n=9):
    e3 = EMA(EMA(EMA(close, n), n), n)
    return each(lambda now, before: div(100 * (now - before), before), e3, Ref(e3, -1))


def MACD(close, fast=12, slow=26):
    return each(lambda a, b: a - b, EMA(close, fast), EMA(close, slow))


def Signal(close, fast=12, slow=26, signal=9):
    return EMA(MACD(close, fast, slow), signal)


def OscP(close, fast, slow):
    return each(lambda a, b: a - b, EMA(close, fast), EMA(close, slow))


def OscV(volume, fast, slow):
    return each(lambda a, b: div(100 * (a - b), b), EMA(volume, fast), EMA(volume, slow))


def Ultimate(s, a=7, b=14, c=28):
    size = len(s.C)
    bp = [None] + [s.C[i] - min(s.L[i], s.C[i - 1]) for i in range(1, size)]
    tr = [None] + [max(s.H[i], s.C[i - 1]) - min(s.L[i], s.C[i - 1]) for i in range(1, size)]

    def average(i, n):
        return div(sum(bp[i - n + 1:i + 1]), sum(tr[i - n + 1:i + 1]))
    first = max(a, b, c)
    return [None if i < first else
            100 * (4 * average(i, a) + 2 * average(i, b) + average(i, c)) / 7
            for i in range(size)]


def MFI(s, n=14):
    size = len(s.C)
    tp = [(s.H[i] + s.L[i] + s.C[i]) / 3 for i in range(size)]
    out = []
    for i in range(size):
        if i < n:
            out.append(None)
            continue
        rising = falling = 0.0
        for j in range(i - n + 1, i + 1):
            flow = tp[j] * s.V[j]
            if tp[j] > tp[j - 1]:
                rising += flow
            elif tp[j] < tp[j - 1]:
                falling += flow
        out.append(div(100 * rising, rising + falling))
    return out


def SAR(s, acc=0.02, limit=0.2):
    """Wilder's parabolic SAR as the looping definition: long from bar 0 with SAR = Low[0] and
    EP = High[0]; the starting and reset acceleration is min(acc, limit)."""
    start = min(acc, limit)
    size = len(s.C)
    out = [s.L[0]]
    long, ep, af = True, s.H[0], start
    for i in range(1, size):
        sar = out[i - 1] + af * (ep - out[i - 1])
        if long:
            if s.L[i] < sar:
                long, sar, ep, af = False, ep, s.L[i], start
            else:
                if s.H[i] > ep:
                    ep, af = s.H[i], min(af + acc, limit)
                sar = min([sar] + s.L[max(0, i - 2):i])
        else:
            if s.H[i] > sar:
                long, sar, ep, af = True, ep, s.H[i], start
            else:
                if s.L[i] < ep:
                    ep, af = s.L[i], min(af + acc, limit)
                sar = max([sar] + s.H[max(0, i - 2):i])
        out.append(sar)
    return out


def true_range(s):
    return [s.H[0] - s.L[0]] + [max(s.H[i] - s.L[i], abs(s.H[i] - s.C[i - 1]),
                                    abs(s.L[i] - s.C[i - 1])) for i in range(1, len(s.C))]


def ATR(s, n):
    tr = true_range(s)
    out = [None] * len(tr)
    if n > len(tr):
        return out
    atr = sum(tr[:n]) / n  # the seed at bar n-1, not shown
    for i in range(n, len(tr)):
        atr = ((n - 1) * atr + tr[i]) / n
        out[i] = atr
    return out


def directional(s, n):
    """TA-Lib's seeding: Wilder sums seeded with the first n-1 one-bar values, first DI at bar
    n, first ADX (the mean of the first n DX) at bar 2n-1. No range gives DI and DX of 0."""
    size = len(s.C)
    plus_di, minus_di, adx_out = [None] * size, [None] * size, [None] * size
    sp = sm = st = 0.0
    dxs = []
    adx = None
    for i in range(1, size):
        up = s.H[i] - s.H[i - 1]
        down = s.L[i - 1] - s.L[i]
        pdm = up if up > down and up > 0 else 0.0
        mdm = down if down > up and down > 0 else 0.0
        tr = max(s.H[i] - s.L[i], abs(s.H[i] - s.C[i - 1]), abs(s.L[i] - s.C[i - 1]))
        if i < n:
            sp, sm, st = sp + pdm, sm + mdm, st + tr
            continue
        sp = sp - sp / n + pdm
        sm = sm - sm / n + mdm
        st = st - st / n + tr
        pdi = 100 * sp / st if st != 0 else 0.0
        mdi = 100 * sm / st if st != 0 else 0.0
        dx = 100 * abs(pdi - mdi) / (pdi + mdi) if pdi + mdi != 0 else 0.0
        plus_di[i], minus_di[i] = pdi, mdi
        if i < 2 * n - 1:
            dxs.append(dx)
            continue
        if i == 2 * n - 1:
            adx = (sum(dxs) + dx) / n
        else:
            adx = ((n - 1) * adx + dx) / n
        adx_out[i] = adx
    return plus_di, minus_di, adx_out


def ADX(s, n=14):
    return directional(s, n)[2]


def PDI(s, n=14):
    return directional(s, n)[0]


def MDI(s, n=14):
    return directional(s, n)[1]


def RWI(s, low_n, high_n):
    """Poulos: the largest (H - L[-n]) / (ATR(n) * sqrt(n)) over n in [min, max], less the
    largest (H[-n] - L) / (ATR(n) * sqrt(n)); the first value at bar max. Periods are taken
    in increasing order and a later one replaces the kept value only when it is larger."""
    size = len(s.C)
    out = [None] * size
    if low_n > high_n or high_n >= size:
        return out
    for i in range(high_n, size):
        hi = lo = None
        for n in range(low_n, high_n + 1):
            scale = ATR(s, n)[i] * math.sqrt(n)
            up = div(s.H[i] - s.L[i - n], scale)
            down = div(s.H[i - n] - s.L[i], scale)
            if hi is None or up > hi:
                hi = up
            if lo is None or down > lo:
                lo = down
        out[i] = hi - lo
    return out


# ---------------------------------------------------------------- volume and accumulation

def AccDist(s):
    out, total = [], 0.0
    for i in range(len(s.C)):
        r = s.H[i] - s.L[i]
        if r != 0:  # a bar with High = Low adds 0
            total += s.V[i] * ((s.C[i] - s.L[i]) - (s.H[i] - s.C[i])) / r
        out.append(total)
    return out


def Chaikin(s, fast=9, slow=14):
    line = AccDist(s)
    return each(lambda a, b: a - b, EMA(line, fast), EMA(line, slow))


def OBV(s):
    out, total = [], 0.0
    for i in range(len(s.C)):
        if i > 0 and s.C[i] > s.C[i - 1]:
            total += s.V[i]
        elif i > 0 and s.C[i] < s.C[i - 1]:
            total -= s.V[i]
        out.append(total)
    return out


def NVI(s):
    out, index = [], 1000.0
    for i in range(len(s.C)):
        if i > 0 and s.V[i] < s.V[i - 1]:
            index = index * (1 + (s.C[i] - s.C[i - 1]) / s.C[i - 1])
        out.append(index)
    return out


# ---------------------------------------------------------------- breadth

def breadth_of(s, date):
    day = s.breadth.get(date) if s.breadth else None
    if day is None or day[0] + day[1] + day[2] == 0:
        return None  # no breadth that date (nothing could be compared)
    return day


def ADLine(s):
    out, total = [], 0.0
    for date in s.dates:
        day = breadth_of(s, date)
        if day is None:
            out.append(None)
            continue
        adv, dec, unc = day[0], day[1], day[2]
        diff = (adv - dec) / (unc + 1)
        total += math.sqrt(diff) if diff > 0 else -math.sqrt(-diff)
        out.append(total)
    return out


def TRIN(s):
    out = []
    for date in s.dates:
        day = breadth_of(s, date)
        out.append(None if day is None else
                   div(div(day[0], day[1]), div(day[3], day[4])))
    return out


# ---------------------------------------------------------------- trading toolbox

def Cross(a, b):
    size = len(a) if isinstance(a, list) else len(b)
    a = a if isinstance(a, list) else [a] * size
    b = b if isinstance(b, list) else [b] * size
    out = [0.0]
    for i in range(1, size):
        values = (a[i], b[i], a[i - 1], b[i - 1])
        if any(v is None for v in values):
            out.append(0.0)
        else:
            out.append(1.0 if a[i] > b[i] and a[i - 1] <= b[i - 1] else 0.0)
    return out[:size]


def BarsSince(c):
    out, since = [], None
    for v in c:
        if v is not None and truth(v):
            since = 0
        elif since is not None:
            since += 1
        out.append(None if since is None else float(since))
    return out


def Sum(x, n):
    return after_lead(lambda x: [sum(window(x, i, n)) if i >= n - 1 else None
                                 for i in range(len(x))], [x], len(x))


def Cum(x):
    def core(x):
        out, total = [], 0.0
        for v in x:
            total += v
            out.append(total)
        return out
    return after_lead(core, [x], len(x))


def LastValue(x, size):
    v = x[-1] if isinstance(x, list) else x
    return [0.0 if v is None else v] * size


def IIf(c, a, b):
    size = len(c)
    a = a if isinstance(a, list) else [a] * size
    b = b if isinstance(b, list) else [b] * size
    return [None if c[i] is None else a[i] if truth(c[i]) else b[i] for i in range(size)]


def ExRem(a, b):
    out, armed = [], True
    for i in range(len(a)):
        first = a[i] is not None and truth(a[i])
        out.append(1.0 if armed and first else 0.0)
        if armed and first:
            armed = False
        elif not armed and b[i] is not None and truth(b[i]):
            armed = True
    return out


def Nz(x, fallback=0.0):
    return [fallback if v is None or math.isnan(v) or math.isinf(v) else v for v in x]


def compare(op):
    return lambda a, b: 1.0 if op(a, b) else 0.0


def logical_and(a, b):
    return each(lambda x, y: 1.0 if truth(x) and truth(y) else 0.0, a, b)


def logical_or(a, b):
    return each(lambda x, y: 1.0 if truth(x) or truth(y) else 0.0, a, b)


def logical_not(a):
    return each(lambda x: 0.0 if truth(x) else 1.0, a)


# ---------------------------------------------------------------- the series

class Series:
    def __init__(self, name, dates, o, h, l, c, v, oi, info, market=None):
        self.name, self.dates = name, dates
        self.O, self.H, self.L, self.C, self.V, self.OI = o, h, l, c, v, oi
        self.info = info
        self.market = market
        self.breadth = None

    @property
    def Avg(self):
        return [(self.H[i] + self.L[i] + self.C[i]) / 3 for i in range(len(self.C))]


def business_days(first, count):
    days, day = [], first
    while len(days) < count:
        if day.weekday() < 5:
            days.append(day)
        day += datetime.timedelta(days=1)
    return days


class Random:
    """A small generator of its own, so the series never change with the Python version."""

    def __init__(self, seed):
        self.state = seed

    def next(self):
        self.state = (self.state * 6364136223846793005 + 1442695040888963407) % 2 ** 64
        return (self.state >> 11) / 2 ** 53


def walk(name, count, seed, start_price, flat_until=0, info=None, dates=None):
    """A random walk with the habits of real quotes: cents, whole volumes, some unchanged
    closes, some bars with High = Low, and a flat stretch at the start when asked."""
    rnd = Random(seed)
    dates = dates or business_days(datetime.date(2018, 1, 2), count)
    o, h, l, c, v, oi = [], [], [], [], [], []
    price = start_price
    for i in range(count):
        if i < flat_until:
            o.append(price), h.append(price), l.append(price), c.append(price)
            v.append(500.0), oi.append(0.0)
            continue
        change = round((rnd.next() - 0.5) * 2.0, 2)
        if i % 11 == 5:
            change = 0.0
        close = round(price + change, 2)
        open_ = round(price + round((rnd.next() - 0.5) * 0.6, 2), 2)
        high = round(max(open_, close) + round(rnd.next() * 0.8, 2), 2)
        low = round(min(open_, close) - round(rnd.next() * 0.8, 2), 2)
        if i % 17 == 9:
            open_ = high = low = close
        o.append(open_), h.append(high), l.append(low), c.append(close)
        v.append(float(1000 + int(rnd.next() * 9000)))
        oi.append(float(int(rnd.next() * 300)))
        price = close
    return Series(name, dates, o, h, l, c, v, oi,
                  info or ("NYSE", 1, "Stocks", 0, "Technology", 7, "Semiconductors", 42, [0, 3]))


def ties():
    """Closes that touch a level exactly: a tie followed by a rise is a cross, a tie is not."""
    closes = [9, 10, 11, 11, 10, 10, 11, 9, 10.5, 10, 10, 10, 12, 12, 10, 8, 10, 10, 11, 11]
    dates = business_days(datetime.date(2018, 1, 2), len(closes))
    c = [float(x) for x in closes]
    return Series("ties", dates, c[:], [x + 0.5 for x in c], [x - 0.5 for x in c], c,
                  [1000.0 + 10 * i for i in range(len(c))], [0.0] * len(c),
                  ("NASDAQ", 2, "", 0, "Finance", 3, "Banks", 9, []))


def with_gaps():
    """A symbol with missing days, in a market whose breadth also misses a date and has one
    date on which nothing could be compared."""
    market_days = business_days(datetime.date(2018, 3, 1), 30)
    own = [d for i, d in enumerate(market_days) if i not in (5, 6, 15)]
    s = walk("gaps", len(own), 77, 40.0, dates=own)
    rnd = Random(5)
    s.market = "NYSE"
    s.breadth = {}
    for i, d in enumerate(market_days):
        if i == 0 or i == 10:
            continue  # the first date of the database, and a date the market lacks
        if i == 20:
            s.breadth[d] = (0.0, 0.0, 0.0, 0.0, 0.0)
            continue
        adv = float(int(rnd.next() * 300))
        dec = 0.0 if i == 25 else float(int(rnd.next() * 300))
        unc = float(int(rnd.next() * 40))
        s.breadth[d] = (adv, dec, unc, float(int(rnd.next() * 1e6)), float(int(rnd.next() * 1e6)))
    return s


SERIES = [
    walk("walk", 80, 1, 50.0),
    walk("short", 44, 2, 20.0),
    walk("flat", 45, 3, 25.0, flat_until=20),
    ties(),
    with_gaps(),
]
BY_NAME = {s.name: s for s in SERIES}


# ---------------------------------------------------------------- the cases

def cases():
    """(family, AFL expression, series, reference). The expression is written as a user
    would; the reference computes the same from the definitions above."""
    W, S, F, T, G = (BY_NAME[n] for n in ("walk", "short", "flat", "ties", "gaps"))
    out = []

    def add(family, afl, series_list, ref):
        for s in series_list:
            out.append((family, afl, s, ref(s)))

    every = [W, S, F]
    a = "averages"
    add(a, "MA( Close, 5 )", every, lambda s: MA(s.C, 5))
    add(a, "MA( Close, 50 )", every, lambda s: MA(s.C, 50))
    add(a, "MA( Volume, 15 )", [W], lambda s: MA(s.V, 15))
    add(a, "MA( RSIa( Close, 14 ), 10 )", [W, F], lambda s: MA(RSIa(s.C, 14), 10))
    add(a, "MA( Close, 2.9 )", [W], lambda s: MA(s.C, 2))
    add(a, "MA( Close, 0 )", [W], lambda s: [None] * len(s.C))
    add(a, "EMA( Close, 5 )", every, lambda s: EMA(s.C, 5))
    add(a, "EMA( Close, 1 )", [W], lambda s: EMA(s.C, 1))
    add(a, "EMA( MA( Close, 3 ), 4 )", [W], lambda s: EMA(MA(s.C, 3), 4))
    add(a, "WMA( Close, 5 )", every, lambda s: WMA(s.C, 5))
    add(a, "WMA( Close, 50 )", [W, S], lambda s: WMA(s.C, 50))
    add(a, "DEMA( Close, 5 )", every, lambda s: DEMA(s.C, 5))
    add(a, "DEMA( Ref( Close, -3 ), 5 )", [W], lambda s: DEMA(Ref(s.C, -3), 5))
    add(a, "TEMA( Close, 5 )", every, lambda s: TEMA(s.C, 5))
    add(a, "Wilders( Close, 10 )", every, lambda s: Wilders(s.C, 10))
    add(a, "AMA( Close, 1 )", [W], lambda s: AMA(s.C, 1))
    add(a, "AMA( Close, 0.3 )", every, lambda s: AMA(s.C, 0.3))
    add(a, "AMA( Close, Abs( Close - Ref( Close, -1 ) ) / 10 )", [W],
        lambda s: AMA(s.C, each(lambda x, y: abs(x - y) / 10, s.C, Ref(s.C, -1))))
    add(a, "AMA2( Close, 1, 1 )", [W], lambda s: AMA2(s.C, 1, 1))
    add(a, "AMA2( Close, 0.2, 0.7 )", every, lambda s: AMA2(s.C, 0.2, 0.7))
    add(a, "AMA2( Close, MA( Volume, 3 ) / 20000, 0.9 )", [W],
        lambda s: AMA2(s.C, each(lambda x: x / 20000, MA(s.V, 3)), 0.9))
    add(a, "StDev( Close, 10 )", every, lambda s: StDev(s.C, 10))
    add(a, "StDev( Close, 10, False )", [W], lambda s: StDev(s.C, 10, False))
    add(a, "BBandBot( Close, 10, 2 )", every, lambda s: BBandBot(s.C, 10, 2))
    add(a, "BBandTop( Close, 5, 2 )", every, lambda s: BBandTop(s.C, 5, 2))
    add(a, "BBandTop( Close )", [W], lambda s: BBandTop(s.C))

    o = "oscillators"
    add(o, "RSIa( Close, 14 )", every + [T], lambda s: RSIa(s.C, 14))
    add(o, "RSIa( Close, 2 )", [W, F], lambda s: RSIa(s.C, 2))
    add(o, "RSI( 14 )", [W], lambda s: RSIa(s.C, 14))
    add(o, "RSI()", [F], lambda s: RSIa(s.C, 14))
    add(o, "RMI( 20, 5 )", every, lambda s: RMI(s.C, 20, 5))
    add(o, "RMI( 3, 1 )", [W, F], lambda s: RMI(s.C, 3, 1))
    add(o, "RMI()", [W], lambda s: RMI(s.C))
    add(o, "CCIa( Close, 14 )", every, lambda s: CCIa(s.C, 14))
    add(o, "CCI( 10 )", [W, F], lambda s: CCIa(s.Avg, 10))
    add(o, "StochK( 14, 3 )", every, lambda s: StochK(s, 14, 3))
    add(o, "StochK()", [W], lambda s: StochK(s))
    add(o, "StochD( 14, 3, 3 )", every, lambda s: StochD(s, 14, 3, 3))
    add(o, "StochD( 5, 2, 4 )", [W], lambda s: StochD(s, 5, 2, 4))
    add(o, "ROC( Close, 12, False )", every, lambda s: ROC(s.C, 12))
    add(o, "ROC( Close - 50, 3, True )", [W], lambda s: ROC(each(lambda x: x - 50, s.C), 3, True))
    add(o, "ROC( Close - 50, 3 )", [W], lambda s: ROC(each(lambda x: x - 50, s.C), 3))
    add(o, "TRIX( 9 )", every, lambda s: TRIX(s.C, 9))
    add(o, "TRIX( 3 )", [W], lambda s: TRIX(s.C, 3))
    add(o, "MACD( 12, 26 )", every, lambda s: MACD(s.C, 12, 26))
    add(o, "MACD( 26, 12 )", [W], lambda s: MACD(s.C, 26, 12))
    add(o, "MACD()", [W], lambda s: MACD(s.C))
    add(o, "Signal( 12, 26, 9 )", every, lambda s: Signal(s.C, 12, 26, 9))
    add(o, "Signal( 5, 10, 3 )", [W], lambda s: Signal(s.C, 5, 10, 3))
    add(o, "OSCP( 9, 18 )", every, lambda s: OscP(s.C, 9, 18))
    add(o, "OSCV( 9, 18 )", every, lambda s: OscV(s.V, 9, 18))
    add(o, "Ultimate( 7, 14, 28 )", every, lambda s: Ultimate(s, 7, 14, 28))
    add(o, "Ultimate( 2, 3, 5 )", [W, F], lambda s: Ultimate(s, 2, 3, 5))
    add(o, "MFI( 14 )", every, lambda s: MFI(s, 14))
    add(o, "MFI( 3 )", [F], lambda s: MFI(s, 3))
    add(o, "SAR( 1.02, 0.2 )", every, lambda s: SAR(s, 1.02, 0.2))
    add(o, "SAR()", every, lambda s: SAR(s))
    add(o, "SAR( 0.05, 0.5 )", [W], lambda s: SAR(s, 0.05, 0.5))
    add(o, "ADX( 14 )", every, lambda s: ADX(s, 14))
    add(o, "ADX( 5 )", [W, F], lambda s: ADX(s, 5))
    add(o, "ADX( 1 )", [W], lambda s: ADX(s, 1))
    add(o, "PDI()", every, lambda s: PDI(s))
    add(o, "MDI()", every, lambda s: MDI(s))
    add(o, "PDI( 5 )", [W], lambda s: PDI(s, 5))
    add(o, "MDI( 5 )", [W], lambda s: MDI(s, 5))
    add(o, "ATR( 14 )", every, lambda s: ATR(s, 14))
    add(o, "ATR( 1 )", [W], lambda s: ATR(s, 1))
    add(o, "RWI( 9, 40 )", every, lambda s: RWI(s, 9, 40))
    add(o, "RWI( 2, 5 )", [W, F], lambda s: RWI(s, 2, 5))

    v = "volume"
    add(v, "AccDist()", every, AccDist)
    add(v, "Chaikin( 9, 14 )", every, lambda s: Chaikin(s, 9, 14))
    add(v, "Chaikin()", [W], lambda s: Chaikin(s))
    add(v, "OBV()", every + [T], OBV)
    add(v, "NVI()", every + [T], NVI)

    b = "breadth"
    add(b, "adline()", [G], ADLine)
    add(b, "TRIN()", [G], TRIN)
    add(b, "ADLine()", [W], lambda s: [None] * len(s.C))  # no breadth for its market
    add(b, "Close", [G], lambda s: s.C)
    add(b, "MA( Close, 5 )", [G], lambda s: MA(s.C, 5))  # missing days change nothing else

    t = "toolbox"
    add(t, "Close", every, lambda s: s.C)
    add(t, "C + O + H + L + V + OI", [W],
        lambda s: each(lambda c, o, h, l, v, oi: c + o + h + l + v + oi,
                       s.C, s.O, s.H, s.L, s.V, s.OI))
    add(t, "Open + High + Low + Volume + OpenInt", [W],
        lambda s: each(lambda o, h, l, v, oi: o + h + l + v + oi, s.O, s.H, s.L, s.V, s.OI))
    add(t, "Avg", [W], lambda s: s.Avg)
    add(t, "Ref( Close, -1 )", every, lambda s: Ref(s.C, -1))
    add(t, "Ref( Close, 2 )", [W], lambda s: Ref(s.C, 2))
    add(t, "Ref( Close, 0 )", [W], lambda s: s.C)
    add(t, "Ref( MA( Close, 5 ), -3 )", [W], lambda s: Ref(MA(s.C, 5), -3))
    add(t, "Ref( Close, -100 )", [S], lambda s: [None] * len(s.C))
    add(t, "Cross( Close, 10 )", [T], lambda s: Cross(s.C, 10.0))
    add(t, "Cross( 10, Close )", [T], lambda s: Cross(10.0, s.C))
    add(t, "Cross( Close, Ref( Close, -1 ) )", [T, W], lambda s: Cross(s.C, Ref(s.C, -1)))
    add(t, "Cross( MA( Close, 2 ), MA( Close, 3 ) )", [T, W],
        lambda s: Cross(MA(s.C, 2), MA(s.C, 3)))
    add(t, "Cross( MA( Close, 5 ), MA( Close, 50 ) )", [W, S],
        lambda s: Cross(MA(s.C, 5), MA(s.C, 50)))
    add(t, "BarsSince( Close > Ref( Close, -1 ) * 1.02 )", every,
        lambda s: BarsSince(each(lambda c, p: 1.0 if c > p * 1.02 else 0.0, s.C, Ref(s.C, -1))))
    add(t, "BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) )", [W],
        lambda s: BarsSince(Cross(MA(s.C, 5), MA(s.C, 50))))
    add(t, "BarsSince( Close >= 11 )", [T],
        lambda s: BarsSince(each(lambda c: 1.0 if c >= 11 else 0.0, s.C)))
    add(t, "HHV( High, 5 )", every, lambda s: HHV(s.H, 5))
    add(t, "LLV( Low, 5 )", every, lambda s: LLV(s.L, 5))
    add(t, "HHV( Close, 1 )", [W], lambda s: HHV(s.C, 1))
    add(t, "LLV( RSIa( Close, 14 ), 20 )", [W, F], lambda s: LLV(RSIa(s.C, 14), 20))
    add(t, "Ref( HHV( Close, 20 ), -1 ) < Close", [W],
        lambda s: each(compare(lambda x, y: x < y), Ref(HHV(s.C, 20), -1), s.C))
    add(t, "Sum( Volume, 10 )", every, lambda s: Sum(s.V, 10))
    add(t, "Cum( Volume )", [W], lambda s: Cum(s.V))
    add(t, "Cum( Ref( Close, -2 ) )", [W], lambda s: Cum(Ref(s.C, -2)))
    add(t, "LastValue( Close )", [W], lambda s: LastValue(s.C, len(s.C)))
    add(t, "LastValue( Ref( Close, 1 ) )", [W], lambda s: LastValue(Ref(s.C, 1), len(s.C)))
    add(t, "IIf( Close > Open, High, Low )", [W],
        lambda s: IIf(each(compare(lambda x, y: x > y), s.C, s.O), s.H, s.L))
    add(t, "IIf( Ref( Close, -2 ) > 50, 1, Null )", [W],
        lambda s: IIf(each(compare(lambda x, y: x > y), Ref(s.C, -2), 50), 1.0, None))
    add(t, "Max( Close, Open )", [W], lambda s: each(max, s.C, s.O))
    add(t, "Min( Close, 50 )", [W], lambda s: each(min, s.C, 50))
    add(t, "Abs( Close - Open )", [W], lambda s: each(lambda x, y: abs(x - y), s.C, s.O))
    add(t, "sqrt( Volume ) + log( Close ) + exp( Close / 100 )", [W],
        lambda s: each(lambda v, c: math.sqrt(v) + math.log(c) + math.exp(c / 100), s.V, s.C))
    add(t, "floor( Close ) + ceil( Open ) * 1000 + round( High ) * 1000000", [W],
        lambda s: each(lambda c, o, h: math.floor(c) + math.ceil(o) * 1000 +
                       math.floor(h + 0.5) * 1000000, s.C, s.O, s.H))
    add(t, "int( Close - 50 )", [W], lambda s: each(lambda c: float(math.trunc(c - 50)), s.C))
    add(t, "IsNull( MA( Close, 5 ) )", [W],
        lambda s: [1.0 if x is None else 0.0 for x in MA(s.C, 5)])
    add(t, "IsEmpty( Ref( Close, 1 ) )", [W],
        lambda s: [1.0 if x is None else 0.0 for x in Ref(s.C, 1)])
    add(t, "IsNan( StochK( 14, 3 ) )", [F],
        lambda s: [1.0 if x is not None and math.isnan(x) else 0.0 for x in StochK(s, 14, 3)])
    add(t, "IsTrue( Ref( Close > Open, -1 ) )", [W],
        lambda s: [1.0 if x is not None and truth(x) else 0.0
                   for x in Ref(each(compare(lambda x, y: x > y), s.C, s.O), -1)])
    add(t, "Nz( MA( Close, 5 ) )", [W], lambda s: Nz(MA(s.C, 5)))
    add(t, "Nz( StochK( 14, 3 ), -1 )", [F], lambda s: Nz(StochK(s, 14, 3), -1.0))
    add(t, "BarIndex()", [W], lambda s: [float(i) for i in range(len(s.C))])
    add(t, "ExRem( Close > Open, Close < Open )", [W],
        lambda s: ExRem(each(compare(lambda x, y: x > y), s.C, s.O),
                        each(compare(lambda x, y: x < y), s.C, s.O)))
    add(t, "BarCount", [S], lambda s: [float(len(s.C))] * len(s.C))
    # Operators, with AFL's precedence and Null rules.
    add(t, "-2 ^ 2 + Close % 3 * 2", [W],
        lambda s: each(lambda c: -(2 ** 2) + math.fmod(c, 3) * 2, s.C))
    add(t, "( Close - Open ) / ( High - Low )", [W, F],
        lambda s: each(lambda c, o, h, l: div(c - o, h - l), s.C, s.O, s.H, s.L))
    add(t, "MA( Close, 5 ) > 50 AND Ref( Close, -10 ) < 52", [W],
        lambda s: logical_and(each(compare(lambda x, y: x > y), MA(s.C, 5), 50),
                              each(compare(lambda x, y: x < y), Ref(s.C, -10), 52)))
    add(t, "MA( Close, 5 ) > 50 OR NOT Ref( Close, -10 ) < 52", [W],
        lambda s: logical_or(each(compare(lambda x, y: x > y), MA(s.C, 5), 50),
                             logical_not(each(compare(lambda x, y: x < y), Ref(s.C, -10), 52))))
    add(t, "MA( Close, 5 ) == Close OR MA( Close, 5 ) != Close", [F],
        lambda s: logical_or(each(compare(lambda x, y: x == y), MA(s.C, 5), s.C),
                             each(compare(lambda x, y: x != y), MA(s.C, 5), s.C)))
    add(t, "Close >= Open AND Close <= High", [W],
        lambda s: logical_and(each(compare(lambda x, y: x >= y), s.C, s.O),
                              each(compare(lambda x, y: x <= y), s.C, s.H)))

    c = "categories"
    add(c, "MarketID( 0 ) + GroupID() * 10 + SectorID( 0 ) * 100 + IndustryID() * 1000", [W, T],
        lambda s: [float(s.info[1] + s.info[3] * 10 + s.info[5] * 100 + s.info[7] * 1000)]
        * len(s.C))
    add(c, "MarketID( 1 ) == \"NYSE\"", [W, T],
        lambda s: [1.0 if s.info[0] == "NYSE" else 0.0] * len(s.C))
    add(c, "GroupID( 1 ) == \"\"", [W, T], lambda s: [1.0 if s.info[2] == "" else 0.0] * len(s.C))
    add(c, "SectorID( 1 ) != \"technology\"", [W], lambda s: [1.0] * len(s.C))
    add(c, "IndustryID( 1 ) == \"Banks\" AND InWatchList( 0 ) == 0", [W, T],
        lambda s: [1.0 if s.info[6] == "Banks" and 0 not in s.info[8] else 0.0] * len(s.C))
    add(c, "InWatchList( 3 ) * 2 + InWatchList( 1 ) + InWatchList( 64 )", [W, T],
        lambda s: [2.0 * (3 in s.info[8]) + (1 in s.info[8])] * len(s.C))
    return out


# ---------------------------------------------------------------- writing

def number(v):
    if v is None:
        return "null"
    if math.isnan(v):
        return "nan"
    if math.isinf(v):
        return "inf" if v > 0 else "-inf"
    return repr(float(v))


def write_series(path):
    with open(path, "w") as f:
        f.write("# Price series of the AFL test vectors, written by reference.py.\n")
        f.write("# series NAME, then: info MARKET|ID|GROUP|ID|SECTOR|ID|INDUSTRY|ID|WATCHLISTS,\n")
        f.write("# one bar a line (date open high low close volume openint), end.\n")
        f.write("# breadth NAME: one date a line (date advancing declining unchanged\n")
        f.write("# advancingvolume decliningvolume), end.\n")
        for s in SERIES:
            f.write("series %s\n" % s.name)
            info = list(s.info[:8]) + [",".join(str(n) for n in s.info[8])]
            f.write("info %s\n" % "|".join(str(x) for x in info))
            if s.breadth is not None:
                f.write("market %s\n" % s.name)
            for i in range(len(s.C)):
                f.write("%s %s %s %s %s %s %s\n" % (
                    s.dates[i].isoformat(), number(s.O[i]), number(s.H[i]), number(s.L[i]),
                    number(s.C[i]), number(s.V[i]), number(s.OI[i])))
            f.write("end\n")
            if s.breadth is not None:
                f.write("breadth %s\n" % s.name)
                for d in sorted(s.breadth):
                    f.write("%s %s\n" % (d.isoformat(), " ".join(number(x) for x in s.breadth[d])))
                f.write("end\n")


def main():
    write_series(os.path.join(HERE, "series.txt"))
    families = {}
    for family, afl, s, values in cases():
        assert len(values) == len(s.C), (afl, s.name)
        families.setdefault(family, []).append((afl, s, values))
    for family, rows in families.items():
        with open(os.path.join(HERE, family + ".txt"), "w") as f:
            f.write("# %s: AFL test vectors written by reference.py. Each case: the AFL\n" % family)
            f.write("# expression, the series it runs on, and the value of every bar.\n")
            for afl, s, values in rows:
                f.write("case %s\non %s\nwant %s\n" % (afl, s.name, " ".join(number(v) for v in values)))


if __name__ == "__main__":
    main()
