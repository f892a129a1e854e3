#!/usr/bin/env python3

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

"""gdapp against a model of what it documents.

Random sequences of gdapp commands (put from files and from pipes, get into files, folders, a
FIFO and standard output, cp, mv, rm, mkdir, ls, stat) with names drawn from the hard cases
(spaces, +, ', %, backslashes, letters of either case, other scripts, leading dots, trailing
slashes, empty and very long names) run against the emulator. After every step the service's
entries, read through the emulator's control API, and the local files must equal the model's,
the exit status must be the documented one, and a command that failed must have sent nothing
that changes anything. A failure prints the shrunk sequence as commands to paste.

    gdapp_model.py --gdapp build/tools/gdapp/gdapp \\
                   --emulator build/tools/drive-emulator/drive-emulator [--hypothesis-profile P]

Profiles: "ci" (the suite's, a few hundred steps), "thorough" (thousands). The first command
authorises through the loopback port 5479. Exits 77 when python3-hypothesis is missing.
"""

import argparse
import hashlib
import json
import os
import re
import shlex
import shutil
import stat
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.request

try:
    from hypothesis import HealthCheck, note, settings
    from hypothesis.configuration import set_hypothesis_home_dir
    from hypothesis import strategies as st
    from hypothesis.stateful import RuleBasedStateMachine, initialize, invariant, rule
except ImportError:
    print("SKIP: python3-hypothesis is not installed (Debian package python3-hypothesis)")
    sys.exit(77)

# No example database: nothing is written beside the sources; a failure prints its blob.
settings.register_profile(
    "ci", max_examples=30, stateful_step_count=30, deadline=None, print_blob=True, database=None,
    suppress_health_check=[HealthCheck.too_slow])
settings.register_profile(
    "thorough", max_examples=300, stateful_step_count=50, deadline=None, print_blob=True,
    database=None, suppress_health_check=[HealthCheck.too_slow])

FOLDER_TYPE = "application/vnd.google-apps.folder"
SUCCESS, FAILURE, USAGE, NOT_FOUND = 0, 1, 2, 3

# Segments of URLs as users type them: names that work, coming back often enough for commands
# to meet what earlier ones made, and the hard cases.
PLAIN = ["a", "A", "b", "d", "D", "a b", "50%20", "100%", "é", "É", "日本", "😀", ".hidden", "-",
         "x" * 300]
HARD = ["a+b", "it's", "back\\slash", "50%2520", "%zz", "%3F", "%2F", ".", "..", ""]
LOCAL_NAMES = ["a", "a b", "a+b", "日本", "dir", "missing"]
CONTENTS = [b"", b"content\n", b"\x00\xff binary", b"z" * 70000]
BAD_URLS = ["gdapp:a", "gdapp://host/a", "http://example.org/a", "gdapp:/a?b", "gdapp:/a#b"]


# --- What gdapp documents ----------------------------------------------------------------

class Usage(Exception):
    """The command line is refused: exit 2."""


class Refused(Exception):
    """A name the plug-in could not find again: exit 1."""


def decode(segment):
    """%XX is an escaped byte of UTF-8; anything else stands for itself."""
    out = bytearray()
    i = 0
    while i < len(segment):
        if re.match(r"%[0-9A-Fa-f]{2}", segment[i:i + 3]):
            out.append(int(segment[i + 1:i + 3], 16))
            i += 3
        else:
            out += segment[i].encode()
            i += 1
    return out.decode()  # UnicodeDecodeError: not UTF-8


def refused(name):
    return (name in ("", ".", "..") or any(c in name for c in "/'+\\")
            or re.search(r"%[0-9A-Fa-f]{2}", name) is not None)


class Url:
    def __init__(self, text):
        if not text.lower().startswith("gdapp:"):
            raise Usage()
        rest = text[len("gdapp:"):]
        if rest.startswith("//") or (rest and not rest.startswith("/")) or "?" in rest \
                or "#" in rest:
            raise Usage()
        segments = rest.split("/")[1:]
        self.folder = not segments or segments[-1] == ""
        if segments and segments[-1] == "":
            segments.pop()
        names = []
        for segment in segments:
            try:
                name = decode(segment)
            except UnicodeDecodeError:
                raise Usage()
            if refused(name):
                raise Refused()
            names.append(name)
        self.names = tuple(names)

    @property
    def parent(self):
        return self.names[:-1]


