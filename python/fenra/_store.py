"""Stores, results and builds as objects."""

import ctypes
import datetime
import os
import threading
from ctypes import byref, c_char_p, c_uint64, c_void_p
from types import TracebackType
from typing import Callable, Iterator, List, NamedTuple, Optional, Tuple, Type, Union

from fenra import _library
from fenra._errors import ClosedError
from fenra._library import call, decoded, encoded, library

Date = Union[str, datetime.date, None]
Path = Union[str, "os.PathLike[str]"]

_ORDERS = {"indexing": 0, "newest": 1, "date": 2}
_KINDS = ("", "lemma", "form", "prefix", "phrase", "source", "dates")


class Snippet(str):
    """A part of an article's text. `matches` are the places, as slices, of what was asked for."""

    matches: Tuple[slice, ...]

    def marked(self, before: str = "[", behind: str = "]") -> str:
        """The text with marks around the matches."""
        text, at = "", 0
        for match in self.matches:
            text += self[at : match.start] + before + self[match] + behind
            at = match.stop
        return text + self[at:]


class Term(NamedTuple):
    """What a word of a query was taken for."""

    kind: str  #: lemma, form, prefix, phrase, source or dates
    excluded: bool
    written: str  #: as it stands in the query
    form: str
    lemma: Optional[str]  #: of a word
    meaning: str  #: for people, as "lemma etxe"
    articles: int  #: how many have it


class Hit:
    """An article of an answer. Title and snippet are read from the store when they are asked for,
    which raises ClosedError when the results are closed, and NotFoundError when the article has
    been replaced or deleted since."""

    def __init__(self, results: "Results", record: _library.HitRecord) -> None:
        self._results = results
        self.id: int = record.id
        self.url = decoded(record.url)
        self.date = decoded(record.date)
        self.source = decoded(record.source)
        self.mime = decoded(record.mime)

    @property
    def title(self) -> str:
        """The first line of the article."""
        return self._results._title(self.id)

    def snippet(self) -> Snippet:
        """The part of the text that has most of the query."""
        return self._results._snippet(self.id)

    def __repr__(self) -> str:
        return f"<fenra.Hit {self.id} {self.url!r}>"


class _Handle:
    """What has to be closed."""

    def __init__(self, name: str) -> None:
        self._name = name
        self._handle = c_void_p()
        # What a call has handed out is copied before another thread's makes it invalid, and
        # nothing is closed while it is used.
        self._lock = threading.RLock()

    def _open_handle(self) -> c_void_p:
        if not self._handle:
            raise ClosedError(f"{self._name} is closed", 13)
        return self._handle

    def close(self) -> None:
        """Closes it; a second call does nothing."""
        raise NotImplementedError

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # pylint: disable=broad-except  # there is nobody to tell
            pass


class Results(_Handle):
    """The articles of an answer, found while they are iterated. It is closed by its `with`, by
    close(), with its store, or when nobody has it or a hit of it any more."""

    def __init__(self, store: "Store", query: str, page: _library.PageRecord) -> None:
        super().__init__(f"the answer to {query!r}")
        self._store = store
        with store._lock:
            call("fenra_search", store._open_handle(), encoded(query), byref(page),
                 byref(self._handle))

    def __iter__(self) -> Iterator[Hit]:
        return self

    def __next__(self) -> Hit:
        record = ctypes.POINTER(_library.HitRecord)()
        with self._lock:
            status = call("fenra_next", self._open_handle(), byref(record))
            if status == _library.END:
                raise StopIteration
            return Hit(self, record.contents)

    def _title(self, article: int) -> str:
        title = c_char_p()
        with self._lock:
            call("fenra_title", self._open_handle(), article, byref(title))
            return decoded(title.value)

    def _snippet(self, article: int) -> Snippet:
        record = ctypes.POINTER(_library.SnippetRecord)()
        with self._lock:
            call("fenra_snippet", self._open_handle(), article, byref(record))
            shown = record.contents
            text = ctypes.string_at(shown.text, shown.length)
            places = [(shown.matches[i].begin, shown.matches[i].end)
                      for i in range(shown.match_count)]
        snippet = Snippet(text.decode("utf-8", "replace"))

        def characters(end: int) -> int:
            return len(text[:end].decode("utf-8", "replace"))

        snippet.matches = tuple(slice(characters(begin), characters(end)) for begin, end in places)
        return snippet

    def close(self) -> None:
        """Closes the results; a second call does nothing."""
        with self._lock:
            handle, self._handle = self._handle, c_void_p()
            if handle:
                library.fenra_results_free(handle)

    def __enter__(self) -> "Results":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], value: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()


