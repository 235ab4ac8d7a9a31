/** @file RedfishBuiltIn.cpp  The resources that the simulator brings along. */
#include "RedfishTree.h"

namespace torvosim {

const char* const kBuiltInResources = R"json([
{"@odata.id":"/redfish/v1","@odata.type":"#ServiceRoot.v1_11_0.ServiceRoot","Id":"RootService","Name":"Root Service",
 "RedfishVersion":"1.13.0","Product":"Torvo Simulator",
 "Systems":{"@odata.id":"/redfish/v1/Systems"},"Managers":{"@odata.id":"/redfish/v1/Managers"},
 "Chassis":{"@odata.id":"/redfish/v1/Chassis"},"AccountService":{"@odata.id":"/redfish/v1/AccountService"},
 "SessionService":{"@odata.id":"/redfish/v1/SessionService"},"EventService":{"@odata.id":"/redfish/v1/EventService"},
 "UpdateService":{"@odata.id":"/redfish/v1/UpdateService"},
 "Links":{"Sessions":{"@odata.id":"/redfish/v1/SessionService/Sessions"}}},
{"@odata.id":"/redfish/v1/odata","@odata.context":"/redfish/v1/$metadata",
 "value":[{"name":"Service","kind":"Singleton","url":"/redfish/v1"}]},

{"@odata.id":"/redfish/v1/Systems","@odata.type":"#ComputerSystemCollection.ComputerSystemCollection",
 "Name":"Computer System Collection","Members@odata.count":1,
 "Members":[{"@odata.id":"/redfish/v1/Systems/System.Embedded.1"}]},
{"@odata.id":"/redfish/v1/Systems/System.Embedded.1","@odata.type":"#ComputerSystem.v1_16_0.ComputerSystem",
 "Id":"System.Embedded.1","Name":"System","SystemType":"Physical","Manufacturer":"Zelmar","Model":"Simulated Server",
 "SerialNumber":"SIM0001","AssetTag":"","HostName":"","PowerState":"On","Status":{"State":"Enabled","Health":"OK"},
 "ProcessorSummary":{"Count":2,"Status":{"Health":"OK"}},
 "MemorySummary":{"TotalSystemMemoryGiB":64,"Status":{"Health":"OK"}},
 "UUID":"746f7276-6f73-696d-8000-000000000001","BiosVersion":"1.0.0","IndicatorLED":"Off",
 "Boot":{"BootSourceOverrideEnabled":"Disabled","BootSourceOverrideTarget":"None","BootSourceOverrideMode":"UEFI",
   "BootSourceOverrideTarget@Redfish.AllowableValues":["None","Pxe","Hdd","Cd","BiosSetup"],
   "BootSourceOverrideMode@Redfish.AllowableValues":["Legacy","UEFI"]},
 "Links":{"Chassis":[{"@odata.id":"/redfish/v1/Chassis/System.Embedded.1"}],
          "ManagedBy":[{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1"}]},
 "Actions":{"#ComputerSystem.Reset":{
   "target":"/redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Reset",
   "ResetType@Redfish.AllowableValues":["On","ForceOff","GracefulShutdown","GracefulRestart"]}}},

{"@odata.id":"/redfish/v1/Managers","@odata.type":"#ManagerCollection.ManagerCollection","Name":"Manager Collection",
 "Members@odata.count":1,"Members":[{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1"}]},
{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1","@odata.type":"#Manager.v1_13_0.Manager","Id":"Torvo.Embedded.1",
 "Name":"Manager","ManagerType":"BMC","Model":"Torvo","Status":{"State":"Enabled","Health":"OK"},
 "DateTimeLocalOffset":"+00:00","LogServices":{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/LogServices"},
 "EthernetInterfaces":{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/EthernetInterfaces"},
 "Actions":{"#Manager.Reset":{"target":"/redfish/v1/Managers/Torvo.Embedded.1/Actions/Manager.Reset"}},
 "Links":{"ManagerForServers":[{"@odata.id":"/redfish/v1/Systems/System.Embedded.1"}]}},
{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/EthernetInterfaces",
 "@odata.type":"#EthernetInterfaceCollection.EthernetInterfaceCollection","Name":"Ethernet Interface Collection",
 "Members@odata.count":1,"Members":[{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/EthernetInterfaces/USB.1"}]},
{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/EthernetInterfaces/USB.1",
 "@odata.type":"#EthernetInterface.v1_8_0.EthernetInterface","Id":"USB.1","Name":"USB NIC","InterfaceEnabled":true},
{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/LogServices",
 "@odata.type":"#LogServiceCollection.LogServiceCollection","Name":"Log Service Collection",
 "Members@odata.count":1,"Members":[{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/LogServices/KsLog"}]},
{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/LogServices/KsLog","@odata.type":"#LogService.v1_2_0.LogService",
 "Id":"KsLog","Name":"KS Log","LogEntryType":"Event","OverWritePolicy":"WrapsWhenFull",
 "Entries":{"@odata.id":"/redfish/v1/Managers/Torvo.Embedded.1/LogServices/KsLog/Entries"}},

{"@odata.id":"/redfish/v1/Chassis","@odata.type":"#ChassisCollection.ChassisCollection","Name":"Chassis Collection",
 "Members@odata.count":1,"Members":[{"@odata.id":"/redfish/v1/Chassis/System.Embedded.1"}]},
{"@odata.id":"/redfish/v1/Chassis/System.Embedded.1","@odata.type":"#Chassis.v1_18_0.Chassis","Id":"System.Embedded.1",
 "Name":"Chassis","ChassisType":"RackMount","IndicatorLED":"Off","Status":{"State":"Enabled","Health":"OK"},
 "Links":{"ComputerSystems":[{"@odata.id":"/redfish/v1/Systems/System.Embedded.1"}]}},

{"@odata.id":"/redfish/v1/AccountService","@odata.type":"#AccountService.v1_10_0.AccountService","Id":"AccountService",
 "Name":"Account Service","ServiceEnabled":true,"MinPasswordLength":1,"MaxPasswordLength":64,
 "Accounts":{"@odata.id":"/redfish/v1/AccountService/Accounts"},
 "Roles":{"@odata.id":"/redfish/v1/AccountService/Roles"}},
{"@odata.id":"/redfish/v1/AccountService/Roles","@odata.type":"#RoleCollection.RoleCollection",
 "Name":"Role Collection","Members@odata.count":3,"Members":[
  {"@odata.id":"/redfish/v1/AccountService/Roles/Administrator"},
  {"@odata.id":"/redfish/v1/AccountService/Roles/Operator"},
  {"@odata.id":"/redfish/v1/AccountService/Roles/ReadOnly"}]},
{"@odata.id":"/redfish/v1/AccountService/Roles/Administrator","@odata.type":"#Role.v1_3_1.Role","Id":"Administrator",
 "Name":"Administrator","IsPredefined":true},
{"@odata.id":"/redfish/v1/AccountService/Roles/Operator","@odata.type":"#Role.v1_3_1.Role","Id":"Operator",
 "Name":"Operator","IsPredefined":true},
{"@odata.id":"/redfish/v1/AccountService/Roles/ReadOnly","@odata.type":"#Role.v1_3_1.Role","Id":"ReadOnly",
 "Name":"ReadOnly","IsPredefined":true},

{"@odata.id":"/redfish/v1/SessionService","@odata.type":"#SessionService.v1_1_8.SessionService","Id":"SessionService",
 "Name":"Session Service","ServiceEnabled":true,"Sessions":{"@odata.id":"/redfish/v1/SessionService/Sessions"}},

{"@odata.id":"/redfish/v1/EventService","@odata.type":"#EventService.v1_7_0.EventService","Id":"EventService",
 "Name":"Event Service","ServiceEnabled":true,"ServerSentEventUri":"/redfish/v1/SSE",
 "Subscriptions":{"@odata.id":"/redfish/v1/EventService/Subscriptions"}},
{"@odata.id":"/redfish/v1/EventService/Subscriptions",
 "@odata.type":"#EventDestinationCollection.EventDestinationCollection","Name":"Event Subscriptions Collection",
 "Members@odata.count":0,"Members":[]},

{"@odata.id":"/redfish/v1/UpdateService","@odata.type":"#UpdateService.v1_11_0.UpdateService","Id":"UpdateService",
 "Name":"Update Service","ServiceEnabled":true,
 "MultipartHttpPushUri":"/redfish/v1/UpdateService/MultipartUpload"}
])json";

}  // namespace torvosim
