"""Makes the collections that the benchmark indexes, as text files and lists of them.

usage: corpus.py PAGES DIRECTORY ARTICLES SEED

PAGES is a directory of HTML pages. DIRECTORY gets pages.list, the text of each page,
and articles.list, ARTICLES generated articles: lines URL<tab>MIME<tab>PATH, as
`fenra index --list` reads them. The first n articles are the same for any ARTICLES.

An article is made of runs of 3 to 8 words that stand together somewhere in the pages,
every position as likely as any other, so that a word is as frequent as in the pages
and about as many trigrams are new. Alone that would freeze the vocabulary: nothing in
a large collection would be rare. So one word in 25 is replaced by a made-up one,
inflected like Basque. The stems follow a Pitman-Yor process, in which the number of
different ones grows as a power of the length of the text (Heaps' law) and their
frequencies fall as a power of their rank (Zipf's law), without end.
"""
import html
import pathlib
import random
import re
import sys

WORDS_AN_ARTICLE = 300
RUN_LENGTHS = (3, 8)
MADE_UP_SHARE = 0.04
DISCOUNT, STRENGTH = 0.7, 200.0  # of the Pitman-Yor process
ONSETS = "b d g h j k l m n p r s t z tx ts tz".split()
VOWELS = "a e i o u a e i ai au".split()
CODAS = ["", "", "", "n", "r", "l", "s", "k"]
ENDINGS = ["", "a", "ak", "aren", "ari", "an", "ko", "tik", "ra", "ekin", "etan", "en",
           "ei", "rik", "z", "arekin", "etako", "etatik", "etara", "entzat"]
FILES_A_DIRECTORY = 1000


def page_text(page):
    body = re.sub(r"<(script|style)\b.*?</\1>", " ", page[page.find("<body"):], flags=re.S)
    return " ".join(html.unescape(re.sub(r"<[^>]*>", " ", body)).split())


class MadeUpWords:
    """Draws inflected words of a vocabulary that grows as it is used."""

    def __init__(self, rng):
        self.rng = rng
        self.stems = set()
        self.drawn = []  # the stem of every draw so far

    def pick(self, items):
        return items[int(self.rng.random() * len(items))]

    def new_stem(self):
        while True:
            syllables = 2 + int(self.rng.random() * 3)
            stem = "".join(self.pick(ONSETS) + self.pick(VOWELS) for _ in range(syllables))
            stem += self.pick(CODAS)
            if stem not in self.stems:
                self.stems.add(stem)
                return stem

    def draw(self):
        new = (STRENGTH + DISCOUNT * len(self.stems)) / (STRENGTH + len(self.drawn))
        stem = self.new_stem() if self.rng.random() < new else self.pick(self.drawn)
        self.drawn.append(stem)
        # Squared: the endings in front of the list are the frequent ones.
        return stem + ENDINGS[int(self.rng.random() ** 2 * len(ENDINGS))]


def articles(words, seed):
    """Yields texts without end."""
    rng = random.Random(seed)
    made_up = MadeUpWords(rng)
    shortest, longest = RUN_LENGTHS
    while True:
        length = int(WORDS_AN_ARTICLE * rng.lognormvariate(-0.125, 0.5))
        text = []
        while len(text) < length:
            start = int(rng.random() * (len(words) - longest))
            text += words[start:start + shortest + int(rng.random() * (longest - shortest + 1))]
        for _ in range(round(MADE_UP_SHARE * len(text))):
            text[int(rng.random() * len(text))] = made_up.draw()
        yield " ".join(text)


def write_collection(list_file, directory, url_prefix, texts):
    lines = []
    for number, text in enumerate(texts):
        folder = directory / str(number // FILES_A_DIRECTORY)
        if number % FILES_A_DIRECTORY == 0:
            folder.mkdir(parents=True)
        path = folder / f"{number}.txt"
        path.write_text(text + "\n", encoding="utf-8")
        slug = "-".join(re.findall("[a-z]+", text[:80])[:4])
        relative = path.relative_to(list_file.parent)
        lines.append(f"{url_prefix}{number}/{slug}\ttext/plain\t{relative}\n")
    list_file.write_text("".join(lines))


def main():
    pages, directory = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    count, seed = int(sys.argv[3]), int(sys.argv[4])
    texts = [page_text(path.read_text("utf-8", "replace"))
             for path in sorted(pages.rglob("*.html"))]
    texts = [text for text in texts if text]
    write_collection(directory / "pages.list", directory / "pages", "https://orriak.example/",
                     texts)
    endless = articles(" ".join(texts).split(), seed)
    write_collection(directory / "articles.list", directory / "articles",
                     "https://berriak.example/2026/", (next(endless) for _ in range(count)))


if __name__ == "__main__":
    main()
