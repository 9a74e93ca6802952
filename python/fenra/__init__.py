"""Stores of Basque web articles: articles go in, and queries find them by the lemmas of their words.

    import fenra

    with fenra.open("articles.store") as store:
        store.index("https://example.eus/1", page, mime="text/html", date="20090315")
        for hit in store.search("etxe zuri"):
            print(hit.url, hit.title, hit.snippet())

The module calls the library libfenra.so.1; the environment variable FENRA_LIBRARY names another
file. Whatever fails raises fenra.Error, or one of its kinds below, with the library's message.

A store and what it has given may be used by any threads, which take turns. A process that was
forked opens stores of its own: those of its parent raise ForkedError in it.
"""

from fenra._errors import (
    ArticleError,
    BusyError,
    ClosedError,
    Error,
    ExistsError,
    ForkedError,
    NotFoundError,
    QueryError,
    ReadOnlyError,
    StoreChangedError,
)
from fenra._library import version
from fenra._store import Bulk, Hit, Results, Snippet, Store, Term, build, open

__all__ = [
    "ArticleError",
    "Bulk",
    "BusyError",
    "ClosedError",
    "Error",
    "ExistsError",
    "ForkedError",
    "Hit",
    "NotFoundError",
    "QueryError",
    "ReadOnlyError",
    "Results",
    "Snippet",
    "Store",
    "StoreChangedError",
    "Term",
    "build",
    "open",
    "version",
]
