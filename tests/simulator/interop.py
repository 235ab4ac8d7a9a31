"""A client of sushy: both kinds of login, and what a deployment service does with a server."""
import sys

import sushy
from sushy import auth

for login in (auth.BasicAuth, auth.SessionAuth):
    root = sushy.Sushy(sys.argv[1], auth=login("root", "simulator"), verify=sys.argv[2])
    system = root.get_system("/redfish/v1/Systems/System.Embedded.1")
    assert system.power_state == sushy.PowerState.ON, system.power_state
    system.set_system_boot_options(target=sushy.BootSource.PXE, enabled=sushy.BootSourceOverrideEnabled.ONCE)
    system.refresh()
    assert system.boot["target"] == sushy.BootSource.PXE, system.boot
    assert sushy.ResetType.FORCE_OFF in system.get_allowed_reset_system_values()
    for reset, state in ((sushy.ResetType.FORCE_OFF, sushy.PowerState.OFF), (sushy.ResetType.ON, sushy.PowerState.ON)):
        system.reset_system(reset)
        system.refresh()
        assert system.power_state == state, system.power_state
    assert system.boot["target"] == sushy.BootSource.NONE, "an override for once is over"
    update = root.get_update_service()
    before = {item.identity: item.version for item in update.firmware_inventory.get_members()}
    task = update.simple_update("https://host/nic", targets=["/redfish/v1/UpdateService/FirmwareInventory/NIC.1"])
    update.firmware_inventory.refresh(force=True)
    after = {item.identity: item.version for item in update.firmware_inventory.get_members()}
    assert {name for name in before if before[name] != after[name]} == {"NIC.1"}, after
    chassis = root.get_chassis("/redfish/v1/Chassis/System.Embedded.1")
    assert [fan.reading for fan in chassis.thermal.fans] == [5800, 5760, 5840]
    assert [supply.name for supply in chassis.power.power_supplies] == ["PSU 1 Input", "PSU 2 Input"]
    assert system.memory_summary.size_gib == 64
    assert [m.identity for m in root.get_manager_collection().get_members()] == ["Torvo.Embedded.1"]
    assert [c.identity for c in root.get_chassis_collection().get_members()] == ["System.Embedded.1"]
    if login is auth.SessionAuth:
        root._auth.close()
print("done")
