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
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/*.md ${PROJECT_SOURCE_DIR}/docs/*.md
     ${PROJECT_SOURCE_DIR}/docs/*.svg)
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES docs/qvrfutil.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

# ---- What only a system has, at the place that only a system has ------------------------------------------------
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(system ${PROJECT_SOURCE_DIR}/packaging/system)
  install(FILES ${system}/qvoxa-sync.service ${system}/qvoxa-sync.timer DESTINATION lib/systemd/system COMPONENT tools)
  install(FILES ${system}/qvrfutil.tmpfiles DESTINATION lib/tmpfiles.d RENAME qvrfutil.conf COMPONENT tools)
  install(FILES ${system}/logrotate DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qvrfutil-tools/examples COMPONENT tools)
endif()
