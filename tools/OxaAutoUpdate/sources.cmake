set(oxa ${PROJECT_SOURCE_DIR}/tools/OxaAutoUpdate)
target_sources(qvrfutil_objects PRIVATE
  ${oxa}/common/src/OxaAutoUpdateUtilsAddresses.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsDecode.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsHttpsPort.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsIpmi.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsPassThru.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsVersions.cpp
  ${oxa}/common/src/oxarfutilHelper.cpp
  ${oxa}/common/src/oxarfutilHelperAccount.cpp
  ${oxa}/common/src/oxarfutilHelperLogin.cpp
  ${oxa}/common/src/oxarfutilHelperService.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxInterface.cpp)
target_sources(qvrfutil_objects PRIVATE
  ${oxa}/linux/src/curlLx.cpp ${oxa}/linux/src/curlLxKept.cpp ${oxa}/linux/src/curlLxReceived.cpp
  ${oxa}/linux/src/curlLxScope.cpp ${oxa}/linux/src/curlLxSignal.cpp
  ${oxa}/linux/src/oxarfutilHelperLx.cpp ${oxa}/linux/src/oxarfutilHelperLxHeader.cpp)
target_sources(qvrfutil_objects PRIVATE
  ${oxa}/common/src/OxaAutoUpdateUtilsInstallPath.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsLinkSetup.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsManifest.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsPackageUrl.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsRecord.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsText.cpp
  ${oxa}/common/src/OxaAutoUpdateUtilsVersionReport.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxDecide.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxDownload.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxEnvironment.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxInstall.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxLock.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxOneInstance.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxOutput.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxPackage.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxPrepare.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxReason.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxShell.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxSignature.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxTree.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxUtilsDirectories.cpp
  ${oxa}/linux/src/OxaAutoUpdateLinuxUtilsFiles.cpp)