class Store(_Handle):
    """An open store; see fenra.open."""

    def __init__(self, path: Path, flags: int, rules: Optional[str]) -> None:
        super().__init__(f"the store {os.fspath(path)!r}")
        call("fenra_open", os.fsencode(path), flags, None if rules is None else encoded(rules),
             byref(self._handle))

    def index(self, url: str, text: Union[str, bytes], *, mime: str = "text/plain",
              date: Date = None, source: str = "") -> None:
        """Stores an article durably, and replaces the one of the same URL. `text` is text, or the
        bytes of a page in any encoding that it tells. `date` is a date or 8 digits. Raises
        ArticleError for what cannot be stored."""
        article = _article(url, text, mime, date, source)
        with self._lock:
            call("fenra_index", self._open_handle(), byref(article))

    def delete(self, url: str) -> None:
        """Deletes the article of the URL. Raises NotFoundError when there is none."""
        with self._lock:
            call("fenra_delete", self._open_handle(), encoded(url))

    def search(self, query: str, *, order: str = "indexing", after: int = 0,
               limit: int = 0) -> Results:
        """The articles of a query of the language that `fenra search` has. `order` is "indexing",
        "newest" or "date"; `after` the id behind which to begin; `limit` the most articles, 0
        for all. Raises QueryError."""
        if order not in _ORDERS:
            raise ValueError(f"there is no order {order!r}; {', '.join(_ORDERS)} are known")
        if after < 0 or limit < 0:
            raise ValueError(f"after={after}, limit={limit}: neither may be negative")
        return Results(self, query, _library.PageRecord(_ORDERS[order], after, limit))

    def explain(self, query: str) -> List[Term]:
        """What the words of a query are taken for, and how many articles have each."""
        explanation = c_void_p()
        with self._lock:
            call("fenra_explain", self._open_handle(), encoded(query), byref(explanation))
        try:
            return list(_terms(explanation))
        finally:
            library.fenra_explanation_free(explanation)

    def __len__(self) -> int:
        """The number of articles; looks at each."""
        count = c_uint64()
        with self._lock:
            call("fenra_count", self._open_handle(), byref(count))
        return count.value

    def __bool__(self) -> bool:
        return True

    def close(self) -> None:
        """Closes the store and ends its results; a second call does nothing."""
        with self._lock:
            if self._handle:
                call("fenra_close", self._handle)
                self._handle = c_void_p()

    def __enter__(self) -> "Store":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], value: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()


class Bulk(_Handle):
    """A new store being built; see fenra.build."""

    def __init__(self, path: Path, rules: Optional[str]) -> None:
        super().__init__(f"the build of {os.fspath(path)!r}")
        self.progress: Optional[Callable[[int, int], object]] = None
        call("fenra_bulk_open", os.fsencode(path), None if rules is None else encoded(rules),
             byref(self._handle))

    def add(self, url: str, text: Union[str, bytes], *, mime: str = "text/plain",
            date: Date = None, source: str = "") -> None:
        """Adds an article, as Store.index takes it. After an ArticleError the build goes on."""
        article = _article(url, text, mime, date, source)
        with self._lock:
            call("fenra_bulk_add", self._open_handle(), byref(article))

    def finish(self) -> None:
        """Writes the store and closes the build. What `progress` raises ends it, without a
        store, and is raised here."""
        raised: List[BaseException] = []

        def show(_state: object, done: int, total: int) -> int:
            try:
                if self.progress is not None:
                    self.progress(done, total)
            except BaseException as exception:  # pylint: disable=broad-except
                raised.append(exception)
            return 1 if raised else 0

        with self._lock:
            try:
                call("fenra_bulk_finish", self._open_handle(), _library.PROGRESS(show), None)
            except Exception:
                if raised:
                    raise raised[0] from None
                raise
            finally:
                self.close()

    def close(self) -> None:
        """Gives the build up, unless it is finished; a second call does nothing."""
        with self._lock:
            handle, self._handle = self._handle, c_void_p()
            if handle:
                library.fenra_bulk_free(handle)

    def __enter__(self) -> "Bulk":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], value: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        if kind is None and self._handle:
            self.finish()
        self.close()


def _article(url: str, text: Union[str, bytes], mime: str, date: Date,
             source: str) -> _library.ArticleRecord:
    data = text
    if isinstance(text, str):
        data = text.encode("utf-8", "surrogateescape")
        # Whatever encoding the page had when somebody decoded it.
        if mime.lower().startswith("text/html") and "charset" not in mime.lower():
            mime += "; charset=utf-8"
    if isinstance(date, datetime.date):
        date = date.strftime("%Y%m%d").rjust(8, "0")
    return _library.ArticleRecord(encoded(url), data, len(data), encoded(mime),
                                  encoded(date or ""), encoded(source))


def _terms(explanation: c_void_p) -> Iterator[Term]:
    number = 0
    while record := library.fenra_explanation_term(explanation, number):
        term = record.contents
        lemma = None if term.lemma is None else decoded(term.lemma)
        yield Term(_KINDS[term.kind], bool(term.excluded), decoded(term.written),
                   decoded(term.form), lemma, decoded(term.meaning), term.articles)
        number += 1


def open(path: Path, *, create: bool = True, read_only: bool = False,  # pylint: disable=W0622
         rules: Optional[str] = None) -> Store:
    """Opens the store in the directory `path`; makes it when there is none, unless `create` is
    false. With `read_only` nothing is written, and permission to read is enough. `rules` are
    those of words of a new store: "web", as without it, or "plain"."""
    flags = _library.OPEN_READ_ONLY if read_only else _library.CREATE if create else 0
    return Store(path, flags, rules)


def build(path: Path, *, rules: Optional[str] = None,
          progress: Optional[Callable[[int, int], object]] = None) -> Bulk:
    """Begins to build a new store from many articles, many times faster than one by one. There is
    nothing at `path` until the end of the `with`, or finish(), and nothing after an exception.
    `progress` is called now and then with what is done, out of how much, while it is written."""
    bulk = Bulk(path, rules)
    bulk.progress = progress
    return bulk
