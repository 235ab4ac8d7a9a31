"""A BMC on the desk, and a host's ends of its wires: HTTPS and control words."""
import http.client
import json
import os
import socket
import ssl
import subprocess
import tempfile
import time
import unittest
from collections import namedtuple

TORVOSIM = os.environ["TORVOSIM_PROGRAM"]
WAIT = 30
ROOT, NEW, OLD = "/redfish/v1", "/redfish/v1/SessionService/Sessions", "/redfish/v1/Sessions"
Answer = namedtuple("Answer", "status header body")


def until(condition):
    """Waits for a condition; what never comes true is a failure of the test."""
    deadline = time.monotonic() + WAIT
    while not condition():
        assert time.monotonic() < deadline, "never came true"
        time.sleep(0.002)


def run(*arguments, **environment):
    """The program to its end: its status and what it says."""
    ended = subprocess.run([TORVOSIM, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=WAIT,
                           env={**os.environ, **environment})
    return ended.returncode, ended.stdout.decode()


class Bmc:
    """A running torvosim; leaving it must end it well."""

    def __init__(self, *options):
        self.scratch = tempfile.TemporaryDirectory(prefix="torvosim-test-")
        self.path = self.scratch.name
        self.process = subprocess.Popen([TORVOSIM, "--state-dir", "state", "--ready-file",
                                         self.path + "/ready", *options], stdout=subprocess.DEVNULL, cwd=self.path)
        until(lambda: os.path.exists(self.path + "/ready") or self.process.poll() is not None)
        with open(self.path + "/ready") as file:
            self.ready = json.load(file)
        self.words = socket.socket(socket.AF_UNIX)
        self.words.connect(self.ready["control"])
        self.answers = self.words.makefile()
        self.token = ""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.words.close()
        self.answers.close()
        self.process.terminate()
        status = self.process.wait(WAIT)
        self.scratch.cleanup()
        assert status == 0, f"it ended with {status}"

    def control(self, lines):
        """Control lines that must be accepted, and the last one's answer."""
        answer = {}
        for line in lines.splitlines():
            self.words.sendall(line.encode() + b"\n")
            answer = json.loads(self.answers.readline())
            assert answer["ok"], f"{line}: {answer}"
        return answer

    def reaches(self, counter, value):
        until(lambda: self.control("stats")[counter] == value)

    def connect(self):
        return http.client.HTTPSConnection("127.0.0.1", self.ready["httpsPort"], timeout=WAIT,
                                           context=ssl._create_unverified_context())

    def call(self, method, path, body=None, header=""):
        """One request; header is "Name: value", and the session's token goes along where there is one."""
        headers = dict([header.split(": ", 1)] if header else [])
        if self.token:
            headers.setdefault("X-Auth-Token", self.token)
        connection = self.connect()
        try:
            connection.request(method, path, body.encode() if isinstance(body, str) else body, headers)
            response = connection.getresponse()
            lines = "".join(f"{name}: {value}\r\n" for name, value in response.getheaders())
            return Answer(response.status, lines, response.read())
        finally:
            connection.close()

    def get(self, path):
        answer = self.call("GET", path)
        return json.loads(answer.body) if answer.status == 200 else answer.status

    def log_in(self, user="root", password="simulator"):
        """The status; calls carry the token from then on."""
        answer = self.call("POST", self.control("sessions")["collection"],
                           json.dumps({"UserName": user, "Password": password}))
        if answer.status == 201:
            self.token = answer.header.split("X-Auth-Token: ")[1].split("\r\n")[0]
        return answer.status


class Desk(unittest.TestCase):
    """A BMC for each test; rows of a table share it, with faults cleared between them."""

    def setUp(self):
        self.bmc = Bmc()
        self.addCleanup(self.bmc.__exit__)
