set(oxa ${PROJECT_SOURCE_DIR}/tools/OxaAutoUpdate)
target_sources(qvrfutil_objects PRIVATE
  ${oxa}/common/src/OxaAutoUpdateUtilsDecode.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsDiscovery.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsIpmi.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsPassThru.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsPort.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsVersions.cpp
  ${oxa}/common/src/oxarfutilHelper.cpp
  ${oxa}/common/src/oxarfutilHelperAccount.cpp
  ${oxa}/common/src/oxarfutilHelperLogin.cpp
  ${oxa}/common/src/oxarfutilHelperService.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxInterface.cpp)
target_sources(qvrfutil_objects PRIVATE
  ${oxa}/linux/src/curlLx.cpp
  ${oxa}/linux/src/oxarfutilHelperLx.cpp ${oxa}/linux/src/oxarfutilHelperLxHeader.cpp)
