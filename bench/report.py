"""Makes a page of results, and plots, from the measurements that run.py has written.

usage: report.py RAW_RESULTS DIRECTORY
"""
import collections
import operator
import pathlib
import statistics
import sys

import growing_page
import search
from figures import Results, number, read_results, table
from plots import plot
from run import (FROM_HTML, GROWING, LARGE_CACHE_MB, RUNNING_TEXT, TRIGRAM_LETTER, WEB_CLASSES)
from workplace import FENRA, LEMMA_WORDS, ONE_BY_ONE, SIDES, WEB


# ---- the parts of the page ----


def conditions(results):
    c = results.conditions
    versions = ", ".join(f"{name} {version}" for name, version in c["versions"].items())
    return table(["Condition", ""], [
        ["date, revision", f"{c['date']}, {c['revision']}"],
        ["processor", f"{c['processor']}, {c['cores']} cores"],
        ["memory", f"{c['memory_gb']:.0f} GiB"],
        ["kernel", c["kernel"]],
        ["file system", c["file_system"]],
        ["fdatasync of a 4 KiB write, median", f"{c['sync_seconds'] * 1000:.2f} ms"],
        ["load when started", f"{c['load']:.1f}"],
        ["versions", versions],
        ["seed of the collections", c["seed"]],
        ["repetitions", f"{c['scale']['repetitions']}"],
        ["whole run", f"{c['minutes']:.0f} minutes"],
    ])


def bulk_sizes(results):
    return sorted({record["collection"] for record in results.records
                   if record["measure"] == "bulk" and record["collection"] != "pages"})


def bulk(results):
    sizes = ["pages", *bulk_sizes(results)]
    names = [f"{size:,}" if size != "pages" else "pages" for size in sizes]

    def rows(cell):
        return [[side, *(cell(side, size) for size in sizes)]
                for side in (*SIDES, *ONE_BY_ONE, *FROM_HTML)]

    def rate(side, size):
        return results.cell("bulk", side, "rate", collection=size)

    def cpu_rate(side, size):
        return results.cell("bulk", side, "cpu_rate", collection=size)

    def peak(side, size):
        return number(results.median("bulk", side, "peak_mb", collection=size))

    def disk(side, size):
        data = results.median("bulk", side, "bytes", collection=size)
        logs = results.median("bulk", side, "log_bytes", collection=size)
        return f"{number(data)} + {number(logs)}" if logs else number(data)

    return "\n".join([
        "Articles a second:\n", table(["", *names], rows(rate)),
        "Articles in a second of processor time:\n", table(["", *names], rows(cpu_rate)),
        "Peak memory, MB:\n", table(["", *names], rows(peak)),
        "Bytes on disk for an article (+ bytes of logs):\n", table(["", *names], rows(disk))])


def append(results):
    def times(measure):
        rows = [[side, results.cell(measure, side, "rate"),
                 number(results.median(measure, side, "p50", 1000)),
                 number(results.median(measure, side, "p99", 1000)),
                 number(results.median(measure, side, "longest", 1000)),
                 number(results.median(measure, side, "closing", 1000)),
                 number(results.median(measure, side, "peak_mb"))] for side in SIDES]
        return table(["", "articles/s", "p50, ms", "p99, ms", "longest, ms", "closing, ms",
                      "peak, MB"], rows)

    return "\n".join([
        "One after the other:\n", times("append"),
        "With a query of two of its words after each, which has to find it:\n", times("mixed")])


