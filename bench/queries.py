"""Draws the queries of the benchmark from a collection.

A class is a number of words and how frequent each is: the number of articles that hold a
form of its lemma, and of those that hold a form of its stem. The words of a query stand
in one article, so that it has an answer.
Queries of the class "drawn" are words of an article whatever their frequency, so that a
word comes as often as it is written.

No two queries have the same words, whatever their order. Half of a class warms the engine up,
and the other half is measured: it has never been asked before, though its words may have.
"""
import collections
import random
import re

QUERIES_A_CLASS = 200  # or as many as there are
QUERIES_WITH_MANY_ANSWERS = 100  # of a class of frequent words alone
WORD = re.compile("[a-z]{3,}")
RARE, MIDDLE, FREQUENT, DRAWN = "rare", "middle", "frequent", "drawn"
CLASSES = {f"{count} {kind}": (kind,) * count
           for kind in (RARE, MIDDLE, FREQUENT) for count in (1, 2, 3)}
CLASSES["rare, frequent"] = (RARE, FREQUENT)
CLASSES["drawn"] = None


def words_of(text):
    words = (word.strip('.,:;!?()"\'') for word in text.split())
    return [word for word in words if WORD.fullmatch(word)]


def folded_words_of(text):
    """The words of engines that do not distinguish case."""
    return re.findall(r"[^\W_]+", text.lower())


def kind_of(count, articles):
    if 2 <= count <= max(5, articles // 1000):
        return RARE
    if articles // 200 <= count <= articles // 50:
        return MIDDLE
    return FREQUENT if count >= articles // 10 else None


def draw(rng, words, wanted, kinds):
    """A query from the words of an article, or None when it has none of that class."""
    if wanted is None:
        return [rng.choice(words) for _ in range(1 + int(3 * rng.random()))] if words else None
    chosen = []
    for kind in wanted:
        candidates = [word for word in words if kinds[word] == kind and word not in chosen]
        if not candidates:
            return None
        chosen.append(rng.choice(candidates))
    return chosen


def articles_of_words(texts, split, names_of):
    """For every word the number of articles that hold a word of the same name."""
    words = set()
    for text in texts:
        words.update(split(text))
    names = names_of(sorted(words))
    articles = collections.Counter()
    for text in texts:
        articles.update({names[word] for word in set(split(text))})
    return {word: articles[name] for word, name in names.items()}


def kinds_of_words(texts, lemmas_of, stems_of):
    by_lemma = articles_of_words(texts, words_of, lemmas_of)
    by_stem = articles_of_words(texts, folded_words_of, stems_of)
    kinds = {}
    for word, articles in by_lemma.items():
        kind = kind_of(articles, len(texts))
        kinds[word] = kind if kind == kind_of(by_stem[word], len(texts)) else None
    return kinds


def lines_of(name, queries):
    return [f"{name}\t{('warm', 'measure')[number % 2]}\t{query}\n"
            for number, query in enumerate(queries)]


def write_queries(texts, lemmas_of, stems_of, seed, file):
    """Writes lines CLASS<tab>warm|measure<tab>WORDS for a collection of texts. The two
    functions make a dictionary from a list of words."""
    kinds = kinds_of_words(texts, lemmas_of, stems_of)
    rng = random.Random(seed)
    lines = []
    known = set()
    for name, wanted in CLASSES.items():
        queries = []
        wanted_queries = (QUERIES_WITH_MANY_ANSWERS if set(wanted or ()) == {FREQUENT}
                          else QUERIES_A_CLASS)
        for _ in range(100 * QUERIES_A_CLASS):
            if len(queries) == wanted_queries:
                break
            query = draw(rng, words_of(rng.choice(texts)), wanted, kinds)
            if query is not None and frozenset(query) not in known:
                known.add(frozenset(query))
                queries.append(query)
        lines += lines_of(name, map(" ".join, queries))
    file.write_text("".join(lines))
