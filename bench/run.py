"""Runs the measurements and writes all of their repetitions to a file.

usage: run.py small|full BUILD PAGES WORK RAW_RESULTS [growing]

BUILD is fenra's build directory, PAGES the HTML pages, WORK a directory for
collections (kept) and stores (not kept). With "growing" nothing but that is measured.
scripts/bench calls this and then report.py.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import time

import growing
import search
from conditions import conditions
from workplace import FENRA, LEMMA_WORDS, ONE_BY_ONE, SEED, SIDES, WEB, Workplace

# Of the file of results: what reads it has to know all of its records and conditions.
FORMAT = 3
# A part of the run that can be measured alone.
GROWING = "growing"
# The program, which converts the pages itself.
FROM_HTML = {"fenra, from HTML": FENRA, "fenra, web rules, from HTML": WEB}
LARGE_CACHE_MB = 256
REPEATED_UP_TO = 1000  # articles; larger collections are built once
SLOW_TO_BUILD = ("Xapian", "Xapian, no positions")  # left out of the large collection
TRIGRAM_LETTER = "e"
# Lemmas of the words that the rules make of a text: the first LEMMA_WORDS of them.
RUNNING_TEXT = {"fenra, running text": FENRA, "fenra, web rules, running text": WEB}
# The classes that the rules for the web are measured with: few, so that a run stays short.
WEB_CLASSES = ("drawn", "1 frequent", "2 frequent")


class Bench(Workplace):
    def build_one(self, side, list_file, store):
        self.remove(store)
        os.sync()
        if side in (FENRA, WEB):
            # Status 3: pages were refused.
            return self.measured([self.cli, "index", "--rules", SIDES[side][1], "--bulk", store,
                                  "--list", list_file], accepted=(0, 3))
        return self.engine(side, "bulk", store, list_file)

    def bulk(self, collection, list_file, articles, sides, repetitions):
        for repetition in range(repetitions):
            for side in self.sides(repetition, sides):
                if side in ONE_BY_ONE and repetition > 0:
                    continue  # it takes long
                store = self.store(side, collection)
                _, seconds, peak = self.build_one(side, list_file, store)
                self.record_bulk(side, repetition, collection, articles, seconds, peak)

    def record_bulk(self, side, repetition, collection, articles, seconds, peak):
        data, logs = self.disk_use(self.store(side, collection))
        self.record("bulk", side, repetition, collection=collection, articles=articles,
                    rate=articles / seconds, cpu_rate=articles / max(self.cpu_seconds, 0.01),
                    peak_mb=peak, bytes=data / articles, log_bytes=logs / articles)

    def build_sides(self, articles):
        sides = self.bulk_sides()
        if articles > self.scale["main"]:
            sides = [side for side in sides if side not in SLOW_TO_BUILD]
        if articles <= self.scale["one_by_one"]:
            sides += ONE_BY_ONE
        return sides

    def bulk_sides(self):
        return [side for side in SIDES if side not in (FENRA, WEB) or self.bulk_known]

    def build_collections(self):
        pages = self.lines("pages")
        self.bulk("pages", self.write_list("pages", pages), len(pages),
                  [*self.bulk_sides(), *ONE_BY_ONE], 1)
        for repetition in range(self.scale["repetitions"]):
            for side in self.sides(repetition, FROM_HTML):
                self.pages_from_html(side, repetition, len(pages))
        for size in sorted({*self.scale["growth"], self.scale["main"], self.scale["large"]}):
            list_file = self.write_list(f"articles-{size}", self.lines("articles")[:size])
            repetitions = self.scale["repetitions"] if size <= REPEATED_UP_TO else 1
            self.bulk(size, list_file, size, self.build_sides(size), repetitions)
        self.make_missing_stores()

    def pages_from_html(self, side, repetition, articles):
        store = self.store(side, "pages")
        self.remove(store)
        os.sync()
        bulk = ["--bulk"] if self.bulk_known else []
        rules = SIDES[FROM_HTML[side]][1]
        # Status 3: a page without a title is refused.
        _, seconds, peak = self.measured([self.cli, "index", "--rules", rules, *bulk, store,
                                          self.pages, "--base-url", "https://orriak.example/"],
                                         accepted=(0, 3), stderr=subprocess.DEVNULL)
        self.record_bulk(side, repetition, "pages", articles, seconds, peak)

    def make_missing_stores(self):
        """Without bulk building, fenra's stores of moderate size are made one by one."""
        if self.bulk_known:
            return
        for one_by_one, side in ONE_BY_ONE.items():
            for collection in ("pages", *self.scale["growth"], self.scale["main"]):
                store, made = self.store(side, collection), self.store(one_by_one, collection)
                if made.exists():
                    made.rename(store)
                elif collection <= self.scale["main"]:
                    self.engine(side, "bulk", store, self.work / f"articles-{collection}.list")

    def append(self):
        main = self.scale["main"]
        lines = self.lines("articles")[-self.scale["appended"]:]
        lists = {"append": self.write_list("appended", lines),
                 "mixed": self.write_list("mixed", lines[:self.scale["mixed"]])}
        for repetition in range(self.scale["repetitions"]):
            for measure, list_file in lists.items():
                for side in self.sides(repetition, SIDES):
                    copy = self.store(side, "copy")
                    self.copy(self.store(side, main), copy)
                    output, _, peak = self.engine(side, measure, copy, list_file)
                    count, seconds, p50, p99, longest, closing = map(float, output.split())
                    self.record(measure, side, repetition, collection=main,
                                rate=count / (seconds + closing), p50=p50, p99=p99,
                                longest=longest, closing=closing, peak_mb=peak)
                    self.remove(copy)

    def query(self, measure, size, query_file, repetitions, *cache):
        sides = [side for side in SIDES if self.store(side, size).exists()]
        for repetition in range(repetitions):
            for side in self.sides(repetition, sides):
                asked_of = self.query_file_of_web(query_file) if side == WEB else query_file
                output, _, peak = self.engine(side, "query", self.store(side, size), asked_of,
                                              *cache)
                self.record_queries(measure, side, repetition, size, output, peak)

    def record_queries(self, measure, side, repetition, size, output, peak):
        for line in output.splitlines():
            asked, line = line.split(" ", 1)
            name, count, seconds, p50, p99, hits = line.rsplit(None, 5)
            self.record(measure, side, repetition, collection=size, query=name, asked=asked,
                        rate=int(count) / float(seconds), p50=float(p50), p99=float(p99),
                        hits=int(hits) / int(count), queries=int(count), peak_mb=peak)

    def query_file_of_web(self, query_file):
        file = self.work / "queries-web"
        lines = query_file.read_text().splitlines(keepends=True)
        file.write_text("".join(line for line in lines if line.split("\t")[0] in WEB_CLASSES))
        return file

    def query_all(self):
        repetitions, main, large = (self.scale[key] for key in ("repetitions", "main", "large"))
        self.query("query", main, self.query_file(main), repetitions)
        # The same queries at every size.
        smallest = self.query_file(self.scale["growth"][0]).read_text().splitlines()
        drawn = self.work / "queries-growth"
        drawn.write_text("\n".join(line for line in smallest if line.startswith("drawn")) + "\n")
        for size in self.scale["growth"]:
            self.query("growth", size, drawn, repetitions)
        for side in (FENRA, WEB):
            self.set_cache(self.store(side, large))
        self.query("query", large, self.query_file(large), repetitions, LARGE_CACHE_MB)

    def search(self):
        search.measure(self, self.scale["main"], SEED)

    def set_cache(self, store):
        if not store.exists():
            return
        if self.tune_known:
            subprocess.run([self.cli, "tune", store, "--cache", f"{LARGE_CACHE_MB}M"], check=True,
                           stdout=subprocess.DEVNULL)
        else:
            setting = f"set_cachesize 0 {LARGE_CACHE_MB << 20} 1\n"
            (store / "DB_CONFIG").write_text(setting)

    def open(self):
        main = self.scale["main"]
        for repetition in range(3 * self.scale["repetitions"]):
            for side in self.sides(repetition, SIDES):
                output, _, peak = self.engine(side, "open", self.store(side, main))
                self.record("open", side, repetition, seconds=float(output), peak_mb=peak)

    def lemmas(self):
        words, text = self.word_file(), self.text_file()
        tools = {"fenra": ("fenra", words), "hunspell": ("hunspell", words),
                 "snowball": ("snowball", words),
                 **{row: (SIDES[side][1], text) for row, side in RUNNING_TEXT.items()}}
        piped = self.lexicon_tools()
        for repetition in range(self.scale["repetitions"]):
            for row in self.sides(repetition, tools):
                output, _, peak = self.measured([self.build / "bench/bench_lemmas", *tools[row]])
                count, seconds = map(float, output.split())
                self.record("lemmas", row, repetition, rate=count / seconds, peak_mb=peak)
            for tool, command in piped.items():
                seconds, peak = self.time_pipe(command, words)
                self.record("lemmas", tool, repetition, rate=LEMMA_WORDS / seconds, peak_mb=peak)

    def time_pipe(self, command, words):
        """Seconds that a filter needs for the words, without those of its start."""
        seconds = {}
        for name in ("/dev/null", words):
            with open(name) as standard_input:
                _, seconds[name], peak = self.measured(command, stdin=standard_input)
        return seconds[words] - seconds["/dev/null"], peak

    def lexicon_tools(self):
        """fenra's lexicon for other transducer engines: their AT&T text has letters, not
        numbers, and their input side comes first."""
        arcs, symbols = [], {}
        for line in (self.build / "lexicon/basque/lexicon.att").read_text("latin-1").splitlines():
            fields = line.split(" ")
            if len(fields) == 2:
                symbols[fields[0]] = fields[1]
            elif line:
                arcs.append(fields)
        symbols["0"] = "@0@"
        att = self.work / "lexicon.att"
        with att.open("w") as file:
            for fields in arcs:
                states, labels = fields[:2], [symbols[label] for label in fields[:1:-1]]
                print(*(states + labels), sep="\t", file=file)
        compiled = {name: self.work / f"lexicon.{name}" for name in ("lttoolbox", "hfst")}
        self.measured(["lt-comp", "lr", att, compiled["lttoolbox"]])
        self.measured(["hfst-txt2fst", "-e", "@0@", "-i", att, "-o", self.work / "lexicon.ofst"])
        self.measured(["hfst-fst2fst", "-f", "olw", "-i", self.work / "lexicon.ofst", "-o",
                       compiled["hfst"]])
        return {"lt-proc": ["lt-proc", "-w", compiled["lttoolbox"]],
                "hfst-optimized-lookup": ["hfst-optimized-lookup", "--pipe-mode=input", "--fast",
                                          compiled["hfst"]]}

    def trigram_prefix(self):
        for repetition in range(self.scale["repetitions"]):
            output, _, peak = self.measured([self.build / "bench/bench_trigram_prefix",
                                             self.store(FENRA, "pages"), TRIGRAM_LETTER])
            articles, seconds = output.split()
            self.record("trigrams", FENRA, repetition, articles=int(articles),
                        seconds=float(seconds), peak_mb=peak)

    def inner_loops(self):
        environment = dict(os.environ, FENRA_BENCH_PAGES=self.pages,
                           FENRA_BENCH_WORDS=self.work / "words",
                           FENRA_BENCH_STORE=self.store(FENRA, self.scale["main"]))
        output, _, _ = self.measured([self.build / "bench/inner_loops", "--benchmark_format=json",
                                      f"--benchmark_repetitions={self.scale['repetitions']}",
                                      "--benchmark_min_time=0.2"],
                                     env=environment, stderr=subprocess.DEVNULL)
        for run in json.loads(output)["benchmarks"]:
            if run["run_type"] == "iteration":
                self.record("loops", FENRA, run["repetition_index"],
                            loop=run["name"].split("/rep")[0],
                            bytes_a_second=run.get("bytes_per_second"),
                            items_a_second=run.get("items_per_second"))

    def growing(self):
        growing.measure(self)

    def run(self, part):
        shutil.rmtree(self.stores, ignore_errors=True)
        self.stores.mkdir(parents=True)
        steps = (self.build_collections, self.query_all, self.search, self.append, self.growing,
                 self.open, self.lemmas, self.trigram_prefix, self.inner_loops)
        for step in (self.make_collections, *((self.growing,) if part == GROWING else steps)):
            print(f"\n== {step.__name__.replace('_', ' ')}", flush=True)
            step()
        shutil.rmtree(self.stores)


def main():
    part = sys.argv[6] if len(sys.argv) > 6 else None
    if part not in (None, GROWING):
        sys.exit(f'run.py: no part "{part}": there is "{GROWING}", or nothing for all')
    bench = Bench(sys.argv[1], *sys.argv[2:5])
    bench.work.mkdir(parents=True, exist_ok=True)
    found = dict(conditions(bench), format=FORMAT, part=part)
    start = time.monotonic()
    bench.run(part)
    found["minutes"] = (time.monotonic() - start) / 60
    results = pathlib.Path(sys.argv[5])
    results.parent.mkdir(parents=True, exist_ok=True)
    records = ",\n".join(map(json.dumps, bench.records))
    results.write_text(f'{{"conditions": {json.dumps(found)},\n"records": [\n{records}\n]}}\n')


if __name__ == "__main__":
    main()
