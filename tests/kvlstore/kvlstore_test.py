"""The test of the program kvlstore: exit statuses, errors, interrupts and terminals. See CMakeLists.txt of
tools/kvlstore for how it is run: KVLSTORE and KVLSTORE_STORES name the programs."""

import json
import os
import pty
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

PROGRAM = os.environ["KVLSTORE"]
STORES = os.environ["KVLSTORE_STORES"]
FOLDER = tempfile.mkdtemp(prefix="kvlstore-test-")


def path(name):
    return os.path.join(FOLDER, name)


def make(kind, name, count=0):
    subprocess.run([STORES, kind, path(name), str(count)], check=True)


def run(*arguments, environment=None, **options):
    """Runs the program to its end."""
    options.setdefault("stdout", subprocess.PIPE)
    return subprocess.run([PROGRAM, *arguments], stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, timeout=100,
                          env=dict(os.environ, **(environment or {})), **options)


def in_terminal(*arguments, environment=None, for_errors=False, until=None, elsewhere=subprocess.DEVNULL):
    """Runs the program with a terminal as standard output, or as standard error; returns what it shows. `elsewhere`:
    where the other of the two goes."""
    ours, theirs = pty.openpty()
    process = subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL,
                               stdout=elsewhere if for_errors else theirs, stderr=theirs if for_errors else elsewhere,
                               env=dict(os.environ, TERM="xterm", **(environment or {})))
    os.close(theirs)
    shown = b""
    while True:
        try:
            piece = os.read(ours, 65536)
        except OSError:
            break
        if not piece:
            break
        shown += piece
        if until is not None and until in shown:
            process.send_signal(signal.SIGINT)
    process.wait(100)
    os.close(ours)
    return shown


def setUpModule():
    make("parts", "parts.kvs", 300)
    make("array", "small.kvs", 200_000)
    make("array", "large.kvs", 4_000_000)


def tearDownModule():
    shutil.rmtree(FOLDER)


