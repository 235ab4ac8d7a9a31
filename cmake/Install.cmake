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

install(TARGETS ${libraries} EXPORT qvrfutilTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${QVRFUTIL_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qvrfutil)

# ---- CMake: find_package(qvrfutil) gives qvrfutil::qvrfutil -----------------------------------------------------
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qvrfutil)
install(EXPORT qvrfutilTargets NAMESPACE qvrfutil:: DESTINATION ${package_dir})
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
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR})
