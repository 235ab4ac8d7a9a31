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
    system.reset_system(sushy.ResetType.FORCE_OFF)
    assert system.memory_summary.size_gib == 64
    assert [m.identity for m in root.get_manager_collection().get_members()] == ["Torvo.Embedded.1"]
    assert [c.identity for c in root.get_chassis_collection().get_members()] == ["System.Embedded.1"]
    if login is auth.SessionAuth:
        root._auth.close()
print("done")
