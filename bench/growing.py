"""Grows stores from nothing, article by article, each on disk before the next: to a moderate size
while they are asked, and to a large one. run.py calls this; growing_page.py shows it.
"""
import os

# Names of run.py's sides; the SQLite of the two that is faster one by one.
SIDES = ("fenra", "SQLite, stored")
STEPS = 10  # the large store's, of the same size each
CALLS = ("mean", "p50", "p99", "longest")
# Of a line that the programs print, in their order.
FIELDS = ("articles", "seconds", *(f"index_{call}" for call in CALLS),
          "queries", *(f"query_{call}" for call in CALLS), "bytes", "cpu")
CLOSING_FIELDS = ("seconds", "bytes", "cpu")


def patterns(size):
    """After how many articles a query is asked, 0 for never, and how many articles are stored."""
    return {0: size, size // 10: size, 10: size, 1: size // 5}


def grow(bench, side, list_file, every, step):
    """Returns what the program tells of each step and of closing the store, and its peak memory
    in MB."""
    store = bench.store(side, "growing")
    bench.remove(store)
    os.sync()
    output, _, peak = bench.engine(side, "grow", store, list_file, every, step)
    bench.remove(store)
    *steps, closing = ([float(field) for field in line.split()] for line in output.splitlines())
    return ([dict(zip(FIELDS, fields, strict=True)) for fields in steps],
            dict(zip(CLOSING_FIELDS, closing, strict=True)), peak)


def measure_asked(bench, repetition, side, every, articles):
    (whole,), closing, peak = grow(bench, side, list_of(bench, articles), every, articles)
    bench.record("asked", side, repetition, every=every, articles=articles,
                 rate=articles / whole["seconds"],
                 **{field: whole[field] for field in FIELDS if field.startswith(("index", "quer"))},
                 bytes=(whole["bytes"] + closing["bytes"]) / articles,
                 cpu=(whole["cpu"] + closing["cpu"]) / articles,
                 closing=closing["seconds"], peak_mb=peak)


def measure_grown(bench, repetition, side, articles):
    step = articles // STEPS
    steps, closing, peak = grow(bench, side, list_of(bench, articles), 0, step)
    rates = [step / one["seconds"] for one in steps]
    for rate, one in zip(rates, steps):
        bench.record("step", side, repetition, articles=int(one["articles"]), rate=rate,
                     **{field: one[field] for field in FIELDS if field.startswith("index")},
                     bytes=one["bytes"] / step, cpu=one["cpu"] / step)
    bench.record("grown", side, repetition, articles=articles,
                 rate=articles / sum(one["seconds"] for one in steps),
                 last_by_first=rates[-1] / rates[0],
                 longest=max(one["index_longest"] for one in steps),
                 bytes=(sum(one["bytes"] for one in steps) + closing["bytes"]) / articles,
                 closing=closing["seconds"], peak_mb=peak)


def list_of(bench, articles):
    return bench.write_list(f"growing-{articles}", bench.lines("articles")[:articles])


def measure(bench):
    for repetition in range(bench.scale["repetitions"]):
        for every, articles in patterns(bench.scale["asked"]).items():
            for side in bench.sides(repetition, SIDES):
                measure_asked(bench, repetition, side, every, articles)
        for side in bench.sides(repetition, SIDES):
            measure_grown(bench, repetition, side, bench.scale["large"])
