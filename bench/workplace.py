"""Where the measurements run: sizes, engines, their programs, the collections and the stores.
run.py measures in it.
"""
import functools
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import zlib

import queries

SEED = 20090315

# name: program, variant. The first is what the others are compared with.
SIDES = {
    "fenra": ("fenra", "plain"),
    "fenra, web rules": ("fenra", "web"),
    "Xapian": ("xapian", "positions"),
    "Xapian, no positions": ("xapian", "plain"),
    "Xapian, URLs only": ("xapian", "lean"),
    "SQLite": ("sqlite", "apart"),
    "SQLite, stored": ("sqlite", "stored"),
}
FENRA = "fenra"
WEB = "fenra, web rules"
# index() where others build at one go
ONE_BY_ONE = {"fenra, one by one": FENRA, "fenra, web rules, one by one": WEB}

SCALES = {
    # Sizes of the growing collection; the one measured most; the large one, with a
    # large cache; articles that are appended, and of these those with a query after each;
    # repetitions; the most articles that fenra indexes one by one; those of a store that is
    # asked while it grows.
    "small": dict(growth=[250, 500, 1000], main=1000, large=2000, appended=50, mixed=20,
                  repetitions=2, one_by_one=500, asked=1000),
    "full": dict(growth=[1000, 10000, 100000], main=20000, large=100000, appended=1000, mixed=100,
                 repetitions=3, one_by_one=10000, asked=10000),
}
LEMMA_WORDS = 50000


def copy_of_pages(source, target):
    """Copies a file or directory as an engine would have written it, page by page: writing
    4 KiB is slower where the system has the file in larger pieces, as cp makes it."""
    if source.is_dir():
        target.mkdir()
        for file in source.iterdir():
            copy_of_pages(file, target / file.name)
        return
    with open(source, "rb") as pages, open(target, "wb", buffering=0) as copy:
        while page := pages.read(4096):
            copy.write(page)


class Workplace:
    def __init__(self, scale, build, pages, work):
        self.scale = SCALES[scale]
        self.build = pathlib.Path(build)
        self.pages = pathlib.Path(pages)
        self.work = pathlib.Path(work)
        self.stores = self.work / "stores"
        self.cli = self.build / "cli/fenra"
        self.records = []
        self.bulk_known = "--bulk" in self.help("index")
        self.tune_known = "--cache" in self.help("tune")

    def help(self, command):
        return subprocess.run([self.cli, command, "--help"], capture_output=True, text=True).stdout

    def record(self, measure, side, repetition, **values):
        self.records.append(dict(measure=measure, side=side, repetition=repetition, **values))
        shown = {key: f"{value:.6g}" if isinstance(value, float) else value
                 for key, value in values.items()}
        print(f"{measure:8} {side:22}", *(f"{key}={value}" for key, value in shown.items()),
              flush=True)

    # ---- programs ----

    def measured(self, command, accepted=(0,), **options):
        """Runs a program. Returns its output, wall-clock seconds and peak memory in MB, and
        leaves the seconds of processor time in self.cpu_seconds."""
        with tempfile.NamedTemporaryFile("r") as use:
            # A process begins with the peak of the one that starts it: time(1) is small.
            wrapped = ["/usr/bin/time", "--quiet", "-f", "%M %U %S", "-o", use.name,
                       *map(str, command)]
            start = time.perf_counter()
            run = subprocess.run(wrapped, stdout=subprocess.PIPE, text=True, **options)
            seconds = time.perf_counter() - start
            if run.returncode not in accepted:
                sys.exit(f"{' '.join(wrapped)}: status {run.returncode}")
            peak, user, system = map(float, use.read().split())
            self.cpu_seconds = user + system
            return run.stdout, seconds, peak / 1024

    def engine(self, side, action, *arguments):
        return self.program(SIDES[ONE_BY_ONE.get(side, side)], action, *arguments)

    def program(self, program_and_variant, action, *arguments):
        program, variant = program_and_variant
        return self.measured([self.build / "bench" / f"bench_{program}", variant, action,
                              *arguments])

    # ---- collections ----

    def make_collections(self):
        articles = self.scale["large"] + self.scale["appended"]
        # What makes the articles and the queries is part of the name.
        here = pathlib.Path(__file__).parent
        makers = b"".join((here / name).read_bytes() for name in ("corpus.py", "queries.py"))
        directory = self.work / f"corpus-{SEED}-{articles}-{zlib.crc32(makers):08x}"
        if not directory.exists():
            part = directory.with_suffix(".part")
            shutil.rmtree(part, ignore_errors=True)
            part.mkdir(parents=True)
            subprocess.run([sys.executable, here / "corpus.py", self.pages, part, str(articles),
                            str(SEED)], check=True)
            part.rename(directory)
        self.corpus = directory
        self.texts = [self.read(line) for line in self.lines("articles")]

    def lines(self, collection):
        return (self.corpus / f"{collection}.list").read_text().splitlines()

    def read(self, line):
        """The text of a listed article."""
        return (self.corpus / line.split("\t")[2]).read_text("utf-8")

    def write_list(self, name, lines):
        """A list with absolute paths, as the programs read it."""
        file = self.work / f"{name}.list"
        rows = (line.rsplit("\t", 1) for line in lines)
        file.write_text("".join(f"{row}\t{self.corpus / path}\n" for row, path in rows))
        return file

    def query_file(self, size):
        file = self.corpus / f"queries-{size}"
        if not file.exists():
            queries.write_queries(self.texts[:size],
                                  functools.partial(self.results_of_tool, "fenra"),
                                  functools.partial(self.results_of_tool, "snowball"), SEED, file)
        return file

    def results_of_tool(self, tool, words):
        file = self.work / "vocabulary"
        file.write_text("\n".join(words) + "\n")
        output, _, _ = self.measured([self.build / "bench/bench_lemmas", tool, file, "print"])
        return dict(zip(words, output.splitlines()))

    def word_file(self):
        words = [word for line in self.lines("pages") for word in queries.words_of(self.read(line))]
        file = self.work / "words"
        file.write_text("\n".join(words[:LEMMA_WORDS]) + "\n")
        return file

    def text_file(self):
        file = self.work / "text"
        file.write_text("\n".join(self.read(line) for line in self.lines("pages")), "utf-8")
        return file

    # ---- stores ----

    def store(self, side, collection):
        program, variant = SIDES.get(side, (side.replace(" ", "-").replace(",", ""), ""))
        return self.stores / f"{program}-{variant}-{collection}.store"

    def remove(self, store):
        if store.is_dir():
            shutil.rmtree(store)
        for file in store.parent.glob(store.name + "*"):
            if file.is_file():
                file.unlink()

    def copy(self, store, to):
        self.remove(to)
        for file in store.parent.glob(store.name + "*"):
            if file.name == store.name or file.name.startswith(store.name + "-wal"):
                copy_of_pages(file, to.parent / (to.name + file.name[len(store.name):]))
        os.sync()  # or it is written out during the measurement

    @staticmethod
    def disk_use(store):
        files = [store] if store.is_file() else list(store.iterdir())
        sizes = {file.name: file.stat().st_blocks * 512 for file in files}
        logs = sum(size for name, size in sizes.items() if name.startswith("log."))
        regions = sum(size for name, size in sizes.items() if name.startswith("__db."))
        return sum(sizes.values()) - logs - regions, logs

    def sides(self, repetition, sides):
        """The sides in another order at every repetition."""
        sides = list(sides)
        turn = repetition % len(sides)
        return sides[turn:] + sides[:turn]
