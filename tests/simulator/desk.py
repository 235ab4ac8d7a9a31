"""A BMC on the desk, and a host's ends of its wires: HTTPS, IPMI frames (written from the protocol), control words."""
import base64
import hashlib
import hmac
import http.client
import json
import os
import socket
import ssl
import struct
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

    def login_token(self, user="agent", life=60, algorithm="HS256", key=None):
        """A login token as the token service makes them, or would not."""
        def part(data):
            return base64.urlsafe_b64encode(data).rstrip(b"=")
        with open(self.ready["tokenKey"]) as file:
            key = key or file.readline().strip()
        claims = {"sub": user, "exp": int(time.time()) + life}
        text = part(json.dumps({"alg": algorithm, "typ": "JWT"}).encode()) + b"." + part(json.dumps(claims).encode())
        signed = algorithm != "none"
        return (text + b"." + (part(hmac.new(key.encode(), text, hashlib.sha256).digest()) if signed else b"")).decode()


class Host:
    """A host's end of the IPMI wire. Bytes are texts: "18 01"."""

    def __init__(self, bmc):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(WAIT)
        self.socket.connect(bmc.ready["ipmiUnix"])
        self.sequence, self.id = 0, 0xA0A1AA00  # special bytes of the wire travel as well

    def send(self, text):
        self.socket.sendall(bytes.fromhex(text))

    def next(self):
        """What comes up to and with the next end byte; nothing when the BMC closed instead."""
        frame = b""
        while not frame.endswith((b"\xa0", b"\xa1")):
            byte = self.socket.recv(1)
            if not byte:
                return ""
            frame += byte
        return frame.hex(" ")

    def exchange(self, request):
        """netFn << 2, command, data, without the frame around them; the reply likewise."""
        self.sequence += 1
        message = bytes([self.sequence]) + bytes.fromhex(request)
        message += bytes([-sum(message) & 0xFF])
        wire = b"".join(b"\xaa" + bytes([b | 0x10]) if b in (0xA0, 0xA1, 0xAA) else bytes([b]) for b in message)
        self.send(wire.hex() + "a0")
        answer, reply = iter(bytes.fromhex(self.next())[:-1]), b""
        for byte in answer:
            reply += bytes([next(answer) & 0xEF if byte == 0xAA else byte])
        assert sum(reply) % 256 == 0 and reply[0] == self.sequence, reply
        return reply[1:-1].hex(" ")

    def oem(self, command, number, data):
        """A request of a text transaction; the reply from its completion code on."""
        return bytes.fromhex(self.exchange("c8" + f"{command:02x}" + (struct.pack("<I", number) + data).hex()))[2:]

    def transact(self, verb, text, chunk=128):
        """A whole text transaction: the verb's status and its reply."""
        self.id += 1
        text = text if isinstance(text, bytes) else text.encode()
        for at in range(0, len(text), chunk):
            assert self.oem(1, self.id, struct.pack("<H", at) + text[at:at + chunk]) == b"\0"
        completion, status, length = struct.unpack("<BiH", self.oem(2, self.id, struct.pack("<BH", verb, len(text))))
        assert completion == 0, completion
        reply = b""
        while len(reply) < length:
            reply += self.oem(3, self.id, struct.pack("<HB", len(reply), min(chunk, length - len(reply))))[1:]
        return status, reply.decode()


class Desk(unittest.TestCase):
    """A BMC for each test; rows of a table share it, with faults cleared between them."""

    def setUp(self):
        self.bmc = Bmc()
        self.addCleanup(self.bmc.__exit__)
