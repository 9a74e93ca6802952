"""The library's statuses as exceptions."""


class Error(Exception):
    """The library has failed; the text is its message."""

    #: The number of the status, as in fenra_c.h.
    status = 16

    def __init__(self, message: str, status: int = 16) -> None:
        super().__init__(message)
        self.status = status


class QueryError(Error, ValueError):
    """It is no query, or it has no word."""


class ArticleError(Error, ValueError):
    """The article cannot be stored as it is."""


class NotFoundError(Error, LookupError):
    """There is no such article, or no such store."""


class ExistsError(Error):
    """There is something else at the path, or a store of other rules of words."""


class ReadOnlyError(Error):
    """The store is open for reading only."""


class BusyError(Error):
    """Others are opening, closing or building the store."""


class StoreChangedError(Error):
    """Somebody has written to a store that is open for reading only."""


class ClosedError(Error, ValueError):
    """The store, the results or the build is closed."""


class ForkedError(Error):
    """The store was opened by the parent process."""


class CancelledError(Error):
    """A callback has asked for the end."""


KINDS = {
    3: QueryError,
    4: ArticleError,
    5: NotFoundError,
    6: ExistsError,
    7: ReadOnlyError,
    9: BusyError,
    11: StoreChangedError,
    12: CancelledError,
    13: ClosedError,
    14: ForkedError,
}


def exception_of(status: int, message: str) -> Exception:
    """What a status other than success raises."""
    if status == 2:
        return ValueError(message)
    if status == 8:
        return PermissionError(message)
    if status == 15:
        return MemoryError(message)
    return KINDS.get(status, Error)(message, status)
