# `cpack` packs what is installed below /usr (scripts/package runs it): a package a component.

set(CPACK_PACKAGE_NAME qvrfutil)
set(CPACK_PACKAGE_VENDOR "libqvrfutil")
# Whoever hands packages out says who answers for them; .invalid is nobody's.
set(QVRFUTIL_MAINTAINER "libqvrfutil maintainers <maintainers@libqvrfutil.invalid>" CACHE STRING
    "Name and address in the packages")
set(CPACK_PACKAGE_CONTACT ${QVRFUTIL_MAINTAINER})
set(QVRFUTIL_HOMEPAGE "https://libqvrfutil.invalid/" CACHE STRING "Home page in the packages")
set(CPACK_PACKAGE_HOMEPAGE_URL ${QVRFUTIL_HOMEPAGE})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own; this one would stand before all of them
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/PackageKind.cmake)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/packaging/copyright)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/PackageMultiArch.cmake)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL runtime platform development tools simulator)

# package_component(COMPONENT DEB-NAME RPM-NAME SUMMARY DESCRIPTION NEEDED-COMPONENT...)
function(package_component component deb rpm summary description)
  string(TOUPPER ${component} key)
  string(SUBSTRING ${summary} 0 1 first)
  string(TOUPPER ${first} first)
  string(REGEX REPLACE "^." ${first} title ${summary})  # as rpm has it; deb begins with a small letter
  foreach(setting
      "COMPONENT_${key}_DISPLAY_NAME|${summary}"
      "COMPONENT_${key}_DESCRIPTION|${summary}\n${description}"
      "COMPONENT_${key}_DEPENDS|${ARGN}"
      "DEBIAN_${key}_PACKAGE_NAME|${deb}"
      "DEBIAN_${key}_FILE_NAME|DEB-DEFAULT"
      "RPM_${key}_PACKAGE_NAME|${rpm}"
      "RPM_${key}_PACKAGE_SUMMARY|${title}"
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
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)

# debian_symbols(<key> <package> (<library> <version node> <map>)...): the symbols file of a package, from version scripts
function(debian_symbols key package)
  set(text)
  while(ARGN)
    list(POP_FRONT ARGN library node map)
    string(APPEND text "${library}.so.1 ${package} #MINVER#\n")
    if(NOT node STREQUAL "Base")
      string(APPEND text " ${node}@${node} ${PROJECT_VERSION}\n")
    endif()
    file(READ ${PROJECT_SOURCE_DIR}/${map} script)
    string(REGEX REPLACE "#[^\n]*" "" script "${script}")
    string(REGEX MATCHALL "[A-Za-z_0-9]+[;]" names "${script}")
    string(REPLACE ";;" ";" names "${names}")
    list(REMOVE_ITEM names "")
    list(SORT names)
    foreach(name IN LISTS names)
      string(APPEND text " ${name}@${node} ${PROJECT_VERSION}\n")
    endforeach()
  endwhile()
  file(WRITE ${PROJECT_BINARY_DIR}/packaging/${package}/symbols "${text}")
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers
      ${PROJECT_BINARY_DIR}/packaging/${package}/symbols PARENT_SCOPE)
endfunction()
debian_symbols(RUNTIME libqvrfutil1 libqvrfutil QVRFUTIL_1 sharedlibrary/qvrfutil/qvrfutil.map)
debian_symbols(PLATFORM qvrfutil-platform
  libqvhipm Base platform/reference/ipmi/qvhipm.map
  libqvsecure Base platform/reference/secure/qvsecure.map
  libqvsupport Base platform/reference/support/qvsupport.map)
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
set(CPACK_RPM_DEVELOPMENT_PACKAGE_REQUIRES
  "json-devel, libqvrfutil1 = ${PROJECT_VERSION}, qvrfutil-platform = ${PROJECT_VERSION}")
set(CPACK_RPM_SPEC_MORE_DEFINE "Packager: ${QVRFUTIL_MAINTAINER}")
set(CPACK_RPM_CHANGELOG_FILE ${PROJECT_BINARY_DIR}/packaging/rpm-changelog)
string(TIMESTAMP day "%a %b %d %Y" UTC)
file(WRITE ${CPACK_RPM_CHANGELOG_FILE} "* ${day} ${QVRFUTIL_MAINTAINER} - ${PROJECT_VERSION}-1\n\
- See CHANGELOG.md in the documents of libqvrfutil-devel.\n")
foreach(key_and_group "RUNTIME=System/Libraries" "PLATFORM=System/Libraries" "TOOLS=System/Management"
    "DEVELOPMENT=Development/Libraries" "SIMULATOR=Development/Tools")
  string(REGEX MATCH "^(.*)=(.*)$" _ ${key_and_group})
  set(CPACK_RPM_${CMAKE_MATCH_1}_PACKAGE_GROUP ${CMAKE_MATCH_2})
endforeach()
foreach(key RUNTIME PLATFORM)
  set(CPACK_RPM_${key}_POST_INSTALL_SCRIPT_FILE ${scripts}/ldconfig)
  set(CPACK_RPM_${key}_POST_UNINSTALL_SCRIPT_FILE ${scripts}/ldconfig)
endforeach()
set(CPACK_RPM_TOOLS_PACKAGE_REQUIRES "tar, gzip")
set(CPACK_RPM_TOOLS_POST_INSTALL_SCRIPT_FILE ${scripts}/postinst)
set(CPACK_RPM_TOOLS_PRE_UNINSTALL_SCRIPT_FILE ${scripts}/prerm)
set(CPACK_RPM_TOOLS_POST_UNINSTALL_SCRIPT_FILE ${scripts}/postrm)
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/share/man /usr/share/man/man1 /usr/share/man/man3 /usr/share/man/man5 /usr/share/bash-completion
  /usr/share/bash-completion/completions /usr/share/zsh /usr/share/zsh/site-functions /usr/share/fish
  /usr/share/fish/vendor_completions.d /usr/lib/systemd /usr/lib/systemd/system /usr/lib/systemd/user
  /usr/lib/systemd/network /usr/lib/udev /usr/lib/udev/rules.d /usr/lib/tmpfiles.d
  /usr/lib64/pkgconfig /usr/lib64/cmake /usr/share/doc)

include(CPack)
