"""The program: its manners, its files, its control client and its end."""
import os
import re
import signal
import socket
import subprocess
import unittest

from desk import ROOT, Bmc, Desk, run

SOURCES = os.environ["TORVOSIM_SOURCES"]
# status, arguments, what is said
ENDS = (
    (0, "--version", r"^torvosim \d+\.\d+\.\d+$"),
    (2, "--no-such-option", "^torvosim: .*--help"),
    (2, "--https-port 70000", "^torvosim: .*70000"),
    (2, "--session-limit -1", "^torvosim: .*session-limit"),
    (2, "--session-limit 10001", "^torvosim: .*session-limit"),
    (2, "--tls-min 2.0", "^torvosim: .*2.0"),
    (2, "--tls-min 1.3 --tls-max 1.2", "^torvosim: .*empty range"),
    (2, "--set agent", "^torvosim: .*FACT=VALUE"),
    (2, "--set port=x", "^torvosim: control line"),
    (2, "--control nonsense", "^torvosim: .*unknown control word"),
    (2, "--netns-link x", "^torvosim: .*--netns"),
    (2, "--mockup /nowhere", "^torvosim: .*/nowhere"),
    (2, "ctl get", "^torvosim: .*--socket"),
    (1, "--https-address 192.0.2.1", "^torvosim: "),
    (1, "--trace /dev/stdin", "^torvosim: trace file /dev/stdin: "),
    (1, "--state-dir /tmp", "^torvosim: state directory /tmp: .*others can write"),
    (3, "ctl --socket /nowhere help", "^torvosim: /nowhere: "),
)
REFUSED = ("nonsense", "set one", "delay soon", "status 100", "status 500 GET redfish", "cut 5 0", "add-header Server",
           "raw \\q", "raw @/does/not/exist", "ipmi-cc 30 BF xx", "ipmi-cc 30", "ipmi-reply 30 BF 001", "link down",
           "features nonsense", "health /nowhere OK", "sensor Fan9 1", "sensor Fan1 x", "logs KsLog 1", "task-end Never",
           "bmc-restart 1 later")
FACTS = (("firmware", "6.1.42", "6.1"), ("package", "9.9.9", None), ("usbnic.ipv4", "no-address", None),
         ("usbnic.ipv6", "fe80::1", "fe80"), ("usbnic.hash", "off", "0"), ("port", "65535", "65536"),
         ("url.empty", "on", "yes"), ("webserver", "Disabled", "disabled"), ("passthrough.mode", "21", "256"))


class Program(unittest.TestCase):
    def test_ends(self):
        for expected, arguments, says in ENDS:
            with self.subTest(arguments=arguments):
                status, said = run(*arguments.split(), TORVOSIM_CONTROL="")
                self.assertEqual(status, expected, said)
                self.assertRegex(said, says)

    def test_serves_until_a_signal_and_leaves_nothing(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            pipe = os.pipe()
            with Bmc("--ipmi-tcp", "127.0.0.1:0", "--write-config", f"/proc/{os.getpid()}/fd/{pipe[1]}",
                     "--set", "agent=1.2 3") as bmc:
                self.assertIn(b"ipmi", os.read(pipe[0], 10000))  # what is no file is written to, not replaced
                modes = [os.stat(bmc.ready[name]).st_mode & 0o777 for name in ("stateDir", "tokenKey", "ipmiUnix")]
                self.assertEqual(modes, [0o700, 0o600, 0o600])
                self.assertEqual(bmc.control("get agent")["facts"]["agent"], "1.2 3")
                host, port = bmc.ready["ipmiTcp"].split(":")
                with socket.create_connection((host, int(port))) as wire:
                    wire.sendall(bytes.fromhex("0118ffe8a0"))
                    self.assertEqual(wire.recv(100).hex(" "), "01 1c ff c1 23 a0")
                    bmc.process.send_signal(number)
                    self.assertEqual(wire.recv(1), b"")  # open connections do not keep it
                self.assertEqual(bmc.process.wait(20), 0)
                self.assertFalse(os.path.exists(bmc.ready["ipmiUnix"]))

    def test_completion_and_manual_know_it_all(self):
        text = run("--help")[1]
        options = set(re.findall(r"^ +(?:-h,)?(--[a-z-]+)", text, re.M))
        words = set(re.findall(r"^  ([a-z-]+) ", text.split("Control words:")[1], re.M))
        with open(SOURCES + "/torvosim.1") as page:
            self.assertEqual(options - set(re.findall(r"--[a-z-]+", re.sub(r"\\(f.|)", "", page.read()))), set())
        for typed, expected in (("--", options), ("ctl ''", words)):
            script = f"source {SOURCES}/torvosim.bash; COMP_WORDS=(torvosim {typed}) COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))"
            offered = subprocess.check_output(["bash", "-c", script + '; _torvosim; echo "${COMPREPLY[@]}"']).decode()
            self.assertEqual(expected - set(offered.split()), set())
            self.assertGreater(len(expected), 20)


class Control(Desk):
    def test_words_travel_as_they_are(self):
        environment = {"TORVOSIM_CONTROL": self.bmc.ready["control"]}
        self.assertEqual(run("ctl", "kslog-add", "ID1", "two words", 'q"\\', **environment)[0], 0)
        self.assertEqual(self.bmc.control("kslog")["entries"][0]["arguments"], ["two words", 'q"\\'])
        for words in REFUSED:
            status, said = run("ctl", *words.split(), **environment)
            self.assertEqual((status, '"ok":false' in said), (1, True), words)
        self.assertEqual(self.bmc.control("faults")["faults"], [])
        self.assertEqual(run("ctl", "stop", **environment)[0], 0)
        self.assertEqual(self.bmc.process.wait(20), 0)

    def test_nobody_who_answers_is_not_waited_for(self):
        path = self.bmc.path + "/silent"
        with socket.socket(socket.AF_UNIX) as silent:
            silent.bind(path)
            silent.listen()
            status, said = run("ctl", "--socket", path, "--timeout", "1", "help")
        self.assertEqual((status, "within 1 s" in said), (3, True), said)

    def test_facts_are_kept_when_a_value_is_wrong(self):
        for name, good, bad in FACTS:
            self.bmc.control(f"set {name} {good}")
            if bad:
                self.assertRaises(AssertionError, self.bmc.control, f"set {name} {bad}")
            self.assertEqual(self.bmc.control("get " + name)["facts"][name], good)

    def test_requests_are_counted_and_traced(self):
        self.bmc.get(ROOT + "?query=1")
        self.bmc.reaches("requests", {"GET /redfish/v1 200": 1})
        self.assertEqual(self.bmc.control("stats reset\nstats")["requests"], {})
        self.assertTrue(any(line.endswith("https GET /redfish/v1 200") for line in self.bmc.control("trace 9")["lines"]))

    def test_what_is_taken_is_refused(self):
        for option, name in (("--https-port", "httpsPort"), ("--ipmi-unix", "ipmiUnix")):
            status, said = run(option, str(self.bmc.ready[name]))
            self.assertEqual(status, 1)
            self.assertIn(str(self.bmc.ready[name]), said)
        self.assertEqual(self.bmc.get("/redfish"), {"v1": "/redfish/v1/"}, "the first one still serves")
