# What `cmake --install` brings beside the programs, which install themselves and their manuals: the library, its public
# headers, the reference platform, the documents, and what pkg-config and find_package need. Nothing installed carries
# an absolute path, so the tree may be installed under any prefix and moved afterwards.

include(CMakePackageConfigHelpers)

set(libraries qvrfutil qvplatform_contract)
set(QVRFUTIL_PC_PLATFORM_LIBS)
if(QVRFUTIL_PLATFORM STREQUAL "reference")
  list(APPEND libraries qvsupport qvhipm qvsecure)
  set(QVRFUTIL_PC_PLATFORM_LIBS " -lqvsupport -lqvhipm -lqvsecure")
endif()
set_target_properties(qvplatform_contract PROPERTIES EXPORT_NAME contract)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
foreach(library IN LISTS libraries)
  set(component platform)
  if(library STREQUAL "qvrfutil")
    set(component runtime)
  endif()
  install(TARGETS ${library} EXPORT qvrfutilTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT development)
  get_target_property(type ${library} TYPE)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND type STREQUAL "SHARED_LIBRARY")
    set_target_properties(${library} PROPERTIES INSTALL_RPATH "")
  endif()
endforeach()
install(FILES ${QVRFUTIL_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qvrfutil)

# ---- CMake: find_package(qvrfutil) gives qvrfutil::qvrfutil -----------------------------------------------------
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qvrfutil)
install(EXPORT qvrfutilTargets NAMESPACE qvrfutil:: DESTINATION ${package_dir})
# The build tree as well: find_package finds it with -Dqvrfutil_DIR=BUILD-DIRECTORY/packaging.
export(EXPORT qvrfutilTargets NAMESPACE qvrfutil:: FILE ${PROJECT_BINARY_DIR}/packaging/qvrfutilTargets.cmake)
configure_package_config_file(packaging/qvrfutilConfig.cmake.in ${PROJECT_BINARY_DIR}/packaging/qvrfutilConfig.cmake
  INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/qvrfutilConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/qvrfutilConfig.cmake
              ${PROJECT_BINARY_DIR}/packaging/qvrfutilConfigVersion.cmake
        DESTINATION ${package_dir})

# ---- pkg-config -------------------------------------------------------------------------------------------------
# The prefix is found from where the .pc file lies; only an absolute library directory stands as it was given.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(QVRFUTIL_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(QVRFUTIL_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" up ${up})
  set(QVRFUTIL_PC_PREFIX "\${pcfiledir}/${up}")
  set(QVRFUTIL_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  set(QVRFUTIL_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(QVRFUTIL_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(packaging/qvrfutil.pc.in ${PROJECT_BINARY_DIR}/packaging/qvrfutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/qvrfutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# ---- Documents --------------------------------------------------------------------------------------------------
# As they stand in the tree, with the examples that they speak of. A link to what is not installed becomes plain text.
file(GLOB documents CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} *.md docs/*.md docs/*.svg)
file(GLOB examples RELATIVE ${PROJECT_SOURCE_DIR} examples/*.c examples/*.cpp examples/update-package/*)
foreach(document IN LISTS documents)
  get_filename_component(directory ${document} DIRECTORY)
  set(copy ${PROJECT_BINARY_DIR}/packaging/documents/${document})
  configure_file(${document} ${copy} COPYONLY)
  if(document MATCHES "[.]md$")
    file(READ ${copy} text)
    string(REPLACE "](" "@LINK@" marked "${text}")  # a lone bracket would hold CMake's list together
    string(REGEX MATCHALL "@LINK@[^):#]+" links "${marked}")
    list(REMOVE_DUPLICATES links)
    foreach(link IN LISTS links)
      string(REPLACE "@LINK@" "" link "${link}")
      get_filename_component(target ${PROJECT_SOURCE_DIR}/${directory}/${link} ABSOLUTE)
      file(RELATIVE_PATH target ${PROJECT_SOURCE_DIR} ${target})
      if(NOT target IN_LIST documents AND NOT target IN_LIST examples)
        string(REPLACE "." "[.]" link ${link})
        string(REGEX REPLACE "\\[([^]]*)\\]\\(${link}(#[^)]*)?\\)" "\\1" text "${text}")
      endif()
    endforeach()
    file(WRITE ${copy} "${text}")
  endif()
  install(FILES ${copy} DESTINATION ${CMAKE_INSTALL_DOCDIR}/${directory} COMPONENT development)
endforeach()
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development USE_SOURCE_PERMISSIONS
        PATTERN CMakeLists.txt EXCLUDE)
install(PROGRAMS scripts/make-update-package DESTINATION ${CMAKE_INSTALL_DATADIR}/qvrfutil COMPONENT development)
install(FILES docs/qvrfutil.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
install(FILES docs/qvoxareg.cfg.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT tools)

# ---- Completion in other shells than bash, whose functions they ask ----------------------------------------------
set(QVRFUTIL_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
file(RELATIVE_PATH bash /${QVRFUTIL_ZSH_COMPLETIONS} /${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
foreach(program IN ITEMS qvrfctl qvoxa-sync torvosim)
  set(component tools)
  set(wanted ${QVRFUTIL_BUILD_TOOLS})
  if(program STREQUAL "torvosim")
    set(component simulator)
    set(wanted ${QVRFUTIL_BUILD_SIMULATOR})
  endif()
  if(wanted)
    string(REPLACE "-" "_" function ${program})
    set(from_zsh ${bash}/${program})
    configure_file(packaging/completion/zsh.in packaging/_${program} @ONLY)
    configure_file(packaging/completion/fish.in packaging/${program}.fish @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/_${program} DESTINATION ${QVRFUTIL_ZSH_COMPLETIONS}
            COMPONENT ${component})
    install(FILES ${PROJECT_BINARY_DIR}/packaging/${program}.fish
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT ${component})
  endif()
endforeach()

# ---- What only a system has, at the place that only a system has ------------------------------------------------
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(system ${PROJECT_SOURCE_DIR}/packaging/system)
  install(FILES ${system}/qvoxa-sync.service ${system}/qvoxa-sync.timer DESTINATION lib/systemd/system COMPONENT tools)
  install(FILES ${system}/qvrfutil.tmpfiles DESTINATION lib/tmpfiles.d RENAME qvrfutil.conf COMPONENT tools)
  install(FILES ${system}/qvrfutil.rules DESTINATION lib/udev/rules.d RENAME 60-qvrfutil-bmc.rules COMPONENT tools)
  install(FILES ${system}/qvrfutil.network DESTINATION lib/systemd/network RENAME 10-qvrfutil-bmc.network COMPONENT tools)
  install(FILES ${system}/logrotate ${system}/qvoxareg.cfg
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qvrfutil-tools/examples COMPONENT tools)
  install(FILES ${system}/torvosim.service DESTINATION lib/systemd/user COMPONENT simulator)
endif()
