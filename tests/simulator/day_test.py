"""What an administrator's day needs of the BMC: queries, power, boot, sensors, logs, and its manners in each."""
import http.client
import json

from desk import NEW, ROOT, Desk, until

SYSTEM, CHASSIS = ROOT + "/Systems/System.Embedded.1", ROOT + "/Chassis/System.Embedded.1"
MANAGER, LOGS, SETTINGS = ROOT + "/Managers/Torvo.Embedded.1", SYSTEM + "/LogServices/", SYSTEM + "/Settings"
RESET, SENSORS = SYSTEM + "/Actions/ComputerSystem.Reset", CHASSIS + "/Sensors"
ONCE = '{"Boot":{"BootSourceOverrideEnabled":"Once","BootSourceOverrideTarget":"Pxe"}}'
ACCOUNTS, UPDATES, TASKS = ROOT + "/AccountService/Accounts", ROOT + "/UpdateService", ROOT + "/TaskService/Tasks"
INVENTORY, MONITOR = UPDATES + "/FirmwareInventory/", ROOT + "/TaskService/TaskMonitors/1"
ERROR = "Base.1.12.GeneralError"
USER = '{"UserName":"monitor","Password":"secret12","RoleId":"ReadOnly","Enabled":true}'
FORM = "Content-Type: multipart/form-data; boundary=B"
IMAGE = ('--B\r\nContent-Disposition: form-data; name=UpdateParameters\r\nContent-Type: application/json\r\n\r\n'
         '{"Targets":["%s"]}\r\n--B\r\nContent-Disposition: form-data; name=UpdateFile; filename=i\r\n\r\nimg\r\n--B--')
FAN3, SIMPLE, EXPAND = SENSORS + "/Fan3", UPDATES + "/Actions/UpdateService.SimpleUpdate", "?$expand=.($levels=1)"

