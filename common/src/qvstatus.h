/**
 * @file qvstatus.h
 * The status codes that the library and its callers share.
 */
#ifndef QVSTATUS_H
#define QVSTATUS_H

/* The OXA_ table: account, session and discovery outcomes. */
#define OXA_SUCCESS                           0      /**< success */
#define OXA_INVALID_PARAM                     100000 /**< a required argument is missing */
#define OXA_INVALID_USER_PRIVILEGE            100001 /**< the requested BMC user privilege is not an accepted one */
#define OXA_INTERNAL_ERROR                    100002 /**< internal failure (allocation, formatting) */
#define OXA_INVALID_ARG_VALUE                 100003 /**< an argument has a value out of range */
#define OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT       100004 /**< the BMC has no free user slot */
#define OXA_BMC_CMD_NO_IPPORT                 100005 /**< the BMC's HTTPS port could not be discovered */
#define OXA_BMC_CMD_IPMI_ACCESS_FAILED        100006 /**< the IPMI channel to the BMC could not be used */
#define OXA_BMC_CMD_IPMI_RESPONSE_ERROR       100007 /**< the BMC answered an IPMI command with an error */
#define OXA_BMC_CMD_GET_FW_ERROR              100008 /**< the BMC firmware version could not be read */
#define OXA_BMC_CMD_NO_IPADDRESS              100009 /**< the BMC's USB NIC address could not be discovered */
#define OXA_BMC_CMD_SET_USER_NAME_FAILED      100010 /**< setting a BMC user's name failed */
#define OXA_BMC_CMD_SET_USER_PASSWORD_FAILED  100011 /**< setting a BMC user's password failed */
#define OXA_BMC_CMD_SET_USER_PRIVILEGE_FAILED 100012 /**< setting a BMC user's privilege failed */
#define OXA_BMC_CMD_SET_VALUE_IN_DB_FAILED    100013 /**< writing a BMC user attribute failed */
#define OXA_USBNIC_ENABLE_FAILED              100014 /**< the USB NIC could not be enabled */
#define OXA_BMC_SESSION_CREATION_FAILED       100015 /**< the Redfish session could not be created */
#define OXA_BMC_SESSION_DELETION_FAILED       100016 /**< the Redfish session could not be deleted */
#define OXA_REDFISH_IP_NOT_ASSIGNED           100017 /**< the BMC's Redfish address is not assigned */
#define OXA_REDFISH_DISABLED                  100018 /**< Redfish is disabled on the BMC */
#define OXA_REDFISH_TOKEN_GENERATION_FAILED   100019 /**< the BMC login token could not be generated */
#define OXA_INVALID_LOCATION_HEADER           100020 /**< the session service's Location header is missing or malformed */
#define OXA_BMC_FW_VERSION_OLD                100021 /**< the BMC firmware is too old */
#define OXA_BMC_LOCKDOWN_MODE_ENABLED         100022 /**< the BMC is in lockdown mode */
#define OXA_BMC_LOCKDOWN_MODE_DISABLED        100023 /**< the BMC is not in lockdown mode */
#define OXA_BMC_USBNIC_ENABLED                100024 /**< the BMC's USB NIC is enabled */
#define OXA_BMC_USBNIC_DISABLED               100025 /**< the BMC's USB NIC is disabled */

/* Plain values of the lower operations; each operation's comment says which of them it returns. */
#define QVRFUTIL_FAILURE             (-1) /**< general failure, logged */
#define QVRFUTIL_BUFFER_TOO_SMALL    100  /**< the caller's response buffer is too small */
#define QVRFUTIL_NO_SESSION_DETAILS  101  /**< session details unavailable */
#define QVRFUTIL_INVALID_ARGUMENTS   102  /**< a required argument is NULL */
#define QVRFUTIL_CURL_FAILED         103  /**< a libcurl call failed */
#define QVRFUTIL_SESSION_FAILURE     104  /**< no valid session, or another thread is re-creating it: try again */
#define QVRFUTIL_INVALID_PARAMETER   271  /**< an argument is NULL or invalid */
#define QVRFUTIL_OUT_OF_MEMORY       272  /**< a memory allocation failed */
#define QVRFUTIL_EVENT_STREAM_BROKEN 273  /**< an event stream broke */

/* Plain values of discovery, update engine and USB NIC; each operation's comment says which of them it returns. */
#define OXA_UPDATE_FAILED           1    /**< a step failed, logged */
#define OXA_UPDATE_NOTHING_TO_DO    2    /**< no update is due, or the BMC holds no package */
#define OXA_UPDATE_BAD_SIGNATURE    3    /**< the package's signature is not good, or could not be checked */
#define OXA_UPDATE_NOT_ROOT         4    /**< the effective user is not root */
#define OXA_UPDATE_NOT_DOWNLOADED   5    /**< a download failed */
#define OXA_UPDATE_ANOTHER_INSTANCE 6    /**< another update is at work on this host */
#define OXA_UPDATE_FORBIDDEN_PATH   8    /**< started from the installation's directory .update */
#define OXA_UPDATE_OUT_OF_MEMORY    9    /**< a memory allocation failed */
#define OXA_UPDATE_TLS_MISMATCH     1001 /**< host and BMC have no TLS version in common */

#endif
