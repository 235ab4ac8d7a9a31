/**
 * @file qvhipm.h
 * The contract of the platform's IPMI service: raw requests, command-line pass-through, the BMC's user database.
 *
 * On a managed server the maker's libqvhipm.so provides these symbols; elsewhere the open reference platform does.
 * Any thread may call any of them; exchanges with the BMC are serialised behind this interface.
 */
#ifndef QVHIPM_H
#define QVHIPM_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Bytes of request and reply that one record carries. */
#define QVHIPM_BUFFER_SIZE 40

/** EsmIPMICmdIoctlReq::ReqType of the raw request with an own buffer (IPMICmdParameters::IRREx). */
#define QVHIPM_REQTYPE_RAW_EX 11

/** The head of a record. */
typedef struct _EsmIoctlData {
    u64 Reserved; /**< 0 */
    s32 Status;   /**< of the driver; not looked at */
} EsmIoctlData;

/**
 * A raw IPMI exchange. In the request byte 0 of the buffer is netFn << 2 | LUN, byte 1 the command, the rest data;
 * in the reply byte 0 is the netFn, byte 1 the command, byte 2 the completion code, the rest data.
 */
typedef struct _IPMIReqRspEx {
    u8  RsSA;                             /**< responder's slave address; 0x20 is the BMC */
    u8  ChannelNum;                       /**< 0 */
    u8  ReservedAlign[2];                 /**< not looked at */
    u32 ReqPhaseBufLen;                   /**< request bytes in the buffer */
    u32 RspPhaseBufLen;                   /**< reply bytes wanted, netFn, command and completion code among them */
    u8  ReqRspBuffer[QVHIPM_BUFFER_SIZE]; /**< request in, reply out */
} IPMIReqRspEx;

/** The record's other forms belong to other users of the platform; they are here for the layout alone. */
typedef struct _IPMIGetInfo {
    u8 Data[16]; /**< not used here */
} IPMIGetInfo;
/** A raw exchange with a smaller buffer; not used here. */
typedef struct _IPMIReqRsp {
    u8  RsSA;             /**< as in IPMIReqRspEx */
    u8  ReservedAlign[3]; /**< not looked at */
    u32 ReqPhaseBufLen;   /**< as in IPMIReqRspEx */
    u32 RspPhaseBufLen;   /**< as in IPMIReqRspEx */
    u8  ReqRspBuffer[32]; /**< as in IPMIReqRspEx */
} IPMIReqRsp;

/** What a record carries, by its ReqType; of these forms the library uses IRREx alone. */
typedef union _IPMICmdParameters {
    IPMIGetInfo  IBGI;  /**< not used here */
    IPMIGetInfo  IBGF;  /**< not used here */
    IPMIGetInfo  IBGNR; /**< not used here */
    IPMIReqRsp   IRR;   /**< not used here */
    IPMIReqRspEx IRREx; /**< QVHIPM_REQTYPE_RAW_EX */
} IPMICmdParameters;

/** A request to the BMC, and then its reply. */
typedef struct _EsmIPMICmdIoctlReq {
    EsmIoctlData      IOCTLData;  /**< the record's head */
    s32               Status;     /**< preset by the caller; not looked at */
    u32               ReqType;    /**< QVHIPM_REQTYPE_RAW_EX */
    IPMICmdParameters Parameters; /**< the exchange itself */
} EsmIPMICmdIoctlReq;

/**
 * One exchange with the BMC; both arguments may be the same record.
 * @return non-zero when the exchange took place (whatever its completion code), 0 when it did not.
 */
booln QVHIPMCommand(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response);

/** The BMC's firmware version; any pointer may be NULL. @return 0 on success. */
s32 QVHIPMGetTorvoFwVersion(u16* major, u16* minor, u16* build);

/**
 * Runs a command line on the BMC.
 * @param[out] response  the reply text; the caller gives it back with SMFreeMem
 * @return 0 on success
 */
s32 QVHIPMVorskPassthru(const astring* command, astring** response);

/**
 * Runs a command line on the BMC and copies out what follows @p key in its reply, up to the end of that line.
 * @param[out] value  room for @p valueSize bytes, terminating NUL among them
 * @param flags       0
 * @return 0 on success, 1 when the BMC could not be reached, 2 when it answered with an error, others on other failures
 */
s32 QVHIPMVorskCmdPassthru(const astring* command, const astring* key, u32 keyLength, astring* value, u32 valueSize,
                           u32 flags);

/** Performs one "vorsk set torvo.users..." command on the user database. @return 0 on success. */
s32 BMCUserSetValueInUserDB(const astring* command);

/** The slot that holds @p userName; a value outside 3..16 means that none does. */
u32 BMCUserGetUserPresence(const astring* userName);

/** A free slot; a value outside 3..16 means that none is free. */
u32 BMCUserGetFreeUserSlotFromDB(void);

#ifdef __cplusplus
}
#endif

#endif
