# Read by cpack once for each kind of package. A deb's debug information goes into a package of its own, which strips.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_STRIP_FILES OFF)
else()
  set(CPACK_STRIP_FILES ON)
endif()
