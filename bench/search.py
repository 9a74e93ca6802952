"""Phrases, and words with a date range and a source beside the words alone: draws the queries
and measures them, fenra's in its query language, in stores of their own that keep dates and
sources. run.py calls this.

The two words of a phrase, which stand next to one another in an article, are each in a tenth
of the articles as they stand; three words in a row are whatever an article has.
"""
import collections
import datetime
import random
import zlib

import queries

# name, as in run.py: program, variant
SIDES = {
    "fenra": ("fenra", "language"),
    "Xapian": ("xapian", "dated"),
    "SQLite": ("sqlite", "dated"),
}
# How many answers are wanted: what the programs call it.
ANSWERS = {"ten": "ten", "all": "query"}
ALONE = "2 frequent"  # of the other queries
NARROWED = "2 frequent, date and source"
FIRST_DAY, DAYS, DAYS_OF_A_QUERY = datetime.date(2008, 1, 1), 730, 182
SOURCES = 4


def day(number):
    return (FIRST_DAY + datetime.timedelta(number)).strftime("%Y%m%d")


def date_and_source(url):
    """What an article of the URL has, as if drawn."""
    number = zlib.crc32(url.encode())
    return day(number % DAYS), f"iturria{number // DAYS % SOURCES}"


def narrowed(rng, words):
    """A query for an article in 16: a quarter of the dates, one of four sources."""
    first = int(rng.random() * (DAYS - DAYS_OF_A_QUERY))
    return (f"{words} date:{day(first)}..{day(first + DAYS_OF_A_QUERY - 1)}"
            f" source:iturria{int(rng.random() * SOURCES)}")


def rows_of(text, length):
    """The words that stand in a row, without punctuation between them."""
    words = text.split()
    rows = zip(*(words[start:] for start in range(length)))
    return [row for row in rows if all(map(queries.WORD.fullmatch, row))]


def draw_rows(rng, texts, length, wanted):
    """Rows of words that are all wanted, each once."""
    drawn = {}
    for _ in range(100 * queries.QUERIES_A_CLASS):
        if len(drawn) == queries.QUERIES_WITH_MANY_ANSWERS:
            break
        rows = [row for row in rows_of(rng.choice(texts), length) if wanted(row)]
        if rows:
            drawn[rng.choice(rows)] = True
    return [f'"{" ".join(row)}"' for row in drawn]


def draw_queries(texts, alone, seed):
    """Lines as of queries.py, a list for each class; `alone` are those of words alone."""
    articles = collections.Counter()
    for text in texts:
        articles.update(set(queries.words_of(text)))
    rng = random.Random(seed)
    pairs = draw_rows(rng, texts, 2, lambda row: all(articles[word] >= len(texts) // 10
                                                     for word in row))
    threes = draw_rows(rng, texts, 3, lambda row: True)
    narrow = [narrowed(rng, line.rstrip().split("\t")[2]) for line in alone]
    classes = {"2 frequent in a row": pairs, "3 in a row": threes, NARROWED: narrow}
    return [alone, *(queries.lines_of(*drawn) for drawn in classes.items())]


def write_queries(bench, size, seed):
    """A file for each class: one would find in memory what another has read."""
    lines = bench.query_file(size).read_text().splitlines()
    alone = [line + "\n" for line in lines if line.split("\t")[0] == ALONE]
    files = []
    for lines in draw_queries(bench.texts[:size], alone, seed):
        files.append(bench.work / f"queries-search-{len(files)}")
        files[-1].write_text("".join(lines))
    return files


def make_stores(bench, size):
    list_file = bench.write_list("dated", bench.lines("articles")[:size])
    rows = list_file.read_text().splitlines()
    list_file.write_text("".join("\t".join((row, *date_and_source(row.split("\t")[0]))) + "\n"
                                 for row in rows))
    stores = {side: bench.stores / f"dated-{side}.store" for side in SIDES}
    for side, store in stores.items():
        if side == "fenra":
            bench.build_one(side, list_file, store)
        else:
            bench.program(SIDES[side], "bulk", store, list_file)
    return stores


def measure(bench, size, seed):
    stores = make_stores(bench, size)
    files = write_queries(bench, size, seed)
    for repetition in range(bench.scale["repetitions"]):
        for file in files:
            for side in bench.sides(repetition, SIDES):
                for answers, action in ANSWERS.items():
                    output, _, peak = bench.program(SIDES[side], action, stores[side], file)
                    bench.record_queries(answers, side, repetition, size, output, peak)
    for store in stores.values():
        bench.remove(store)