def query(results, size, measure="query"):
    sides = results.sides(measure, collection=size)
    names = list(dict.fromkeys(record["query"] for record in results.records
                               if record["measure"] == measure and record["collection"] == size))

    def median(side, name, asked, field, unit=1.0):
        return results.median(measure, side, field, unit, collection=size, query=name,
                              asked=asked)

    def hits(side, name):
        return number(median(side, name, "first", "hits"))

    def latency(side, name, asked):
        return "/".join(number(median(side, name, asked, field, 1e6)) for field in ("p50", "p99"))

    def rate(side, name, asked):
        counts = {other: median(other, name, asked, "queries") or 0 for other in sides}
        cut = "*" if 0 < counts[side] < max(counts.values()) else ""
        return results.cell(measure, side, "rate", collection=size, query=name,
                            asked=asked) + cut

    def rates(asked):
        return table(["class", f"answers, {sides[0]}", f"answers, {sides[-1]}", *sides],
                     [[name, hits(sides[0], name), hits(sides[-1], name),
                       *(rate(side, name, asked) for side in sides)] for name in names])

    def latencies(asked):
        return table(["class", *sides], [[name, *(latency(side, name, asked) for side in sides)]
                                         for name in names])

    return "\n".join([
        "Queries a second that were never asked before (*: not all of the class's queries within"
        " the time):\n", rates("first"),
        "The same queries asked again:\n", rates("again"),
        "Latency of a query, p50/p99, microseconds, never asked before:\n", latencies("first"),
        "Asked again:\n", latencies("again")])


def narrowing(results):
    """What a date range and a source add to the time of a query."""
    def cell(side, answers, asked):
        narrowed, alone = (results.values(answers, side, "p50", query=name, asked=asked)
                           for name in (search.NARROWED, search.ALONE))
        return number(statistics.median(map(operator.truediv, narrowed, alone)))

    rows = [[f"{answers}, {what}", *(cell(side, answers, asked) for side in search.SIDES)]
            for answers in search.ANSWERS
            for asked, what in (("first", "never asked before"), ("again", "asked again"))]
    return table(["", *search.SIDES], rows)


def growth(results):
    sizes = results.scale["growth"]

    def p50(side, size):
        return number(results.median("growth", side, "p50", 1e6, collection=size,
                                     asked="first"))

    return table(["p50, microseconds", *(f"{size:,}" for size in sizes)],
                 [[side, *(p50(side, size) for size in sizes)] for side in SIDES])


def web_beside_plain(results):
    """A line of the ratios web : plain."""
    def ratio(measure, field, sides, **wanted):
        plain, web = sides
        return number(results.ratio(measure, plain, field, web, **wanted))

    def made(what, sides, collection):
        return (f"{what} {ratio('bulk', 'rate', sides, collection=collection)} (by processor time"
                f" {ratio('bulk', 'cpu_rate', sides, collection=collection)})")

    def queries(name, asked):
        return ratio("query", "rate", ours, collection=main, query=name, asked=asked)

    main, ours, one_by_one = results.scale["main"], (FENRA, WEB), tuple(ONE_BY_ONE)
    one_by_one_size = max(size for size in bulk_sizes(results)
                          if size <= results.scale["one_by_one"])
    figures = [
        made("pages in bulk", ours, "pages"),
        made("pages from HTML", tuple(FROM_HTML), "pages"),
        made("pages one by one", one_by_one, "pages"),
        made(f"{main:,} articles in bulk", ours, main),
        made(f"{one_by_one_size:,} articles one by one", one_by_one, one_by_one_size),
        f"appending {ratio('append', 'rate', ours)}",
        *(f"queries \"{name}\" {queries(name, 'first')} and again {queries(name, 'again')}"
          for name in WEB_CLASSES),
        f"lemmas of running text {ratio('lemmas', 'rate', tuple(RUNNING_TEXT))}",
    ]
    return "; ".join(figures) + ".\n"


def opening(results):
    return table(["", "ms", "peak, MB"],
                 [[side, number(results.median("open", side, "seconds", 1000)),
                   number(results.median("open", side, "peak_mb"))] for side in SIDES])


def lemmas(results):
    tools = list(dict.fromkeys(record["side"] for record in results.records
                               if record["measure"] == "lemmas"))
    return table(["", "words/s", "fenra : it", "peak, MB"],
                 [[tool, number(results.median("lemmas", tool, "rate")),
                   number(results.ratio("lemmas", tool, "rate")),
                   number(results.median("lemmas", tool, "peak_mb"))] for tool in tools])


