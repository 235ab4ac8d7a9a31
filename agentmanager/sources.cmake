set(agentmanager ${PROJECT_SOURCE_DIR}/agentmanager/linux)
target_sources(qvrfutil_objects PRIVATE
  ${agentmanager}/osprivlegeAddrGen.cpp
  ${agentmanager}/osprivlegeAddressCheck.cpp
  ${agentmanager}/osprivlegeArp.cpp
  ${agentmanager}/osprivlegeArpProbe.cpp
  ${agentmanager}/osprivlegeCarrier.cpp
  ${agentmanager}/osprivlegeInterfaceRequest.cpp
  ${agentmanager}/osprivlegePause.cpp
  ${agentmanager}/osprivlegeService.cpp
  ${agentmanager}/osprivlegeSourceAddress.cpp)