def fold(name):
    # The service matches names whatever their case.
    return name.lower()


class Drive:
    """The service as the model sees it: path of names -> None for a folder, or content."""

    def __init__(self):
        self.entries = {}

    def find(self, names):
        """The stored path that names resolve to, or None."""
        path = ()
        for i, name in enumerate(names):
            last = i == len(names) - 1
            matches = [p for p in self.entries if len(p) == len(path) + 1 and p[:-1] == path
                       and fold(p[-1]) == fold(name)
                       and (last or self.entries[p] is None)]
            if not matches:
                return None
            path = matches[0]
        return path

    def is_folder(self, path):
        return path == () or self.entries[path] is None

    def remove(self, path):
        for p in [p for p in self.entries if p[:len(path)] == path]:
            del self.entries[p]

    def rename(self, path, name):
        new = path[:-1] + (name,)
        for p in [p for p in self.entries if p[:len(path)] == path]:
            self.entries[new + p[len(path):]] = self.entries.pop(p)

    def state(self):
        return sorted(("/" + "/".join(p), None if c is None else hashlib.md5(c).hexdigest())
                      for p, c in self.entries.items())


# --- The real things ---------------------------------------------------------------------

class Emulator:
    def __init__(self, program):
        self.process = subprocess.Popen([program, "--port", "0", "--auto-approve"],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        text=True)
        line = self.process.stdout.readline()
        match = re.search(r"(http://\S+)", line)
        if not match:
            raise RuntimeError("the emulator did not start: " + line)
        self.url = match.group(1)

    def control(self, method, path):
        request = urllib.request.Request(self.url + "/_emulator/" + path, method=method)
        with urllib.request.urlopen(request) as answer:
            body = answer.read()
        return json.loads(body) if body else None

    def state(self):
        return sorted((e["path"], None if e["mimeType"] == FOLDER_TYPE else e.get("md5Checksum"))
                      for e in self.control("GET", "files")["files"])

    def next_request(self):
        return self.control("GET", "requests?since=1000000000")["next"]

    def changes_since(self, mark):
        return ["%s %s" % (r["method"], r["path"])
                for r in self.control("GET", "requests?since=%d" % mark)["requests"]
                if r["method"] != "GET" and not r["path"].startswith("/o/")]

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Session:
    """What the whole run shares: programs, the emulator, settings and a scratch folder."""
    gdapp = None
    emulator = None
    root = None
    environment = None

    @classmethod
    def start(cls, gdapp, emulator):
        cls.gdapp = gdapp
        cls.emulator = Emulator(emulator)
        cls.root = tempfile.mkdtemp(prefix="gdapp-model-")
        # What Hypothesis keeps for itself goes with the rest, not beside the sources.
        set_hypothesis_home_dir(os.path.join(cls.root, "hypothesis"))
        cls.environment = dict(os.environ, GDAPP_DRIVE_URL=cls.emulator.url,
                               GDAPP_OAUTH_URL=cls.emulator.url, LC_ALL="C.UTF-8",
                               XDG_CONFIG_HOME=os.path.join(cls.root, "config"))
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "LANGUAGE", "LANG", "GDAPP_BROWSER"):
            cls.environment.pop(name, None)
        login = subprocess.run([gdapp, "--consent", "fetch", "login"], env=cls.environment,
                               capture_output=True)
        if login.returncode != 0:
            raise RuntimeError("gdapp could not authorise: " + login.stderr.decode())

    @classmethod
    def stop(cls):
        cls.emulator.stop()
        shutil.rmtree(cls.root, ignore_errors=True)


def url_text(segments, trailing):
    return "gdapp:/" + "/".join(segments) + ("/" if trailing else "")


slashes = st.sampled_from([False, False, False, True])
plain_urls = st.builds(url_text, st.lists(st.sampled_from(PLAIN), min_size=1, max_size=2), slashes)
urls = st.one_of(
    plain_urls, plain_urls, plain_urls,
    st.builds(url_text, st.lists(st.sampled_from(PLAIN + HARD), min_size=1, max_size=3), slashes),
    st.builds(url_text, st.lists(st.text(alphabet="aA +'%2F\\é.", max_size=5), min_size=1,
                                 max_size=2), slashes),
    st.sampled_from(["gdapp:/", "gdapp:"] + BAD_URLS))
