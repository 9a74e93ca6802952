"""The parts of the page of results, and the plots, of what growing.py measures."""
from figures import number, table
from growing import CALLS, SIDES, patterns
from plots import plot


def name_of(every):
    return f"{every:,}" if every else "never"


def asked(results):
    def milliseconds(side, every, what):
        if what == "query" and every == 0:
            return ["-"] * len(CALLS)
        return [number(results.median("asked", side, f"{what}_{call}", 1000, every=every))
                for call in CALLS]

    def row(side, every, articles):
        return [f"{name_of(every)}: {side}", f"{articles:,}",
                results.cell("asked", side, "rate", every=every),
                *milliseconds(side, every, "index"), *milliseconds(side, every, "query"),
                number(results.median("asked", side, "bytes", 1e-3, every=every)),
                number(results.median("asked", side, "cpu", 1000, every=every)),
                number(results.median("asked", side, "closing", 1000, every=every)),
                number(results.median("asked", side, "peak_mb", every=every))]

    return table(["a query after every", "articles", "articles/s",
                  *(f"{what} {call}, ms" for what in ("article", "query") for call in CALLS),
                  "KB written", "processor, ms", "closing, ms", "peak, MB"],
                 [row(side, every, articles)
                  for every, articles in patterns(results.scale["asked"]).items()
                  for side in SIDES])


def step_sizes(results):
    return sorted({record["articles"] for record in results.records
                   if record["measure"] == "step"})


def steps(results):
    def milliseconds(side, size):
        return "/".join(number(results.median("step", side, f"index_{call}", 1000, articles=size))
                        for call in CALLS)

    def kilobytes(side, size):
        return number(results.median("step", side, "bytes", 1e-3, articles=size))

    def processor(side, size):
        return number(results.median("step", side, "cpu", 1000, articles=size))

    def row(size):
        return [f"{size:,}", *(results.cell("step", side, "rate", articles=size) for side in SIDES),
                *(cell(side, size) for cell in (milliseconds, kilobytes, processor)
                  for side in SIDES)]

    return table(["articles in the store",
                  *(f"{side}, {what}" for what in ("articles/s", "/".join(CALLS) + ", ms",
                                                   "KB written", "processor, ms")
                    for side in SIDES)],
                 [row(size) for size in step_sizes(results)])


def whole(results):
    return table(["", "articles/s", "last tenth's rate : first's", "longest, ms", "KB written",
                  "closing, ms", "peak, MB"],
                 [[side, results.cell("grown", side, "rate"),
                   number(results.median("grown", side, "last_by_first")),
                   number(results.median("grown", side, "longest", 1000)),
                   number(results.median("grown", side, "bytes", 1e-3)),
                   number(results.median("grown", side, "closing", 1000)),
                   number(results.median("grown", side, "peak_mb"))] for side in SIDES])


def sections(results):
    return [
        f"## Growing to {results.scale['asked']:,} articles, one by one, and asked meanwhile\n\n"
        "![asked](asked.svg)\n\nKB written and milliseconds of the processor are for an article,"
        " queries and closing included:\n",
        asked(results),
        f"## Growing to {results.scale['large']:,} articles, one by one\n\n"
        "![growing](growing.svg)\n\nFor the last tenth of the articles at each size, KB written"
        " and milliseconds of the processor for an article:\n",
        steps(results),
        "In all:\n",
        whole(results),
    ]


def plots(results, directory):
    plot(directory / "growing.svg",
         {side: [(size, results.median("step", side, "rate", articles=size))
                 for size in step_sizes(results)] for side in SIDES},
         "articles in the store", "articles indexed per second", "linear")
    plot(directory / "asked.svg",
         {side: [(name_of(every), results.median("asked", side, "rate", every=every))
                 for every in patterns(results.scale["asked"])] for side in SIDES},
         "articles from one query to the next", "articles indexed per second", "linear")
