"""What a host sees of the BMC's HTTPS service: who may do what, resources, faults, uploads."""
import hashlib
import http.client
import json
import os
import socket
import ssl
import tempfile
import unittest

from desk import NEW, OLD, ROOT, Bmc, Desk, run, until

SYSTEM = "/redfish/v1/Systems/System.Embedded.1"
SUBSCRIPTIONS = "/redfish/v1/EventService/Subscriptions"
UPLOAD = "/redfish/v1/UpdateService/MultipartUpload"
RIGHT = '{"UserName":"root","Password":"simulator"}'
BASIC = "Authorization: Basic "
FORM = 'Content-Type: multipart/form-data; boundary="B b"'
METADATA = "--B b\r\nContent-Disposition: form-data; name=metadata\r\nContent-Type: application/json\r\n\r\n{}\r\n"
FILE = '--B b\r\ncontent-disposition: form-data; filename="a;b"; name="LogZip"\r\n\r\n'
END = "\r\n--B b--"

# method, path, status, what is said in header or body; then body, header and control lines where there are any
STRANGER = (
    ("GET", "/redfish", 200, '"v1"'),
    ("GET", ROOT + "/", 200, "RedfishVersion"),
    ("HEAD", ROOT, 200, "Content-Length: "),
    ("GET", ROOT, 200, "Connection: close\r\n", None, "Connection: close"),  # else its client would ask once more there
    ("GET", SYSTEM, 401, "WWW-Authenticate: Basic"),
    ("GET", ROOT + "/SSE", 401, ""),
    ("PATCH", ROOT, 401, "", "{}"),
    ("POST", UPLOAD, 401, "", "x" * 2000000, FORM),
    ("GET", SYSTEM, 200, '"Boot":', None, BASIC + "cm9vdDpzaW11bGF0b3I="),
    ("GET", SYSTEM, 401, "", None, BASIC + "cm9vdDpzaW11bGF0bw=="),  # another password
    ("GET", SYSTEM, 401, "", None, BASIC + "cm9vdA=="),  # no colon
    ("GET", SYSTEM, 401, "", None, BASIC + "===="),
    ("GET", SYSTEM, 401, "", None, BASIC + "!!!!"),
    ("GET", SYSTEM, 401, "", None, "X-Auth-Token: 0123"),
    ("POST", NEW, 201, f"Location: {NEW}/", RIGHT),
    ("POST", NEW, 401, "wrong user", RIGHT.replace("tor", "")),
    ("POST", NEW, 401, "", "{"),
    ("POST", OLD, 404, "", RIGHT),
    ("POST", OLD, 201, f"Location: {OLD}/", RIGHT, "", "generation old"),
    ("POST", NEW, 404, "", RIGHT, "", "generation old"),
    ("POST", NEW, 503, "", RIGHT, "", "session-limit 0"),
    ("POST", "/test/echo?a=%20b", 200, '"target":"/test/echo?a=%20b"', "x"),
    ("GET", "/software/oxa/sha256sum", 404, ""),
)
MEMBER = (
    ("GET", SYSTEM, 200, '"Boot":'),
    ("GET", ROOT + "/Nowhere", 404, ""),
    ("GET", NEW + "/SESSION", 200, '"UserName":"root"'),
    ("DELETE", NEW + "/SESSION", 200, "closed"),
    ("DELETE", NEW + "/SESSION", 204, "", None, "", "delete-body off"),
    ("DELETE", NEW + "/0", 404, ""),
    ("GET", SYSTEM, 401, "", None, "", "expire SESSION"),
    ("DELETE", ROOT + "/SessionService", 405, "Allow: GET, HEAD, PATCH"),
    ("POST", SYSTEM, 405, "", "{}"),
    ("PATCH", SUBSCRIPTIONS, 405, "", "{}"),
    ("PATCH", SYSTEM, 400, "", "[1]"),
    ("POST", SUBSCRIPTIONS, 400, "", "{"),
    ("POST", SYSTEM + "/Actions/ComputerSystem.Reset", 204, "", "{}"),
    ("POST", SYSTEM + "/Actions/ComputerSystem.Explode", 404, "", "{}"),
    ("PATCH", SYSTEM, 412, "", "{}", 'If-Match: W/"7"'),
    ("GET", SYSTEM, 304, "", None, "If-None-Match: ETAG"),
    ("POST", UPLOAD, 202, '"FileName":"a;b"', "preamble\r\n" + METADATA + FILE + END + "\r\nepilogue", FORM),
    ("POST", UPLOAD, 400, "part 1 is 'LogZip', not metadata", FILE + "x\r\n" + METADATA + END, FORM),
    ("POST", UPLOAD, 400, "lacks one of its parts", METADATA + END, FORM),
    ("POST", UPLOAD, 400, "incomplete", METADATA + FILE + "x\r\n--B b", FORM),
    ("POST", UPLOAD, 400, "more than the two parts", METADATA + FILE + "x\r\n" + FILE + END, FORM),
    ("POST", UPLOAD, 400, "the metadata is not JSON", METADATA.replace("{}", "{") + FILE + END, FORM),
    ("POST", UPLOAD, 400, "malformed", "--B b\r\n" + "h" * 20000, FORM),
    ("POST", UPLOAD, 400, "malformed", "--B bxx", FORM),
    ("POST", UPLOAD, 415, "", "{}", "Content-Type: application/json; boundary=B"),
    ("POST", UPLOAD, 415, "", "{}", "Content-Type: multipart/form-data; boundary="),
    ("GET", SYSTEM, 503, "", None, "", "status 503 GET /redfish/v1/Systems 1"),
    ("GET", SYSTEM, 200, "", None, "", "status 503 GET /redfish/v1/Chassis\nstatus 503 POST *"),
    ("GET", SYSTEM, 200, "", None, "", "status 404\nclear"),
    ("GET", SYSTEM, 200, "X-Auth-Token: short\r\n", None, "", 'add-header "X-Auth-Token: short"\ndrop server'),
    ("GET", SYSTEM, 200, "8\r\nContent-Type: ", None, "", "duplicate content-type"),
    ("GET", SYSTEM, 201, "X: 1\r\nA", None, "", r'raw "HTTP/1.1 201 Created\r\nX: 1\r\n\r\n\x41"'),
)


