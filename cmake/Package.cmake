# `cpack` packs what is installed below /usr (scripts/package runs it): a package a component.

set(CPACK_PACKAGE_NAME qvrfutil)
set(CPACK_PACKAGE_VENDOR "libqvrfutil")
# Whoever hands packages out says who answers for them; .invalid is nobody's.
set(QVRFUTIL_MAINTAINER "libqvrfutil maintainers <maintainers@libqvrfutil.invalid>" CACHE STRING
    "Name and address in the packages")
set(CPACK_PACKAGE_CONTACT ${QVRFUTIL_MAINTAINER})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/packaging/copyright)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL runtime platform development tools simulator)

# package_component(COMPONENT DEB-NAME RPM-NAME SUMMARY DESCRIPTION NEEDED-COMPONENT...)
function(package_component component deb rpm summary description)
  string(TOUPPER ${component} key)
  foreach(setting
      "COMPONENT_${key}_DISPLAY_NAME|${summary}"
      "COMPONENT_${key}_DESCRIPTION|${summary}\n${description}"
      "COMPONENT_${key}_DEPENDS|${ARGN}"
      "DEBIAN_${key}_PACKAGE_NAME|${deb}"
      "DEBIAN_${key}_FILE_NAME|DEB-DEFAULT"
      "RPM_${key}_PACKAGE_NAME|${rpm}"
      "RPM_${key}_PACKAGE_SUMMARY|${summary}"
      "RPM_${key}_FILE_NAME|RPM-DEFAULT")
    string(REGEX MATCH "^([^|]*)[|](.*)$" _ "${setting}")
    set(CPACK_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}" PARENT_SCOPE)
  endforeach()
endfunction()

set(platform)
if(QVRFUTIL_PLATFORM STREQUAL "reference")
  set(platform platform)
endif()
package_component(runtime libqvrfutil1 libqvrfutil1 "access to a server's BMC over Redfish and IPMI"
  "The library with which a management agent reaches the Torvo BMC: discovery,\nsessions without a password, requests, \
event streams, uploads, and updates\nof the agent." ${platform})
package_component(platform qvrfutil-platform qvrfutil-platform "open platform libraries for libqvrfutil"
  "Support services, BMC access through /dev/ipmi0 or a simulator, and\ncryptography, where no maker's platform \
libraries are installed.")
package_component(development libqvrfutil-dev libqvrfutil-devel "headers of libqvrfutil"
  "Public headers, and what pkg-config and CMake need to compile against\nlibqvrfutil." runtime ${platform})
package_component(tools qvrfutil-tools qvrfutil-tools "command-line tools for a server's BMC"
  "qvrfctl talks Redfish to the BMC, qvoxa-sync updates the agent from the BMC's\npackage; a systemd timer for the \
latter is there and disabled." runtime)
package_component(simulator torvosim torvosim "simulated Torvo BMC"
  "Serves what the BMC of a server serves: Redfish, IPMI, users, event streams,\nupdate packages; for development and \
tests without a server.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=") # what was linked against this version runs with later ones
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(key RUNTIME PLATFORM)
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
endforeach()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(scripts ${PROJECT_SOURCE_DIR}/packaging/scripts)
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION devel)
# Added to what the components need of each other: qvrfutil.hpp includes nlohmann's header, and `qvrfctl report` packs
# with tar and gzip, which a Debian always has.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS nlohmann-json3-dev)
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "iproute2, gnupg")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_RECOMMENDS iproute2)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_PACKAGE_LICENSE "Proprietary")
set(CPACK_RPM_PACKAGE_AUTOREQ ON)
set(CPACK_RPM_DEVELOPMENT_PACKAGE_REQUIRES json-devel)
set(CPACK_RPM_TOOLS_PACKAGE_REQUIRES "tar, gzip")
set(CPACK_RPM_TOOLS_POST_INSTALL_SCRIPT_FILE ${scripts}/postinst)
set(CPACK_RPM_TOOLS_PRE_UNINSTALL_SCRIPT_FILE ${scripts}/prerm)
set(CPACK_RPM_TOOLS_POST_UNINSTALL_SCRIPT_FILE ${scripts}/postrm)
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/share/man /usr/share/man/man1 /usr/share/man/man3 /usr/share/bash-completion
  /usr/share/bash-completion/completions /usr/lib/systemd /usr/lib/systemd/system /usr/lib/tmpfiles.d
  /usr/lib64/pkgconfig /usr/lib64/cmake /usr/share/doc)

include(CPack)