class Statuses(unittest.TestCase):
    def expect_line(self, result, *parts):
        self.assertEqual(result.returncode, 2, result)
        text = result.stderr.decode()
        self.assertTrue(text.startswith("kvlstore: ") and text.endswith("\n"), text)
        self.assertEqual(text.count("\n"), 1, text)
        self.assertLess(len(text), 400)
        for part in parts:
            self.assertIn(part, text)

    def test_what_is_done(self):
        store = path("parts.kvs")
        for call in (["info", store], ["ls", store], ["ls", "-r", "-l", store], ["show", store, "parts"],
                     ["dump", store], ["diff", store, store], ["log", store], ["check", store, "--full"],
                     ["stat", store], ["classes", store], ["copy", store, path("copied.kvs")],
                     ["compact", path("copied.kvs")], ["recover", store, path("recovered.kvs")],
                     ["report", store], ["plot", path("small.kvs"), "run.m_Array", "--svg"],
                     ["dump", path("small.kvs"), "run.m_Array", "--csv", "--slice", "-2:"], ["--help"],
                     ["diff", "--help"], ["--version"]):
            result = run(*call)
            self.assertEqual(result.returncode, 0, (call, result.stderr))
            self.assertEqual(result.stderr, b"", call)
        self.assertEqual(run("diff", store, path("small.kvs")).returncode, 1)
        self.assertEqual(run("diff", store, path("recovered.kvs")).returncode, 0)

    def test_wrong_calls(self):
        store = path("parts.kvs")
        self.expect_line(run(), "verb")
        self.expect_line(run("paint", store), "paint")
        self.expect_line(run("\x1b[31m\n", store), "\\x1b")
        self.expect_line(run("--paint"), "See kvlstore --help")
        self.expect_line(run("ls"), "STORE")
        self.expect_line(run("show", store), "OBJECT")
        self.expect_line(run("info", store, "more"), "more")
        self.expect_line(run("info", path("none.kvs")), "none.kvs")
        self.expect_line(run("info", path("\x1b[31m\n.kvs")), "\\x1b[31m\\n.kvs")
        self.expect_line(run("show", store, "nothing"), "parts.kvs", "nothing")
        self.expect_line(run("show", store, "parts.m_None"), "parts.kvs", "parts", "m_None")
        self.expect_line(run("show", store, "parts.m_Parts[300]"), "parts.kvs", "m_Parts", "[300]")
        self.expect_line(run("show", store, "#x"), "#x")
        self.expect_line(run("dump", store, "--csv"), "name one")
        self.expect_line(run("dump", store, "parts", "--csv", "--npy"), "--npy")
        self.expect_line(run("dump", store, "parts.m_Parts", "--slice", "1:2:3"), "1:2:3")
        self.expect_line(run("ls", store, "--class", "None"), "None")
        for value in ("nan", "-1", "inf", "x"):
            self.expect_line(run("diff", store, store, "--abs", value), "--abs", value)
            self.expect_line(run("diff", store, store, "--rel", value), "--rel", value)
            self.expect_line(run("watch", store, "--interval", value), "--interval", value)
        self.expect_line(run("log", store, "-n", "0"), "0")
        self.expect_line(run("show", store, "parts", "--depth", "-1"), "--depth")
        self.expect_line(run("copy", store, path("small.kvs")), "small.kvs")
        self.expect_line(run("compact", path("none.kvs")), "none.kvs")
        self.assertFalse(os.path.exists(path("none.kvs")))

    def test_output_files(self):
        store = path("parts.kvs")
        with open(path("mine"), "w", encoding="utf-8") as file:
            file.write("mine")
        self.expect_line(run("dump", store, "-o", path("mine")), "mine", "exists")
        with open(path("mine"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "mine")
        self.expect_line(run("dump", store, "nothing", "-o", path("failed")), "nothing")
        self.assertFalse(os.path.exists(path("failed")))
        self.expect_line(run("dump", store, "-o", path("no/such/folder")), "no/such/folder")
        self.assertEqual(run("dump", store, "-o", path("dumped")).returncode, 0)
        with open(path("dumped"), "rb") as file:
            self.assertEqual(file.read(), run("dump", store).stdout)

    def test_full_disk(self):
        for call in (["info", path("parts.kvs")], ["dump", path("small.kvs")], ["report", path("parts.kvs")]):
            with open("/dev/full", "wb") as full:
                self.expect_line(run(*call, stdout=full), "standard output", "No space left")

    def test_reader_that_ends_early(self):
        process = subprocess.Popen([PROGRAM, "dump", path("large.kvs"), "run.m_Array", "--csv"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        process.stdout.readline()
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(100), -signal.SIGPIPE)


class Interrupts(unittest.TestCase):
    def interrupt(self, arguments, is_begun, **options):
        process = subprocess.Popen([PROGRAM, *arguments], stderr=subprocess.PIPE,
                                   stdout=options.pop("stdout", subprocess.DEVNULL), **options)
        end = time.monotonic() + 60
        while not is_begun(process) and process.poll() is None and time.monotonic() < end:
            time.sleep(0.002)
        process.send_signal(signal.SIGINT)
        errors = process.communicate(timeout=60)[1]
        return process.returncode, errors

    def test_a_dump_leaves_nothing(self):
        target = path("interrupted.csv")
        status, errors = self.interrupt(["dump", path("large.kvs"), "run.m_Array", "--csv", "-o", target],
                                        lambda process: os.path.exists(target) and os.path.getsize(target) > 0)
        self.assertEqual((status, errors), (130, b"kvlstore: interrupted\n"))
        self.assertFalse(os.path.exists(target))

    def test_copy_and_recover_leave_nothing(self):
        for verb in ("copy", "recover"):
            target = path("interrupted.kvs")
            before = set(os.listdir(FOLDER))
            status, errors = self.interrupt([verb, path("large.kvs"), target],
                                            lambda process: set(os.listdir(FOLDER)) != before)
            self.assertEqual((status, errors), (130, b"kvlstore: interrupted\n"), verb)
            self.assertEqual(set(os.listdir(FOLDER)), before, verb)

    def test_watch(self):
        make("parts", "watched.kvs", 3)
        process = subprocess.Popen([PROGRAM, "watch", path("watched.kvs"), "--interval", "0.02"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertIn(b"watching", process.stdout.readline())  # at once, also through a pipe
        make("save", "watched.kvs")
        self.assertIn(b"kvlstore_stores", process.stdout.readline())
        process.send_signal(signal.SIGINT)
        errors = process.communicate(timeout=60)[1]
        self.assertEqual((process.returncode, errors), (130, b"kvlstore: interrupted\n"))

    def test_an_ignored_interrupt_stays_ignored(self):
        target = path("whole.csv")
        status, errors = self.interrupt(["dump", path("small.kvs"), "run.m_Array", "--csv", "-o", target],
                                        lambda process: os.path.exists(target),
                                        preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        self.assertEqual((status, errors), (0, b""))
        self.assertTrue(os.path.exists(target))


class Terminals(unittest.TestCase):
    def test_colour_is_for_terminals(self):
        call = ["show", path("parts.kvs"), "parts"]
        self.assertIn(b"\x1b[1m", in_terminal(*call))
        self.assertNotIn(b"\x1b", in_terminal(*call, environment={"NO_COLOR": "1"}))
        self.assertIn(b"\x1b[1m", in_terminal(*call, environment={"NO_COLOR": ""}))
        self.assertNotIn(b"\x1b", run(*call, environment={"TERM": "xterm"}).stdout)

    def test_texts_of_a_store_do_not_reach_the_terminal(self):
        csv = ["dump", path("parts.kvs"), "parts.m_Texts", "--csv"]
        self.assertEqual(in_terminal(*csv), b'"\\x1b[31mred \\xc2\\x9b"\r\n')
        self.assertEqual(run(*csv).stdout, b'"\x1b[31mred \xc2\x9b"\n')  # a file gets them as they are
        shown = in_terminal("dump", path("parts.kvs"), "parts.m_Texts")
        self.assertNotIn(b"\x1b", shown)
        self.assertNotIn(b"\xc2\x9b", shown)
        self.assertEqual(json.loads(shown)["elements"], ["\x1b[31mred \x9b"])

    def test_npy_is_not_for_terminals(self):
        self.assertEqual(in_terminal("dump", path("small.kvs"), "run.m_Array", "--npy"), b"")

    def test_the_bar_is_shown_and_erased(self):
        call = ["dump", path("large.kvs"), "run.m_Array", "--csv"]
        # Whoever takes the output begins late, so that the program works for longer than it does without a bar.
        with subprocess.Popen(["sh", "-c", "sleep 0.8; cat >/dev/null"], stdin=subprocess.PIPE) as late:
            shown = in_terminal(*call, for_errors=True, elsewhere=late.stdin)
        self.assertTrue(shown == b"" or shown.endswith(b"\r\x1b[K"), shown[-100:])
        self.assertRegex(shown, rb"dumping  \[#* *\]  \d+ %  [\d,]+/s")
        self.assertEqual(run(*call, stdout=subprocess.DEVNULL).stderr, b"")  # no terminal, no bar


if __name__ == "__main__":
    unittest.main()