def trigrams(results):
    def median(field, unit=1):
        return number(results.median("trigrams", FENRA, field, unit))

    return (f"{median('articles')} articles, {median('seconds', 1000)} ms, "
            f"{median('peak_mb')} MB at the peak.\n")


def loops(results):
    by_loop = collections.defaultdict(list)
    for record in results.records:
        if record["measure"] == "loops":
            by_loop[record["loop"]].append(record)
    rows = []
    for loop, records in by_loop.items():
        bytes_a_second = [record["bytes_a_second"] for record in records]
        if all(bytes_a_second):
            value = f"{number(statistics.median(bytes_a_second) / 1e6)} MB/s"
        else:
            items = statistics.median(record["items_a_second"] for record in records)
            value = f"{number(1e9 / items)} ns"
        rows.append([f"`{loop}`", value])
    return table(["loop", "bytes a second, or time for an item"], rows)


# ---- plots ----


def plots(results, directory):
    def lines(measure, field, unit, sizes, sides, **wanted):
        return {side: [(size, results.median(measure, side, field, unit, collection=size,
                                             **wanted)) for size in sizes] for side in sides}

    plot(directory / "throughput.svg",
         lines("bulk", "rate", 1, bulk_sizes(results), [*SIDES, *ONE_BY_ONE]),
         "articles in the store", "articles indexed per second")
    plot(directory / "latency.svg",
         lines("growth", "p50", 1e6, results.scale["growth"], SIDES, asked="first"),
         "articles in the store", "median time of a query, microseconds")


def page(results):
    alone = results.conditions["part"] == GROWING
    return "\n".join([
        "# Results\n\nMade by `scripts/bench`; [../README.md](../README.md) says what each figure"
        " means and how the engines are set. Figures are medians of the repetitions. In brackets:"
        " fenra's figure by this one, the median of the repetitions' ratios; above 1, fenra does"
        " more in a second. \"-\": not measured.\n",
        conditions(results),
        *(growing_page.sections(results) if alone else sections(results))])


def sections(results):
    scale = results.scale
    main, large = f"{scale['main']:,}", f"{scale['large']:,}"
    return [
        "## Rules of words for the web beside plain ones\n\nWhat is done in a second by the rules"
        " for the web, divided by what is done by plain ones:",
        web_beside_plain(results),
        "## Making a store at one go\n\n![throughput](throughput.svg)\n",
        bulk(results),
        f"## Appending to {main} articles, each on disk before the next\n",
        append(results),
        *growing_page.sections(results),
        f"## Queries, {main} articles, default settings\n",
        query(results, scale["main"]),
        f"## Queries, {large} articles, {LARGE_CACHE_MB} MB of cache\n",
        query(results, scale["large"]),
        f"## Phrases, and words with a date range and a source, {main} articles: first ten"
        " answers\n",
        query(results, scale["main"], "ten"),
        "## The same: all answers\n",
        query(results, scale["main"], "all"),
        f"Time of \"{search.NARROWED}\" by that of \"{search.ALONE}\", medians of the queries:\n",
        narrowing(results),
        "## Queries in a growing collection\n\nThe same queries, words drawn from the text,"
        " never asked before, default settings.\n\n![latency](latency.svg)\n",
        growth(results),
        f"## Opening a store of {main} articles\n",
        opening(results),
        f"## Lemmas and stems, {LEMMA_WORDS:,} words of the pages\n",
        lemmas(results),
        f"## Trigrams of the pages whose first word begins with \"{TRIGRAM_LETTER}\"\n",
        trigrams(results),
        "## Inner loops\n",
        loops(results),
    ]


def main():
    results = Results(read_results(sys.argv[1]))
    directory = pathlib.Path(sys.argv[2])
    directory.mkdir(parents=True, exist_ok=True)
    (directory / "README.md").write_text(page(results))
    growing_page.plots(results, directory)
    if results.conditions["part"] != GROWING:
        plots(results, directory)


if __name__ == "__main__":
    main()
