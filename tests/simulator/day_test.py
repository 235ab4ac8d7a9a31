"""What an administrator's day needs of the BMC: queries, power, boot, sensors, logs, and its manners in each."""
import http.client
import json

from desk import ROOT, Desk, until

SYSTEM, CHASSIS = ROOT + "/Systems/System.Embedded.1", ROOT + "/Chassis/System.Embedded.1"
MANAGER, LOGS = ROOT + "/Managers/Torvo.Embedded.1", SYSTEM + "/LogServices/"
RESET, SENSORS = SYSTEM + "/Actions/ComputerSystem.Reset", CHASSIS + "/Sensors"
UPDATES, TASKS = ROOT + "/UpdateService", ROOT + "/TaskService/Tasks"
ERROR = "Base.1.12.GeneralError"
FAN3, EXPAND = SENSORS + "/Fan3", "?$expand=.($levels=1)"

# control words, path, status, and what the answer has: at a place in it, a value or (count) a length.
# Without one it is an error, or nothing where the status is 204.
# Each row begins with the service as it is at the start; "then" continues with what the row before has left.
READ = (
    ("", ROOT, 200, "ProtocolFeaturesSupported/ExpandQuery/NoLinks", True),
    ("", ROOT + "/Systems" + EXPAND, 200, "Members/0/PowerState", "On"),
    ("", ROOT + "/Systems?$expand=.(%24levels=2)", 200, "Members/0/LogServices/Members@odata.count", 2),
    ("", SYSTEM + "?$expand=~", 200, "Links/ManagedBy/0/FirmwareVersion", "7.10.30"),
    ("", SYSTEM + "?$expand=~", 200, "LogServices/Name", None),
    ("", ROOT + "/Systems?$expand=.($levels=9)", 400),
    ("", SYSTEM + "?$select=Boot/BootSourceOverrideTarget", 200, "Boot", {"BootSourceOverrideTarget": "None"}),
    ("", SENSORS + "?$expand=*&$select=Reading", 200, "Members/0/Name", None),
    ("", SENSORS + "?$skip=2&$top=1", 200, "Members", [{"@odata.id": SENSORS + "/Fan1"}]),
    ("", SENSORS + "?$top=x", 400),
    ("page-size 4", SENSORS + "?$top=6", 200, "Members@odata.nextLink", SENSORS + "?$skiptoken=4&$top=2"),
    ("features none", ROOT, 200, "ProtocolFeaturesSupported/SelectQuery", False),
    ("then", ROOT + "/Systems" + EXPAND, 200, "Members/0/PowerState", None),
    ("features ignore", SYSTEM + "?$select=Name", 200, "PowerState", "On"),
    ("features refuse", SYSTEM + "?$select=Name", 501),
    ("sensor Fan3 580", CHASSIS, 200, "Status/HealthRollup", "Warning"),
    ("then", FAN3, 200, "Status/Health", "Warning"),
    ('sensor "PSU 2 Input" absent', CHASSIS + "/Power", 200, "PowerSupplies/1/Status", {"State": "Absent"}),
    ("sensors new", CHASSIS + "/Thermal", 404),
    (f'health {SYSTEM} Critical "Memory is gone."', SYSTEM, 200, "Status/Conditions/0/Message", "Memory is gone."),
    ("logs Sel 30", LOGS + "Sel/Entries?$top=1", 200, "Members/0/Id", "30"),
    ("logs LcLog 30", LOGS + "LcLog/Entries/1", 200, "Created", "2026-01-01T00:00:00Z"),
    ('log sel Warning "Fan 3 is slow." 2026-02-03T04:05:06Z', LOGS + "Sel/Entries", 200, "Members/0/Created",
     "2026-02-03T04:05:06Z"),
)


def at(node, place):
    for key in place.split("/") if place else ():
        node = node[int(key)] if isinstance(node, list) else (node or {}).get(key)
    return node


class Day(Desk):
    def test_what_is_read(self):
        for words, path, status, *rest in READ:
            place, value = rest or (["error/code", ERROR] if status >= 400 else ["", None])
            if words != "then":
                self.setUp()
            self.bmc.log_in()
            self.bmc.control(words if words != "then" else "")
            with self.subTest(words=words, path=path):
                answer = self.bmc.call("GET", path)
                self.assertEqual(answer.status, status, answer.body)
                self.assertEqual(at(json.loads(answer.body), place), value, answer.body)

    def test_a_restart_takes_its_way(self):
        self.bmc.log_in()
        before, seen = self.bmc.get(SYSTEM)["LastResetTime"], []
        self.bmc.control("power-time 200")
        self.bmc.call("POST", RESET, '{"ResetType":"ForceRestart"}')
        until(lambda: seen.append(self.bmc.get(SYSTEM)["PowerState"]) or seen[-1] == "On")
        self.assertEqual(set(seen), {"PoweringOff", "PoweringOn", "On"})
        self.assertGreater(self.bmc.get(SYSTEM)["LastResetTime"], before)

    def test_readings_move_when_they_drift_alone(self):
        self.bmc.log_in()
        readings = lambda: [self.bmc.get(CHASSIS + "/Thermal")["Fans"][0]["Reading"] for _ in range(2)]
        self.assertEqual(len(set(readings())), 1)
        self.bmc.control("sensor-drift on")
        until(lambda: len(set(readings())) == 2)

    def test_new_entries_are_told_as_events(self):
        self.bmc.log_in()
        stream = self.bmc.connect()
        self.addCleanup(stream.close)
        stream.request("GET", ROOT + "/SSE", headers={"X-Auth-Token": self.bmc.token})
        self.bmc.reaches("streamsOpen", 1)
        self.bmc.control('log Sel Warning "Fan 3 is slow."\nkslog-add ID1\nstream-end')
        events = [json.loads(line[6:])["Events"][0] for line in stream.getresponse() if line.startswith(b"data: ")]
        self.assertEqual([(e["Severity"], e["Message"], e["OriginOfCondition"]["@odata.id"]) for e in events],
                         [("Warning", "Fan 3 is slow.", LOGS + "Sel/Entries/3"),
                          ("OK", "ID1", MANAGER + "/LogServices/KsLog/Entries/1")])

    def test_a_restart_of_the_bmc_takes_sessions_and_tasks(self):
        self.bmc.log_in()
        self.bmc.control("task-time 600000")
        self.bmc.call("POST", UPDATES + "/HttpPush", "image")
        self.bmc.control("bmc-restart 0")
        self.bmc.reaches("restarts", 1)
        self.assertEqual(self.bmc.get(TASKS), 401)
        self.bmc.token = ""
        self.bmc.log_in()
        self.assertEqual(self.bmc.get(TASKS)["Members"], [])
        self.bmc.control("task-time 0\nbmc-restart 600 update")
        self.bmc.call("POST", UPDATES + "/HttpPush", "image")

        def is_gone():
            try:
                return self.bmc.get(TASKS) is None
            except (OSError, http.client.HTTPException) as failure:
                return isinstance(failure, ConnectionRefusedError)
        until(is_gone)