# control words, request, its status, and what the answer has: at a place in it, a value or (count) a length.
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
    ("then", SENSORS + "?$skiptoken=8", 200, "Members", [{"@odata.id": SENSORS + "/PSU2Input"}]),
    ("features none", ROOT, 200, "ProtocolFeaturesSupported/SelectQuery", False),
    ("then", ROOT + "/Systems" + EXPAND, 200, "Members/0/PowerState", None),
    ("features ignore", SYSTEM + "?$select=Name", 200, "PowerState", "On"),
    ("features refuse", SYSTEM + "?$select=Name", 501),
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
    ("sensors old", SENSORS, 404),
    ("then", CHASSIS, 200, "Sensors", None),
    ("sensors new", CHASSIS + "/Thermal", 404),
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
    ("boot-how settings", "PATCH " + SYSTEM, ONCE, 400),
    ("then", "PATCH " + SETTINGS, ONCE, 200, "Boot/BootSourceOverrideEnabled", "Once"),
    ("then", "PATCH " + SETTINGS, ONCE.replace("Once", "Twice"), 400),
    ("then", "GET " + SYSTEM, None, 200, "@Redfish.Settings/SettingsObject/@odata.id", SETTINGS),
    ("then", "GET " + SYSTEM, None, 200, "Boot/BootSourceOverrideEnabled", "Disabled"),
    ("boot-how direct", "GET " + SETTINGS, None, 404),
    ("boot-how ignore", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideTarget", "None"),
    ("boot-how revert", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideMode", "Legacy"),
    ("require-if-match on", "PATCH " + SYSTEM, "{}", 428),
    ("then", "PATCH " + SYSTEM, "{}", 200, "Id", "System.Embedded.1", "If-Match: ETAG"),
    ("require-if-match strong", "PATCH " + SYSTEM, "{}", 412, "error/code", "Base.1.12.GeneralError", "If-Match: ETAG"),
    ("then", "PATCH " + SYSTEM, "{}", 200, "Id", "System.Embedded.1", "If-Match: TAG"),
    ("then", "POST " + LOGS + "Sel/Actions/LogService.ClearLog", "{}", 204),
    ("then", "GET " + LOGS + "Sel/Entries", None, 200, "Members@odata.count", 0),
    ("", "POST " + LOGS + "LcLog/Actions/LogService.ClearLog", "{}", 204),
    ("then", "GET " + LOGS + "LcLog/Entries", None, 200, "Members/0/Message", "The log was cleared."),
    ("", "POST " + RESET, '{"ResetType":"Explode"}', 400),
    ("", "POST " + RESET, '{"ResetType":"On"}', 409),
    ("", "POST " + RESET, '{"ResetType":"Nmi"}', 204),
    ("power-ignore 1", "POST " + RESET, '{"ResetType":"GracefulShutdown"}', 204),
    ("then", "GET " + SYSTEM, None, 200, "PowerState", "On"),
    ("power-time 600000", "POST " + RESET, '{"ResetType":"PushPowerButton"}', 204),
    ("then", "GET " + SYSTEM, None, 200, "PowerState", "PoweringOff"),
    ("then", "POST " + RESET, '{"ResetType":"GracefulShutdown"}', 409),
    ("power-time 0", "POST " + RESET, '{"ResetType":"ForceOff"}', 204),
    ("then", "GET " + SYSTEM, None, 200, "PowerState", "Off"),
    ("then", "GET " + FAN3, None, 200, "Status", {"State": "StandbyOffline"}),
    ("then", "POST " + RESET, '{"ResetType":"ForceRestart"}', 409),
    ("then", "PATCH " + SYSTEM, ONCE, 200, "Boot/BootSourceOverrideEnabled", "Once"),
    ("then", "POST " + RESET, '{"ResetType":"On"}', 204),
    ("then", "GET " + SYSTEM, None, 200, "Boot/BootSourceOverrideEnabled", "Disabled"),
    ("", f"PATCH {ACCOUNTS}/3", USER, 200, "Links/Role/@odata.id", ROOT + "/AccountService/Roles/ReadOnly"),
    ("then", "POST " + NEW, USER, 201, "UserName", "monitor"),
    ("then", f"PATCH {ACCOUNTS}/4", USER, 400, "error/@Message.ExtendedInfo/0/RelatedProperties/0", "#/UserName"),
    ("then", f"PATCH {ACCOUNTS}/3", '{"RoleId":"King"}', 400),
    ("then", f"DELETE {ACCOUNTS}/3", None, 204),
    ("then", f"GET {ACCOUNTS}/3", None, 200, "UserName", ""),
    ("then", "POST " + ACCOUNTS, USER, 405),
    ("", f"PATCH {ACCOUNTS}/2", '{"Password":"another"}', 403),
    ("refuse-users 1", f"PATCH {ACCOUNTS}/3", USER, 500),
    ("accounts collection", "POST " + ACCOUNTS, USER, 201, "Id", "3"),
    ("then", "POST " + ACCOUNTS, USER, 400, "error/@Message.ExtendedInfo/0/RelatedProperties/0", "#/UserName"),
    ("then", f"DELETE {ACCOUNTS}/3", None, 204),
    ("then", "GET " + ACCOUNTS, None, 200, "Members@odata.count", 1),
    ("", f"GET {NEW}/1", None, 200, "ClientOriginIPAddress", "127.0.0.1"),
    ("task-time 600000", f"POST {UPDATES}/MultipartUpload", IMAGE % (INVENTORY + "BIOS"), 202, "TaskState",
     "Running", FORM),
    ("then", f"GET {TASKS}/1", None, 200, "PercentComplete", 0),
    ("then", "GET " + MONITOR, None, 202, "TaskMonitor", MONITOR),
    ("task-time 0\npower-time 0", f"POST {UPDATES}/MultipartUpload", IMAGE % (INVENTORY + "BIOS"), 202, "Id", "1",
     FORM),
    ("then", f"GET {TASKS}/1", None, 200, "Messages/0/Message",
     "The new version of BIOS waits for a restart of the server."),
    ("then", "GET " + MONITOR, None, 200, "@Message.ExtendedInfo/0/Severity", "OK"),
    ("then", f"GET {INVENTORY}BIOS", None, 200, "Version", "1.0.0"),
    ("then", "POST " + RESET, '{"ResetType":"ForceRestart"}', 204),
    ("then", "GET " + SYSTEM, None, 200, "BiosVersion", "1.0.1"),
    ("", f"POST {UPDATES}/MultipartUpload", IMAGE % (INVENTORY + "PSU.1"), 400,
     "error/@Message.ExtendedInfo/0/MessageArgs/0",
     "Targets", FORM),
    ("update-how push", f"POST {UPDATES}/MultipartUpload", IMAGE % (INVENTORY + "BIOS"), 404, "error/code", ERROR,
     FORM),
    ("then", "GET " + UPDATES, None, 200, "MultipartHttpPushUri", None),
    ("task-time 0", "PATCH " + UPDATES, json.dumps({"HttpPushUriTargets": [INVENTORY + "BMC"]}), 200, "Id",
     "UpdateService"),
    ("then", f"POST {UPDATES}/HttpPush", "image", 202, "TaskStatus", "OK"),
    ("then", f"GET {MANAGER}", None, 200, "FirmwareVersion", "7.10.31"),
    ("", "PATCH " + UPDATES, '{"MaxImageSizeBytes":4}', 200, "MaxImageSizeBytes", 4),
    ("then", f"POST {UPDATES}/HttpPush", "image", 413),
    ("update-how none", f"POST {UPDATES}/HttpPush", "image", 404),
    ("task-time 0\ntask-end Exception", "POST " + SIMPLE, '{"ImageURI":"https://host/i"}', 202, "Name", "Update"),
    ("then", "GET " + MONITOR, None, 500),
    ("then", f"GET {TASKS}/1", None, 200, "TaskStatus", "Critical"),
    ("", "POST " + SIMPLE, "{}", 400, "error/@Message.ExtendedInfo/0/MessageArgs/0", "ImageURI"),
    ("task-time 0\ntask-end vanish", "POST " + SIMPLE, '{"ImageURI":"https://host/i"}', 202, "Id", "1"),
    ("then", f"GET {TASKS}/1", None, 404),
    ("then", f"GET {INVENTORY}BIOS", None, 200, "Version", "1.0.0"),
)


def at(node, place):
    for key in place.split("/") if place else ():
        node = node[int(key)] if isinstance(node, list) else (node or {}).get(key)
    return node


class Day(Desk):
    def rows(self, table):
        for words, request, body, status, *rest in table:
            usual = ["error/code", ERROR, ""] if status >= 400 else ["", None, ""]
            place, value, header = rest + usual[len(rest):]
            if words != "then":
                self.setUp()
            self.bmc.log_in()
            self.bmc.control(words if words != "then" else "")
            method, path = request.split(" ")
            with self.subTest(words=words, request=request, body=body):
                tag = self.bmc.get(path)["@odata.etag"] if "TAG" in header else ""
                header = header.replace("ETAG", tag).replace("TAG", tag[2:])
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