# Ways to write what exists: commands meet the entries that earlier ones made.
VARIANTS = 3 * ["as it is"] + ["with a trailing slash", "in upper case", "in lower case",
                                "with a child"]


def written(names, how, child):
    """A URL for the entry at names, written one of the VARIANTS ways."""
    if how == "in upper case":
        names = names[:-1] + (names[-1].upper(),)
    elif how == "in lower case":
        names = names[:-1] + (names[-1].lower(),)
    text = "gdapp:/" + "/".join(n.replace("%", "%25").replace("?", "%3F").replace("#", "%23")
                                for n in names)
    if how == "with a trailing slash":
        text += "/"
    elif how == "with a child":
        text += "/" + child
    return text


local_targets = st.one_of(st.none(), st.sampled_from(["-", ".", "fifo"] + LOCAL_NAMES))


class GdappMachine(RuleBasedStateMachine):
    @initialize()
    def fresh(self):
        Session.emulator.control("DELETE", "files")
        self.work = os.path.join(Session.root, "work")
        shutil.rmtree(self.work, ignore_errors=True)
        os.makedirs(os.path.join(self.work, "dir"))
        os.mkfifo(os.path.join(self.work, "fifo"))
        self.drive = Drive()
        self.local = {}  # relative path -> content
        for name, content in (("a", b"local a\n"), ("a b", b"local a b\n"),
                              ("a+b", b"local a+b\n"), ("日本", "日本\n".encode())):
            self.write_local(name, content)
        note("# In an empty folder holding the files a, 'a b', a+b and 日本, the folder dir and "
             "the FIFO fifo, with gdapp authorised against an emulator with nothing in it:")

    def write_local(self, name, content):
        with open(os.path.join(self.work, name), "wb") as file:
            file.write(content)
        self.local[name] = content

    # -- running gdapp

    def gdapp(self, arguments, expected, input=b"", fifo=False):
        """Runs gdapp, shows the command, and checks its exit status."""
        line = "gdapp " + shlex.join(arguments)
        if input:
            line = "printf %s " + shlex.quote(input.decode("latin-1")) + " | " + line
        mark = Session.emulator.next_request()
        reader = FifoReader(os.path.join(self.work, "fifo")) if fifo else None
        run = subprocess.run([Session.gdapp, *arguments], input=input, cwd=self.work,
                             env=Session.environment, capture_output=True, timeout=120)
        received = reader.finish() if reader else None
        note("$ %s    # exit %d%s" % (line, run.returncode,
                                       "" if run.returncode == expected
                                       else ", documented: %d" % expected))
        assert run.returncode == expected, run.stderr.decode(errors="replace")
        if expected != SUCCESS:
            assert Session.emulator.changes_since(mark) == [], \
                "a command that failed changed: %s" % Session.emulator.changes_since(mark)
        return run, received

    # -- the rules

    def url(self, data, beside=None):
        """A URL typed anew, one for an entry there is or, for a destination, one beside the
        source."""
        choices = [urls]
        known = sorted(self.drive.entries)
        if known:
            choices += 3 * [st.builds(written, st.sampled_from(known), st.sampled_from(VARIANTS),
                                      st.sampled_from(PLAIN + HARD))]
        if beside is not None:
            choices += 2 * [st.builds(lambda name: beside.rsplit("/", 1)[0] + "/" + name,
                                      st.sampled_from(PLAIN + HARD))]
        return data.draw(st.one_of(*choices))

    @rule(data=st.data())
    def ls(self, data):
        url = self.url(data)
        expected, path = self.expect_lookup(url)
        run, _ = self.gdapp(["ls", url], expected)
        if expected == SUCCESS and self.drive.is_folder(path):
            listed = sorted(line[34:] for line in run.stdout.decode().splitlines())
            children = sorted(p[-1] + ("/" if c is None else "")
                              for p, c in self.drive.entries.items()
                              if len(p) == len(path) + 1 and p[:-1] == path)
            assert listed == children, (listed, children)

    @rule(data=st.data())
    def stat(self, data):
        url = self.url(data)
        expected, path = self.expect_lookup(url)
        run, _ = self.gdapp(["stat", url], expected)
        if expected == SUCCESS and path:
            assert ("\nname:     %s\n" % path[-1]) in run.stdout.decode()

    @rule(data=st.data(), into=local_targets)
    def get(self, data, into):
        url, target = self.url(data), into
        expected, path, local = self.expect_get(url, target)
        arguments = ["get", url] + ([] if target is None else [target])
        run, received = self.gdapp(arguments, expected, fifo=local == "fifo")
        if expected != SUCCESS:
            return
        content = self.drive.entries[path]
        if target == "-":
            assert run.stdout == content
        elif local == "fifo":
            assert received == content and stat.S_ISFIFO(
                os.lstat(os.path.join(self.work, "fifo")).st_mode)
        else:
            self.local[local] = content

    @rule(source=st.sampled_from(LOCAL_NAMES), data=st.data())
    def put_file(self, source, data):
        url = self.url(data)
        content = self.local.get(source)
        readable = source != "dir" and content is not None
        expected = self.expect_put(url, source, content if readable else None)
        self.gdapp(["put", source, url], expected)

    @rule(content=st.sampled_from(CONTENTS), data=st.data())
    def put_pipe(self, content, data):
        url = self.url(data)
        expected = self.expect_put(url, "-", content)
        self.gdapp(["put", "-", url], expected, input=content or b"")

    @rule(data=st.data())
    def cp(self, data):
        source = self.url(data)
        destination = self.url(data, beside=source)
        self.gdapp(["cp", source, destination], self.expect_pair(source, destination, True))

    @rule(data=st.data())
    def mv(self, data):
        source = self.url(data)
        destination = self.url(data, beside=source)
        self.gdapp(["mv", source, destination], self.expect_pair(source, destination, False))

    @rule(data=st.data(), recursive=st.booleans())
    def rm(self, data, recursive):
        url = self.url(data)
        expected = self.expect_rm(url, recursive)
        self.gdapp(["rm"] + (["-r"] if recursive else []) + [url], expected)

    @rule(data=st.data(), parents=st.booleans())
    def mkdir(self, data, parents):
        url = self.url(data)
        expected = self.expect_mkdir(url, parents)
        self.gdapp(["mkdir"] + (["-p"] if parents else []) + [url], expected)

    # -- after every step

    @invariant()
    def service_as_modelled(self):
        assert Session.emulator.state() == self.drive.state()

    @invariant()
    def local_files_as_modelled(self):
        found = {}
        for folder, folders, files in os.walk(self.work):
            for name in files:
                path = os.path.join(folder, name)
                relative = os.path.relpath(path, self.work)
                if stat.S_ISFIFO(os.lstat(path).st_mode):
                    assert relative == "fifo", relative
                    continue
                with open(path, "rb") as file:
                    found[relative] = file.read()
        assert found == self.local, (sorted(found), sorted(self.local))

    # -- what the documentation says, applied to the model

    def parse(self, text):
        try:
            return Url(text), None
        except Usage:
            return None, USAGE
        except Refused:
            return None, FAILURE

    def resolve(self, url):
        """(exit status, stored path) of an entry a command works on."""
        path = self.drive.find(url.names)
        if path is None:
            return NOT_FOUND, None
        if url.folder and not self.drive.is_folder(path):
            return FAILURE, None
        return SUCCESS, path

    def expect_lookup(self, text):
        url, status = self.parse(text)
        return (status, None) if url is None else self.resolve(url)

    def expect_get(self, text, target):
        url, status = self.parse(text)
        if url is None:
            return status, None, None
        if not url.names:
            return USAGE, None, None
        status, path = self.resolve(url)
        if status != SUCCESS:
            return status, None, None
        if self.drive.is_folder(path):
            return FAILURE, None, None
        local = target if target is not None else url.names[-1]
        if local == "." or local == "dir":
            local = os.path.normpath(os.path.join(local, url.names[-1]))
        if os.path.isdir(os.path.join(self.work, local)):
            return FAILURE, None, None
        if len(os.path.basename(local).encode()) > 255:
            return FAILURE, None, None
        return SUCCESS, path, local if target == "-" else os.path.normpath(local)

    def expect_put(self, text, source, content):
        url, status = self.parse(text)
        if url is None:
            return status
        piped = source == "-"
        if url.folder and piped:
            return USAGE
        if url.folder and refused(source):
            return FAILURE
        if content is None:
            return FAILURE
        names = url.names
        if url.folder:
            # Written with a trailing slash, it names a folder that must be there.
            status, folder = self.resolve(url)
            if status != SUCCESS:
                return status
            names = folder
        found = None if url.folder else self.drive.find(names)
        if url.folder or (found is not None and self.drive.is_folder(found)):
            if piped or refused(source):
                return FAILURE
            names = (found if found is not None else names) + (source,)
            found = self.drive.find(names)
            if found is not None and self.drive.is_folder(found):
                return FAILURE
        if found is not None:
            self.drive.entries[found] = content
            return SUCCESS
        parent = self.drive.find(names[:-1]) if names[:-1] else ()
        if parent is None or not self.drive.is_folder(parent):
            return NOT_FOUND
        self.drive.entries[parent + (names[-1],)] = content
        return SUCCESS

    def expect_pair(self, source_text, destination_text, copy):
        source, status = self.parse(source_text)
        if source is None:
            return status
        destination, status = self.parse(destination_text)
        if destination is None:
            return status
        if not source.names:
            return USAGE
        to_folder = destination.names if destination.folder else destination.parent
        names = destination.names
        if destination.folder and to_folder == source.parent:
            names = to_folder + (source.names[-1],)
        if names == source.names:
            return USAGE
        if to_folder != source.parent:
            return USAGE
        status, path = self.resolve(source)
        if status != SUCCESS:
            return status
        if copy and self.drive.is_folder(path):
            return FAILURE
        target = self.drive.find(names)
        if copy:
            if target is not None:
                return FAILURE
            self.drive.entries[path[:-1] + (names[-1],)] = self.drive.entries[path]
            return SUCCESS
        if target == path or (target is not None and self.drive.is_folder(target)):
            return FAILURE
        if target is not None:
            self.drive.remove(target)
        self.drive.rename(path, names[-1])
        return SUCCESS

    def expect_rm(self, text, recursive):
        url, status = self.parse(text)
        if url is None:
            return status
        if not url.names:
            return USAGE
        status, path = self.resolve(url)
        if status != SUCCESS:
            return status
        if self.drive.is_folder(path) and not recursive:
            return FAILURE
        self.drive.remove(path)
        return SUCCESS

    def expect_mkdir(self, text, parents):
        url, status = self.parse(text)
        if url is None:
            return status
        if not url.names:
            return USAGE
        folder = ()
        for i, name in enumerate(url.names):
            last = i == len(url.names) - 1
            found = self.drive.find(folder + (name,))
            if found is not None and self.drive.is_folder(found):
                if last:
                    return SUCCESS if parents else FAILURE
                folder = found
                continue
            if found is not None:
                return FAILURE
            if not last and not parents:
                return NOT_FOUND
            folder = folder + (name,)
            self.drive.entries[folder] = None
        return SUCCESS


