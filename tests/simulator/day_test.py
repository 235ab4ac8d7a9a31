"""What an administrator's day needs of the BMC: queries, power, boot, sensors, logs, and its manners in each."""
import json

from desk import ROOT, Desk, until

SYSTEM, CHASSIS = ROOT + "/Systems/System.Embedded.1", ROOT + "/Chassis/System.Embedded.1"
MANAGER, LOGS, SETTINGS = ROOT + "/Managers/Torvo.Embedded.1", SYSTEM + "/LogServices/", SYSTEM + "/Settings"
RESET, SENSORS = SYSTEM + "/Actions/ComputerSystem.Reset", CHASSIS + "/Sensors"
ONCE = '{"Boot":{"BootSourceOverrideEnabled":"Once","BootSourceOverrideTarget":"Pxe"}}'
FAN3, EXPAND = SENSORS + "/Fan3", "?$expand=.($levels=1)"

# control words, request, its status, and what the answer has: at a place in it, a value or (count) a length.
# Each row begins with the service as it is at the start; "then" continues with what the row before has left.
READ = (
    ("", ROOT, 200, "ProtocolFeaturesSupported/ExpandQuery/NoLinks", True),
    ("", ROOT + "/Systems" + EXPAND, 200, "Members/0/PowerState", "On"),
    ("", ROOT + "/Systems?$expand=.(%24levels=2)", 200, "Members/0/LogServices/Members@odata.count", 2),
    ("", SYSTEM + "?$expand=~", 200, "Links/ManagedBy/0/FirmwareVersion", "7.10.30"),
    ("", SYSTEM + "?$expand=~", 200, "LogServices/Name", None),
    ("", ROOT + "/Systems?$expand=.($levels=9)", 400, "error/code", "Base.1.12.GeneralError"),
    ("", SYSTEM + "?$select=Boot/BootSourceOverrideTarget", 200, "Boot", {"BootSourceOverrideTarget": "None"}),
    ("", SENSORS + "?$expand=*&$select=Reading", 200, "Members/0/Name", None),
    ("", SENSORS + "?$skip=2&$top=1", 200, "Members", [{"@odata.id": SENSORS + "/Fan1"}]),
    ("", SENSORS + "?$top=x", 400, "error/code", "Base.1.12.GeneralError"),
    ("page-size 4", SENSORS + "?$top=6", 200, "Members@odata.nextLink", SENSORS + "?$skiptoken=4&$top=2"),
    ("then", SENSORS + "?$skiptoken=8", 200, "Members", [{"@odata.id": SENSORS + "/PSU2Input"}]),
    ("features none", ROOT, 200, "ProtocolFeaturesSupported/SelectQuery", False),
    ("then", ROOT + "/Systems" + EXPAND, 200, "Members/0/PowerState", None),
    ("features ignore", SYSTEM + "?$select=Name", 200, "PowerState", "On"),
    ("features refuse", SYSTEM + "?$select=Name", 501, "error/code", "Base.1.12.GeneralError"),
    ("features select,multiple", ROOT + "/Systems" + EXPAND, 200, "Members/0/PowerState", None),
    ("", CHASSIS, 200, "Status/HealthRollup", "OK"),
    ("sensor Fan3 580", CHASSIS, 200, "Status/HealthRollup", "Warning"),
    ("then", FAN3, 200, "Status/Health", "Warning"),
    ("then", FAN3, 200, "Thresholds/LowerCaution/Reading", 600),
    ("then", CHASSIS + "/Thermal", 200, "Fans/2/Reading", 580),
    ("then", CHASSIS + "/ThermalSubsystem/Fans" + EXPAND, 200, "Members/2/SpeedPercent/Reading", 4),
    ('sensor "PSU 2 Input" absent', CHASSIS + "/Power", 200, "PowerSupplies/1/Status", {"State": "Absent"}),
    ("then", CHASSIS + "/PowerSubsystem/PowerSupplies/PSU2Input/Metrics", 200, "InputPowerWatts/Reading", None),
    ("then", CHASSIS + "/PowerSubsystem/PowerSupplies", 200, "Members@odata.count", 2),
    ("sensor Fan1 null", SENSORS + "/Fan1", 200, "Status", {"State": "Enabled", "Health": "OK"}),
    ("sensors old", SENSORS, 404, "error/code", "Base.1.12.GeneralError"),
    ("then", CHASSIS, 200, "Sensors", None),
    ("sensors new", CHASSIS + "/Thermal", 404, "error/code", "Base.1.12.GeneralError"),
    (f'health {SYSTEM} Critical "Memory is gone."', SYSTEM, 200, "Status/Conditions/0/Message", "Memory is gone."),
    (f"health {FAN3} Warning", FAN3, 200, "Status/Health", "Warning"),
    ("logs Sel 30", LOGS + "Sel/Entries?$top=1", 200, "Members/0/Id", "30"),
    ("logs LcLog 30", LOGS + "LcLog/Entries/1", 200, "Created", "2026-01-01T00:00:00Z"),
    ('log sel Warning "Fan 3 is slow." 2026-02-03T04:05:06Z', LOGS + "Sel/Entries", 200, "Members/0/Created",
     "2026-02-03T04:05:06Z"),
    ('log lclog OK Untimed ""', LOGS + "LcLog/Entries", 200, "Members/2/Created", None),
    ("", MANAGER, 200, "FirmwareVersion", "7.10.30"),
)
WRITE = (
    ("", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideTarget", "Pxe"),
    ("", "PATCH " + SYSTEM, ONCE.replace("Pxe", "Floppy"), 400, "error/@Message.ExtendedInfo/0/RelatedProperties/0",
     "#/Boot/BootSourceOverrideTarget"),
    ("boot-how settings", "PATCH " + SYSTEM, ONCE, 400, "error/code", "Base.1.12.GeneralError"),
    ("then", "PATCH " + SETTINGS, ONCE, 200, "Boot/BootSourceOverrideEnabled", "Once"),
    ("then", "PATCH " + SETTINGS, ONCE.replace("Once", "Twice"), 400, "error/code", "Base.1.12.GeneralError"),
    ("then", "GET " + SYSTEM, None, 200, "@Redfish.Settings/SettingsObject/@odata.id", SETTINGS),
    ("then", "GET " + SYSTEM, None, 200, "Boot/BootSourceOverrideEnabled", "Disabled"),
    ("boot-how direct", "GET " + SETTINGS, None, 404, "error/code", "Base.1.12.GeneralError"),
    ("boot-how ignore", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideTarget", "None"),
    ("boot-how revert", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideMode", "Legacy"),
    ("require-if-match on", "PATCH " + SYSTEM, "{}", 428, "error/code", "Base.1.12.GeneralError"),
    ("then", "PATCH " + SYSTEM, "{}", 200, "Id", "System.Embedded.1", "If-Match: ETAG"),
    ("require-if-match strong", "PATCH " + SYSTEM, "{}", 412, "error/code", "Base.1.12.GeneralError", "If-Match: ETAG"),
    ("then", "PATCH " + SYSTEM, "{}", 200, "Id", "System.Embedded.1", "If-Match: TAG"),
    ("then", "POST " + LOGS + "Sel/Actions/LogService.ClearLog", "{}", 204, "", None),
    ("then", "GET " + LOGS + "Sel/Entries", None, 200, "Members@odata.count", 0),
    ("", "POST " + LOGS + "LcLog/Actions/LogService.ClearLog", "{}", 204, "", None),
    ("then", "GET " + LOGS + "LcLog/Entries", None, 200, "Members/0/Message", "The log was cleared."),
    ("", "POST " + RESET, '{"ResetType":"Explode"}', 400, "error/code", "Base.1.12.GeneralError"),
    ("", "POST " + RESET, '{"ResetType":"On"}', 409, "error/code", "Base.1.12.GeneralError"),
    ("", "POST " + RESET, '{"ResetType":"Nmi"}', 204, "", None),
    ("power-ignore 1", "POST " + RESET, '{"ResetType":"GracefulShutdown"}', 204, "", None),
    ("then", "GET " + SYSTEM, None, 200, "PowerState", "On"),
    ("power-time 600000", "POST " + RESET, '{"ResetType":"PushPowerButton"}', 204, "", None),
    ("then", "GET " + SYSTEM, None, 200, "PowerState", "PoweringOff"),
    ("then", "POST " + RESET, '{"ResetType":"GracefulShutdown"}', 409, "error/code", "Base.1.12.GeneralError"),
    ("power-time 0", "POST " + RESET, '{"ResetType":"ForceOff"}', 204, "", None),
    ("then", "GET " + SYSTEM, None, 200, "PowerState", "Off"),
    ("then", "GET " + FAN3, None, 200, "Status", {"State": "StandbyOffline"}),
    ("then", "POST " + RESET, '{"ResetType":"ForceRestart"}', 409, "error/code", "Base.1.12.GeneralError"),
    ("then", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideEnabled", "Once"),
    ("then", "POST " + RESET, '{"ResetType":"On"}', 204, "", None),
    ("then", "GET " + SYSTEM, None, 200, "Boot/BootSourceOverrideEnabled", "Disabled"),
)


def at(node, place):
    for key in place.split("/") if place else ():
        node = node[int(key)] if isinstance(node, list) else (node or {}).get(key)
    return node


class Day(Desk):
    def rows(self, table):
        for words, request, body, status, place, value, *header in table:
            if words != "then":
                self.setUp()
            self.bmc.log_in()
            self.bmc.control(words if words != "then" else "")
            method, path = request.split(" ")
            with self.subTest(words=words, request=request, body=body):
                tag = self.bmc.get(path)["@odata.etag"] if header else ""
                header = "".join(header).replace("ETAG", tag).replace("TAG", tag[2:])
                answer = self.bmc.call(method, path, body, header)
                self.assertEqual(answer.status, status, answer.body)
                self.assertEqual(at(json.loads(answer.body or "null"), place), value, answer.body)

    def test_what_is_read(self):
        self.rows([(words, "GET " + path, None, *rest) for words, path, *rest in READ])

    def test_what_is_written(self):
        self.rows(WRITE)

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
