# The headers that callers may include: installed, compiled alone by tests/headers, and compared by scripts/abi-check.
# They stand side by side in build/include/qvrfutil as they do when installed, without the internal ones beside them.

set(QVRFUTIL_PUBLIC_HEADERS
  sharedlibrary/qvrfutil/common/src/qvrfutil.h
  sharedlibrary/qvrfutil/common/src/qvrfutilRequestEx.h
  sharedlibrary/qvrfutil/common/src/qvrfutilWatch.h
  sharedlibrary/qvrfutil/common/src/qvrfutil.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_client.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_core.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_events.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_file.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_inventory.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_json.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_listener.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_opened.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_request.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_scan.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_send.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_status.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_stream.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_streamkeeper.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_streamstate.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_task.hpp
  sharedlibrary/qvrfutil/common/src/qvrfutil_threads.hpp
  sharedlibrary/qvrfutil/linux/qvrfutilLX.h
  tools/OxaAutoUpdate/common/src/oxarfutilHelper.h
  tools/OxaAutoUpdate/common/src/OxaAutoUpdateUtils.h
  tools/OxaAutoUpdate/linux/src/OxaAutoUpdateLinux.h
  tools/OxaAutoUpdate/linux/src/OxaAutoUpdateLinuxUtils.h
  agentmanager/linux/osprivlege.h
  common/src/qvisocppsecurecompat.h
  common/src/qvresponse.h
  common/src/qvserver.h
  common/src/qvstatus.h
  common/src/qvtypes.h
  platform/include/smsupport.h
  platform/include/qvhipm.h
  platform/include/smsecure.h)
list(TRANSFORM QVRFUTIL_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/)

set(QVRFUTIL_PUBLIC_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include/qvrfutil)
file(REMOVE_RECURSE ${QVRFUTIL_PUBLIC_INCLUDE_DIR})
file(MAKE_DIRECTORY ${QVRFUTIL_PUBLIC_INCLUDE_DIR})
foreach(header IN LISTS QVRFUTIL_PUBLIC_HEADERS)
  if(NOT EXISTS ${header})
    message(FATAL_ERROR "The public header ${header} is not there: see cmake/PublicHeaders.cmake")
  endif()
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK ${header} ${QVRFUTIL_PUBLIC_INCLUDE_DIR}/${name} SYMBOLIC)
endforeach()
