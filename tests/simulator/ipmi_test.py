"""What the BMC answers on its IPMI socket, byte for byte, and the texts that travel in pieces."""
import json
import struct

from desk import ROOT, Desk, Host

LINE, USER, SLOT, FREE, KSLOG, ENROL = 1, 2, 3, 4, 5, 6  # verbs of text transactions
WRITE, RUN, READ = 1, 2, 3
MOST_CHUNK, MOST_TEXT, MOST_TRANSACTIONS = 128, 4096, 16
OK, FIELD, LENGTH, RANGE = 0x00, 0xCC, 0xC7, 0xC9

# control lines, request, reply
EXCHANGES = (
    ("", "c0 bf 01", "c4 bf 00 07 0a 2c 01 00 00 00 00 00 00"),
    ("", "c0 bf 02", "c4 bf cc"),
    ("", "c0 bf", "c4 bf c7"),
    ("set package 5.2.0.17", "c0 d6 01 05 02 00 00 00 00", "c4 d6 00 00 00 00 00 00 09 00"),
    ("set package 5.2.0.17", "c0 d6 01 05 09 00 00 00 09", "c4 d6 00 00 00 00 00 00 00 00 35 2e 32 2e 30 2e 31 37"),
    ('set package ""', "c0 d6 01 05 02 00 00 00 00", "c4 d6 00 00 00 00 00 00 01 00"),
    ("set usbnic.ipv4 1.2.3.4", "c0 d6 01 00 01 00 00 00", "c4 d6 00 00 00 00 00 00 08"),  # high byte first
    ("set usbnic.ipv4 1.2.3.4", "c0 d6 01 00 08 00 00 00", "c4 d6 00 00 00 00 00 00 00 00 31 2e 32 2e 33 2e 34"),
    ("set usbnic.ipv6 fe80::a01", "c0 cf 01 02 14 00 00 00 01",
     "c4 cf 00 00 00 00 00 00 00 00 00 00 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 0a 01"),
    ("", "c0 cf 00 00 04 00 24 00 00 00", "c4 cf c7"),
    ("", "c0 cf 00 00 02 00 30 00 00 00", "c4 cf cc"),
    ("", "c0 cf 00 00 04 00 00 00 2a 00 00 15", "c4 cf 00 00 00 00 00 00"),  # the pass-through is switched on
    ("", "c0 cf 00 00 04 00 00 00 2a 00 00 07", "c4 cf cc"),  # and stays so
    ("", "c0 cf 01 00 04 00 00 00 00", "c4 cf 00 00 00 00 00 00 00 00 15 00"),
    ("", "c0 cf 00 00 02 00 28 00 00 00", "c4 cf 00 00 00 00 00 00"),
    ("", "18 59 00 de 00 00", "1c 59 00 11 00 00 13 68 74 74 70 73 3a 2f 2f 31 2e 32 2e 33 2e"),
    ("", "18 59 00 de 01 00", "1c 59 00 11 01 34 3a 34 34 33 00 00 00 00 00 00 00 00 00 00 00"),
    ("set url.empty on", "18 59 00 de 00 00", "1c 59 00 11" + " 00" * 17),
    ("", "18 59 00 01 00 00", "1c 59 80"),
    ("", "b8 02 c7 03 00 00 0c 00 00 00 ff", "bc 02 00 c7 03 00 00 bb 01" + " 00" * 23),
    ("", "18 01", "1c 01 00 20 01 07 10 02 1f c7 03 00 01 00 2c 01 00 00"),
    ("", "18 ff", "1c ff c1"),
    ("ipmi-cc 30 BF C0", "c0 bf 01", "c4 bf c0"),
    ("ipmi-cc 30 D6 C0", "c0 bf 02", "c4 bf cc"),  # of another command
    ("ipmi-short 30 BF 2", "c0 bf 01", "c4 bf 00 07"),
    ("ipmi-long 30 BF 2", "c0 bf 02", "c4 bf cc 5a 5a"),
    ('ipmi-reply 30 bf "00 A0 AA"', "c0 bf 01", "c4 bf 00 a0 aa"),
    ("ipmi-delay 30 BF 1", "c0 bf 02", "c4 bf cc"),
)
# what is sent, what comes back, frames dropped; then the next exchange must be good
WIRE = (
    ("01 18 ff e8 a0", ["01 1c ff c1 23 a0"], 0, ""),
    ("aa b0 18 ff 49 a0", ["aa b0 1c ff c1 84 a0"], 0, ""),
    ("ff 01 a1", ["ff 01 a1"], 0, ""),
    ("08 3f a1", [], 0, ""),
    ("01 18 ff e7 a0", [], 1, ""),
    ("01 18 e7 a0", [], 1, ""),
    ("a0 a1", [], 2, ""),
    ("01 18 ff e8 aa a0", [], 1, ""),
    ("01 18 aa aa ff e8 a0", [], 1, ""),
    ("00" * 100000 + "a0", [], 1, ""),  # all zeros would pass the checksum
    ("01 18 ff e8 a0", [], 0, "ipmi-silent * *"),
    ("01 18 ff e8 a0", ["01 02 03 a0"], 0, "ipmi-garbage 06 * 010203A0"),
    # A driver turns interrupts on and off: its interface hears of it ahead of the reply.
    ("07 18 2e 09 aa ba a0", ["05 a1", "07 1c 2e 00 af a0"], 0, ""),
    ("07 18 2f b2 a0", ["07 1c 2f 00 09 a5 a0"], 0, ""),
    ("07 18 2e 08 ab a0", ["06 a1", "07 1c 2e 00 af a0"], 0, ""),
    ("07 18 2e b3 a0", ["07 1c 2e c7 e8 a0"], 0, ""),
)
WEB = "[Key=torvo.Embedded.1#WebServer.1]\n"
# verb, text, whether it is good, reply
TEXTS = (
    (LINE, "vorsk get torvo.webserver.httpsport", True, WEB + "HttpsPort=443\n"),
    (LINE, "vorsk get torvo.redfish.enable", True, "[Key=torvo.Embedded.1#Redfish.1]\nEnable=Enabled\n"),
    (LINE, "vorsk get torVO.serviceModule.ServiceModuleVersion", True,
     "[Key=torvo.Embedded.1#ServiceModule.1]\nServiceModuleVersion=5.1.0.9\n"),
    (LINE, "vorsk set torvo.webserver.enable Disabled", True, "Object value modified successfully\n"),
    (LINE, "vorsk get torvo.webserver.enable", True, WEB + "Enable=Disabled\n"),
    (LINE, "vorsk set torvo.webserver.enable Perhaps", False, "ERROR: invalid value.\n"),
    (LINE, "vorsk set torvo.webserver.httpsport 1", False, "ERROR: read-only attribute.\n"),
    (LINE, "vorsk get torvo.nonsense", False, "ERROR: unknown attribute.\n"),
    (LINE, "vorsk get torvo.users.2.password", False, "ERROR: no such user attribute, or one that is not told.\n"),
    (LINE, "rm -rf /", False, "ERROR: unknown command.\n"),
    (USER, "vorsk set torvo.users.2.username me", False, "ERROR: "),
    (USER, "vorsk set torvo.users.17.username me", False, "ERROR: "),
    (USER, "vorsk set torvo.users.3.colour red", False, "ERROR: "),
    (USER, "vorsk set torvo.users.3.privilege 0x200", False, "ERROR: "),
    (USER, "vorsk set torvo.users.3.username", False, "ERROR: "),
    (USER, "vorsk set torvo.webserver.enable Disabled", False, "ERROR: "),
    (KSLOG, "OXA0034", False, ""),  # nothing closes the text
    (ENROL, "nonsense", False, ""),
)