class FifoReader:
    """Reads the FIFO while gdapp writes it. A writer of its own keeps the reads waiting until
    gdapp has had its turn, whether it opens the FIFO or not."""

    def __init__(self, path):
        self.writer = os.open(path, os.O_RDWR)
        self.reader = os.open(path, os.O_RDONLY | os.O_NONBLOCK)
        os.set_blocking(self.reader, True)
        self.content = b""
        self.thread = threading.Thread(target=self.read)
        self.thread.start()

    def read(self):
        while chunk := os.read(self.reader, 65536):
            self.content += chunk

    def finish(self):
        os.close(self.writer)
        self.thread.join()
        os.close(self.reader)
        return self.content


class TestGdappModel(GdappMachine.TestCase):
    pass


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--gdapp", required=True)
    parser.add_argument("--emulator", required=True)
    parser.add_argument("--hypothesis-profile", default="ci")
    options, rest = parser.parse_known_args()
    settings.load_profile(options.hypothesis_profile)
    # The machine's test case runs with the settings it holds, not with the profile loaded.
    GdappMachine.TestCase.settings = settings.get_profile(options.hypothesis_profile)
    Session.start(os.path.abspath(options.gdapp), os.path.abspath(options.emulator))
    try:
        result = unittest.main(argv=[sys.argv[0]] + rest, exit=False, verbosity=2).result
    finally:
        Session.stop()
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
