target_sources(qvrfutil_objects PRIVATE
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompat.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatSystem.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatTime.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatWide.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvserver.cpp)
# Bound inside the library: another library of the process may have functions of these names that do something else.
set_source_files_properties(
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompat.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatSystem.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatTime.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatWide.cpp
  PROPERTIES COMPILE_OPTIONS -fvisibility=protected)
# Plain vsnprintf in every build: hardened, it ends the process over a writable format with %n.
set_property(SOURCE ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompat.cpp
  APPEND PROPERTY COMPILE_OPTIONS -U_FORTIFY_SOURCE)
