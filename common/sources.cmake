target_sources(qvrfutil_objects PRIVATE
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompat.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatSystem.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatTime.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvisocppsecurecompatWide.cpp
  ${PROJECT_SOURCE_DIR}/common/src/qvserver.cpp)
