"""The Python module, over real stores. The library is the one that FENRA_LIBRARY names."""

import datetime
import os
import tempfile
import threading
import unittest

import fenra


def open_files():
    return len(os.listdir("/proc/self/fd"))


class FenraTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.path = os.path.join(directory.name, "articles.store")

    def test_articles_go_in_and_come_out(self):
        with fenra.open(self.path) as store:
            store.index("u:1", "<meta charset=latin1><title>Ñabar etxe</title><p>Etxe ñimiño zuria",
                        mime="text/html", date=datetime.date(2009, 3, 15), source="berria")
            store.index("u:\udcff", b"Mendia eta etxea.", date="20100101")
            hits = list(store.search("etxearen"))
            self.assertEqual([(hit.url, hit.date, hit.source, hit.title) for hit in hits],
                             [("u:1", "20090315", "berria", "Ñabar etxe"),
                              ("u:\udcff", "20100101", "", "Mendia eta etxea.")])
            # Places are those of characters.
            snippet = next(store.search("zuria")).snippet()
            self.assertEqual([snippet[match] for match in snippet.matches], ["zuria"])
            self.assertIn("ñimiño [zuria]", snippet.marked())
            self.assertEqual([hit.url for hit in store.search("etxe", order="date", limit=1)],
                             ["u:\udcff"])
            self.assertEqual([(term.kind, term.written, term.lemma, term.excluded, term.articles)
                              for term in store.explain("etxean -source:berria")],
                             [("lemma", "etxean", "etxe", False, 2),
                              ("source", "source:berria", None, True, 1)])
            store.delete("u:1")
            self.assertEqual(len(store), 1)
            with self.assertRaises(fenra.NotFoundError):
                hits[0].snippet()

    def test_errors_are_exceptions_with_the_librarys_message(self):
        with self.assertRaisesRegex(fenra.NotFoundError, "there is no store at"):
            fenra.open(self.path, create=False)
        with fenra.open(self.path, rules="plain") as store:
            for wrong in (lambda: store.index("u:\0", "a"), lambda: store.search("a", order="odd"),
                          lambda: store.search("a", after=-1),
                          lambda: fenra.open(self.path, rules="odd")):
                self.assertRaises(ValueError, wrong)
            with self.assertRaisesRegex(fenra.QueryError, "at byte 1 "):
                store.search("(etxe")
            with self.assertRaisesRegex(fenra.ArticleError, "the text is empty"):
                store.index("u:1", "")
            store.index("u:1", "etxe")
        with self.assertRaises(fenra.ExistsError):
            fenra.open(self.path, rules="web")
        with fenra.open(self.path, read_only=True) as store:
            self.assertRaises(fenra.ReadOnlyError, store.index, "u:2", "etxe")

    def test_what_is_closed_raises_and_has_no_file_open(self):
        before = open_files()
        store = fenra.open(self.path)
        store.index("u:1", "etxe")
        results, ended = store.search("etxe"), store.search("etxe")
        hit = next(results)
        results.close()
        self.assertRaises(fenra.ClosedError, next, results)
        self.assertRaises(fenra.ClosedError, hit.snippet)
        store.close()
        store.close()
        self.assertRaises(fenra.ClosedError, next, ended)
        self.assertRaises(fenra.ClosedError, store.search, "etxe")
        self.assertRaises(fenra.ClosedError, store.index, "u:2", "etxe")
        self.assertEqual(open_files(), before)
        fenra.open(self.path).index("u:2", "etxe")  # closed when nobody has it
        self.assertEqual(open_files(), before)

    def test_building(self):
        def stop(_done, _total):
            raise KeyboardInterrupt

        words = " ".join(f"x{number}" for number in range(20000))
        with self.assertRaises(KeyboardInterrupt):
            with fenra.build(self.path, progress=stop) as build:
                build.add("u:1", words)
        with self.assertRaises(ZeroDivisionError):
            with fenra.build(self.path) as build:
                build.add("u:1", "etxe")
                raise ZeroDivisionError
        self.assertFalse(os.path.exists(self.path))
        shown = []
        with fenra.build(self.path, progress=lambda *done: shown.append(done)) as build:
            build.add("u:1", words)
            self.assertRaises(fenra.ArticleError, build.add, "u:2", "")
        self.assertRaises(fenra.ClosedError, build.finish)
        self.assertTrue(shown)
        with fenra.open(self.path, create=False) as store:
            self.assertEqual(len(store), 1)

    def test_threads_share_a_store(self):
        with fenra.open(self.path) as store:
            def work(name):
                for number in range(5):
                    store.index(f"{name}{number}", "etxe")
                    found.append(any(hit.title for hit in store.search("etxe")))

            found = []
            threads = [threading.Thread(target=work, args=name) for name in "abc"]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual((len(store), found), (15, [True] * 15))

    def test_a_forked_child_gets_an_error(self):
        with fenra.open(self.path) as store:
            child = os.fork()
            if child == 0:
                status = 1
                try:
                    store.index("u:1", "etxe")
                except fenra.ForkedError:
                    status = 0
                finally:
                    os._exit(status)
            self.assertEqual(os.waitpid(child, 0)[1], 0)
            store.index("u:1", "etxe")


if __name__ == "__main__":
    unittest.main()