class Ipmi(Desk):
    def setUp(self):
        super().setUp()
        self.host = Host(self.bmc)
        self.addCleanup(self.host.socket.close)

    def status(self, verb, text=""):
        return self.host.transact(verb, text)[0]

    def test_commands(self):
        self.bmc.control("set usbnic.hash off\nset firmware 7.10.300\nset port 443")
        for lines, request, reply in EXCHANGES:
            with self.subTest(lines=lines, request=request):
                self.bmc.control(lines)
                self.assertEqual(self.host.exchange(request), reply)

    def test_frames(self):
        for sent, received, dropped, lines in WIRE:
            with self.subTest(sent=sent[:60], lines=lines):
                self.bmc.control(lines)
                before = self.bmc.control("stats")["ipmiFramesDropped"]
                self.host.send(sent)
                self.assertEqual([self.host.next() for _ in received], received)
                self.assertEqual(self.host.exchange("18 ff"), "1c ff c1")
                self.assertEqual(self.bmc.control("stats")["ipmiFramesDropped"] - before, dropped)

    def test_the_address_told_is_where_the_service_is(self):
        text = f"127.0.0.1#{self.bmc.ready['httpsPort']}".encode()
        self.assertLessEqual(self.bmc.ready["httpsPort"], 9999)
        length = f"{len(text) + 1:02x}"
        self.assertTrue(self.host.exchange("c0 d6 01 00 01 00 00 00").endswith(" " + length))
        self.assertEqual(bytes.fromhex(self.host.exchange(f"c0 d6 01 00 {length} 00 00 00"))[10:], text)

    def test_texts(self):
        self.bmc.control("set agent 5.1.0.9\nset port 443")
        for verb, text, good, reply in TEXTS:
            with self.subTest(text=text):
                status, said = self.host.transact(verb, text, 7)
                self.assertEqual(status == 0, good)
                self.assertEqual(said[:len(reply)] if reply == "ERROR: " else said, reply)

    def test_users_have_their_slots(self):
        self.assertEqual((self.status(SLOT, "root"), self.status(SLOT, "agent"), self.status(FREE)), (2, 0, 3))
        self.bmc.control("refuse-users 1")
        self.assertNotEqual(self.status(USER, "vorsk set torvo.users.3.username agent"), 0)
        for line in ("username agent", 'password p w"&', "privilege 0x1ff", "enable 1"):
            self.assertEqual(self.status(USER, "vorsk set torvo.users.3." + line), 0)
        self.assertEqual((self.status(SLOT, "agent"), self.status(FREE)), (3, 4))
        self.assertEqual((self.bmc.log_in("agent", 'p w"&'), self.bmc.log_in("agent", "p w")), (201, 401))
        self.status(USER, "vorsk set torvo.users.3.enable 0")
        self.assertEqual(self.bmc.log_in("agent", 'p w"&'), 401)
        for slot in range(3, 17):
            self.assertEqual(self.status(USER, f"vorsk set torvo.users.{slot}.username u{slot}"), 0)
        self.assertEqual(self.status(FREE), 0, "all are taken")

    def test_the_ks_log_is_kept_and_shown(self):
        self.assertEqual(self.status(KSLOG, "OXA0034\0updated\x005.2.0\0root\0"), 0)
        self.bmc.control("kslog-refuse 1")
        self.assertNotEqual(self.status(KSLOG, "OXA0035\0"), 0)
        self.bmc.log_in()
        entry, = self.bmc.get(ROOT + "/Managers/Torvo.Embedded.1/LogServices/KsLog/Entries")["Members"]
        self.assertEqual((entry["MessageId"], entry["MessageArgs"]), ("OXA0034", ["updated", "5.2.0", "root"]))

    def test_login_tokens_are_enrolled_and_used_up(self):
        def log_in(token, scheme="bearer"):
            answer = self.bmc.call("POST", ROOT + "/SessionService/Sessions", None, f"Authorization: {scheme} {token}")
            return answer.status, json.loads(answer.body).get("UserName")
        good, refused = self.bmc.login_token(), (401, None)
        self.assertEqual(log_in(good), refused, "not enrolled yet")
        self.assertEqual(self.status(ENROL, good), 0)
        for bad in (self.bmc.login_token(life=-10), self.bmc.login_token(key="k" * 32),
                    self.bmc.login_token(algorithm="none"), good[:-2], good.split(".")[0]):
            self.assertNotEqual(self.status(ENROL, bad), 0, bad)
        self.assertEqual(log_in(good, "Basic"), refused)
        self.assertEqual(log_in(good), (201, "agent"))
        self.assertEqual(log_in(good), refused, "one login is all that it was good for")
        self.bmc.control("token-logins 0")
        self.assertEqual(self.status(ENROL, good), 0)
        for scheme in ("bearer", "Bearer", "BEARER"):
            self.assertEqual(log_in(good, scheme), (201, "agent"))
        self.bmc.control("forget-tokens")
        self.assertEqual(log_in(good), refused)

    def test_texts_hold_to_their_bounds(self):
        def completion(command, number, form, *numbers, text=b""):
            return self.host.oem(command, number, struct.pack(form, *numbers) + text)[0]
        self.assertEqual(completion(WRITE, 1, "<H", 0, text=b"x" * MOST_CHUNK), OK)
        self.assertEqual(completion(WRITE, 1, "<H", 0, text=b"x" * (MOST_CHUNK + 1)), LENGTH)
        self.assertEqual(completion(WRITE, 1, "<H", MOST_TEXT, text=b"x"), RANGE)
        self.assertEqual(completion(WRITE, 1, "<H", 500, text=b"x"), FIELD, "a gap")
        self.assertEqual(completion(RUN, 1, "<BH", LINE, 1000), FIELD, "longer than was written")
        self.assertEqual(completion(RUN, 2, "<BH", 0x7F, 0), FIELD, "no such verb")
        self.assertEqual(completion(READ, 77, "<HB", 0, 10), RANGE, "never run")
        for number in range(1, MOST_TRANSACTIONS + 2):
            completion(WRITE, number, "<H", 0, text=b"root")
        self.assertEqual(completion(RUN, 1, "<BH", SLOT, 4), FIELD, "the oldest of too many")
        self.assertEqual(completion(RUN, 2, "<BH", SLOT, 4), OK)

    def test_no_secret_is_in_the_trace(self):
        token = self.bmc.login_token()
        self.status(ENROL, token)
        for verb in (USER, LINE):
            self.status(verb, "vorsk set torvo.users.3.password Swordfish7")
        trace = json.dumps(self.bmc.control("trace 1000"))
        self.assertIn("torvo.users.3.password ***", trace)
        for secret in ("Swordfish7", token[:20], "53 77 6f 72 64"):
            self.assertNotIn(secret, trace)
