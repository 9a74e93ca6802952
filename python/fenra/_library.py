"""fenra_c.h by ctypes."""

import ctypes
import os
from ctypes import POINTER, byref, c_char_p, c_int, c_size_t, c_uint, c_uint32, c_uint64, c_void_p
from typing import Any

from fenra._errors import exception_of

OK = 0
END = 1
CREATE = 1
OPEN_READ_ONLY = 2


class ErrorRecord(ctypes.Structure):
    _fields_ = [("status", c_int), ("message", ctypes.c_char * 1024)]


class ArticleRecord(ctypes.Structure):
    _fields_ = [
        ("url", c_char_p),
        ("data", c_char_p),
        ("length", c_size_t),
        ("mime", c_char_p),
        ("date", c_char_p),
        ("source", c_char_p),
    ]


class PageRecord(ctypes.Structure):
    _fields_ = [("order", c_int), ("after", c_uint64), ("limit", c_uint64)]


class HitRecord(ctypes.Structure):
    _fields_ = [
        ("id", c_uint64),
        ("url", c_char_p),
        ("date", c_char_p),
        ("source", c_char_p),
        ("mime", c_char_p),
    ]


class RangeRecord(ctypes.Structure):
    _fields_ = [("begin", c_uint32), ("end", c_uint32)]


class SnippetRecord(ctypes.Structure):
    _fields_ = [
        ("text", c_void_p),
        ("length", c_size_t),
        ("matches", POINTER(RangeRecord)),
        ("match_count", c_size_t),
    ]


class TermRecord(ctypes.Structure):
    _fields_ = [
        ("kind", c_int),
        ("excluded", c_int),
        ("written", c_char_p),
        ("form", c_char_p),
        ("lemma", c_char_p),
        ("meaning", c_char_p),
        ("first_date", c_uint32),
        ("last_date", c_uint32),
        ("articles", c_uint64),
    ]


PROGRESS = ctypes.CFUNCTYPE(c_int, c_void_p, c_uint64, c_uint64)
_ERROR = POINTER(ErrorRecord)

# The arguments of each function.
_STATUS_CALLS = {
    "fenra_open": [c_char_p, c_uint, c_char_p, POINTER(c_void_p), _ERROR],
    "fenra_close": [c_void_p, _ERROR],
    "fenra_count": [c_void_p, POINTER(c_uint64), _ERROR],
    "fenra_index": [c_void_p, POINTER(ArticleRecord), _ERROR],
    "fenra_delete": [c_void_p, c_char_p, _ERROR],
    "fenra_search": [c_void_p, c_char_p, POINTER(PageRecord), POINTER(c_void_p), _ERROR],
    "fenra_next": [c_void_p, POINTER(POINTER(HitRecord)), _ERROR],
    "fenra_title": [c_void_p, c_uint64, POINTER(c_char_p), _ERROR],
    "fenra_snippet": [c_void_p, c_uint64, POINTER(POINTER(SnippetRecord)), _ERROR],
    "fenra_explain": [c_void_p, c_char_p, POINTER(c_void_p), _ERROR],
    "fenra_bulk_open": [c_char_p, c_char_p, POINTER(c_void_p), _ERROR],
    "fenra_bulk_add": [c_void_p, POINTER(ArticleRecord), _ERROR],
    "fenra_bulk_finish": [c_void_p, PROGRESS, c_void_p, _ERROR],
}
_OTHER_CALLS = {
    "fenra_version": (c_char_p, []),
    "fenra_results_free": (None, [c_void_p]),
    "fenra_explanation_term": (POINTER(TermRecord), [c_void_p, c_size_t]),
    "fenra_explanation_free": (None, [c_void_p]),
    "fenra_bulk_free": (None, [c_void_p]),
}


def _load() -> ctypes.CDLL:
    library = ctypes.CDLL(os.environ.get("FENRA_LIBRARY") or "libfenra.so.1")
    for name, arguments in _STATUS_CALLS.items():
        function = getattr(library, name)
        function.restype, function.argtypes = c_int, arguments
    for name, (result, arguments) in _OTHER_CALLS.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


library = _load()


def call(name: str, *arguments: Any) -> int:
    """Calls a function that has a status; raises for all but success and the end."""
    error = ErrorRecord()
    status = getattr(library, name)(*arguments, byref(error))
    if status not in (OK, END):
        raise exception_of(status, error.message.decode("utf-8", "replace"))
    return status


def encoded(text: str) -> bytes:
    """A text for the library; what decoded() has made of odd bytes becomes these again."""
    result = text.encode("utf-8", "surrogateescape")
    if b"\0" in result:
        raise ValueError(f"{text!r} holds a zero character; leave it out")
    return result


def decoded(text: "bytes | None") -> str:
    """A text of the library."""
    return (text or b"").decode("utf-8", "surrogateescape")


def version() -> str:
    """The version of the library."""
    return decoded(library.fenra_version())