class Https(Desk):
    def rows(self, table, log_in):
        """Each row on the service as it is at the start. SESSION stands for the session's number."""
        for method, path, status, says, *rest in table:
            body, header, lines = rest + [None, "", ""][len(rest):]
            with self.subTest(method=method, path=path, status=status, header=header, control=lines):
                self.bmc.control("clear\ngeneration new\nsession-limit 8\ndelete-body on\nexpire")
                log_in()
                session = next(iter(self.bmc.control("sessions")["sessions"]), {"id": ""})["id"]
                self.bmc.control(lines.replace("SESSION", session))
                if "ETAG" in header:
                    header = header.replace("ETAG", self.bmc.get(path)["@odata.etag"])
                answer = self.bmc.call(method, path.replace("SESSION", session), body, header)
                self.assertEqual(answer.status, status, answer.body)
                self.assertIn(says, answer.header + answer.body.decode())
                if status >= 400:
                    self.assertIn("error", json.loads(answer.body))

    def test_what_a_stranger_sees(self):
        self.rows(STRANGER, lambda: None)

    def test_what_a_member_sees(self):
        self.rows(MEMBER, self.bmc.log_in)

    def test_no_link_leads_nowhere(self):
        def links(node):
            if isinstance(node, dict) and "@odata.id" in node:
                yield node["@odata.id"].split("#")[0]
            for inner in node.values() if isinstance(node, dict) else node if isinstance(node, list) else ():
                yield from links(inner)
        self.bmc.log_in()
        seen, found = set(), {ROOT}
        while found - seen:
            path = min(found - seen)
            seen.add(path)
            resource = self.bmc.get(path)
            self.assertEqual(resource["@odata.id"], path)
            found.update(links(resource))
        self.assertGreater(len(seen), 20)

    def test_resources_are_written_in_memory(self):
        self.bmc.log_in()
        created = self.bmc.call("POST", SUBSCRIPTIONS, '{"Destination":"https://host/"}')
        self.assertIn(f"Location: {SUBSCRIPTIONS}/1\r\n", created.header)
        self.assertEqual(self.bmc.call("POST", SUBSCRIPTIONS, '{"Id":"1"}').status, 409)
        own = SUBSCRIPTIONS + "/1"
        self.assertEqual(self.bmc.call("PATCH", own, '{"Context":"mine","@odata.id":"/elsewhere"}').status, 200)
        self.assertEqual(self.bmc.get(own)["Context"], "mine")
        self.assertEqual(self.bmc.get(own)["Destination"], "https://host/", "what is not named stays")
        self.assertEqual(self.bmc.get(SUBSCRIPTIONS)["Members"], [{"@odata.id": own}])
        self.assertEqual(self.bmc.call("DELETE", own).status, 204)
        self.assertEqual(self.bmc.get(own), 404)
        self.assertEqual(self.bmc.get(SUBSCRIPTIONS)["Members@odata.count"], 0)

    def test_idle_sessions_end(self):
        self.bmc.log_in()
        self.bmc.control("session-timeout 1")
        self.bmc.reaches("sessions", 0)
        self.assertEqual(self.bmc.get(SYSTEM), 401)

    def test_an_upload_is_stored_whole(self):
        self.bmc.log_in()
        data = b"".join(b"\r\n--\r\n--B %d\0" % n for n in range(200000))  # full of what looks like a delimiter
        answer = self.bmc.call("POST", UPLOAD, (METADATA + FILE).encode() + data + END.encode(), FORM)
        told = json.loads(answer.body)
        self.assertEqual((told["Size"], told["SHA256"]), (len(data), hashlib.sha256(data).hexdigest()))
        with open(told["StoredAs"], "rb") as stored:
            self.assertEqual(stored.read(), data)

    def test_test_bytes_are_always_the_same(self):
        for size in (0, 1, 26 * 4096 - 1, 26 * 4096 + 1, 3000000):
            expected = (b"ABCDEFGHIJKLMNOPQRSTUVWXYZ" * (size // 26 + 1))[:size]
            self.assertEqual(self.bmc.call("GET", f"/test/bytes/{size}").body, expected)

    def test_connections_are_cut_once(self):
        for line, failure in (("cut 0 1", http.client.RemoteDisconnected), ("cut 9 1", http.client.HTTPException),
                              ("cut 5000 GET /test 1", http.client.IncompleteRead),
                              ("endless-header 20000 GET /test 1", http.client.HTTPException)):
            self.bmc.control(line)
            with self.subTest(line=line), self.assertRaises(failure):
                self.bmc.call("GET", "/test/bytes/100000")
            self.assertEqual(self.bmc.call("GET", "/test/bytes/100000").status, 200)

    def test_a_body_without_length_ends_properly(self):
        self.bmc.control(r'raw "HTTP/1.0 200 OK\r\n\r\nbody"')
        with socket.create_connection(("127.0.0.1", self.bmc.ready["httpsPort"])) as plain, \
                ssl._create_unverified_context().wrap_socket(plain, suppress_ragged_eofs=False) as wire:
            wire.sendall(b"GET / HTTP/1.0\r\n\r\n")
            self.assertEqual(b"".join(iter(lambda: wire.recv(100), b"")), b"HTTP/1.0 200 OK\r\n\r\nbody")

    def test_it_stops_while_an_answer_is_delayed(self):
        self.bmc.control("delay 600000 GET /redfish 1")
        connection = self.bmc.connect()
        connection.request("GET", ROOT)
        until(lambda: not self.bmc.control("faults")["faults"])
        self.bmc.process.terminate()
        with self.assertRaises((OSError, http.client.HTTPException)):
            connection.getresponse()
        connection.close()


class Tls(unittest.TestCase):
    def test_versions_and_certificate(self):
        v12, v13 = ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3
        for low, high, newest, good in (("1.3", "1.3", v13, True), ("1.3", "1.3", v12, False), ("1.0", "1.1", v13, False)):
            with self.subTest(low=low, newest=newest), Bmc("--tls-min", low, "--tls-max", high) as bmc:
                context = ssl.create_default_context(cafile=bmc.ready["certificate"])
                context.maximum_version = newest
                connection = http.client.HTTPSConnection("127.0.0.1", bmc.ready["httpsPort"], context=context)
                if good:
                    connection.request("GET", ROOT)
                else:
                    self.assertRaises(OSError, connection.request, "GET", ROOT)
                connection.close()


class Files(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = scratch.name

    def write(self, name, text):
        os.makedirs(os.path.dirname(f"{self.dir}/{name}"), exist_ok=True)
        with open(f"{self.dir}/{name}", "w") as file:
            file.write(text)

    def test_of_a_package_are_served_and_nothing_beside_them(self):
        self.write("package/sha256sum", "s" * 200000)
        self.write("secret", "secret")
        with Bmc("--package-dir", self.dir + "/package") as bmc:
            self.assertEqual(bmc.call("GET", "/software/oxa/sha256sum").body, b"s" * 200000)
            for path in ("absent", "", "../secret", "%2e%2e/secret"):
                self.assertEqual(bmc.get("/software/oxa/" + path), 404, path)

    def test_of_a_mockup_are_the_resources(self):
        for below, given in (("", ""), ("redfish/v1/", ""), ("redfish/v1/", "/redfish"), ("redfish/v1/", "/redfish/v1")):
            with self.subTest(below=below, given=given):
                self.setUp()
                self.write(below + "index.json", '{"Name":"Mockup Root"}')
                self.write(below + "Chassis/index.json", '{"@odata.id":"/redfish/v1/Chassis/","Members":[]}')
                self.write(below + "Plain/index.json", '{"Name":"Where it lies"}')
                with Bmc("--mockup", self.dir + given, "--open-prefix", ROOT) as bmc:
                    self.assertEqual(bmc.get(ROOT)["Name"], "Mockup Root")
                    self.assertEqual(bmc.get(ROOT + "/Plain")["Name"], "Where it lies")
                    self.assertEqual(bmc.call("POST", ROOT + "/Chassis", "{}").status, 201)
                    self.assertEqual(bmc.get(SYSTEM), 404, "not the built-in tree")

    def test_of_a_wrong_mockup_are_named(self):
        for text, complaint in (("{", "index.json: "), ("[]", "a resource is a JSON object"), (None, "service root")):
            self.setUp()
            self.write("index.json" if text else "Systems/index.json", text or "{}")
            status, said = run("--mockup", self.dir)
            self.assertEqual(status, 1)
            self.assertRegex(said, "^torvosim: .*" + complaint)
