/**
 * @file smsecure.h
 * The contract of the platform's cryptography service: token encryption, BMC login tokens, signature check.
 *
 * On a managed server the maker's libqvsecure.so provides these symbols; elsewhere the open reference platform does.
 * Any thread may call any of them.
 */
#ifndef SMSECURE_H
#define SMSECURE_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Room for an encryption's output text, in bytes. */
#define SMSECURE_OUTPUT_SIZE 128
/** Room for a decrypted text with its NUL, in bytes. */
#define SMSECURE_PLAIN_SIZE 65

/**
 * Encrypts a text.
 * @param length        its characters, without NUL; 64 at most
 * @param[out] output   room for SMSECURE_OUTPUT_SIZE bytes: a text for the record
 * @param[out] b64Text  the encoded cipher text; the caller gives it back with SMFreeMem
 * @param[out] b64Key   the encoded key material; the caller gives it back with SMFreeMem
 * @return 0 on success
 */
s32 SMqvoxaPBKDF2Encrypt(const astring* text, u32 length, astring* output, astring** b64Text, astring** b64Key);

/**
 * Decrypts what SMqvoxaPBKDF2Encrypt encrypted.
 * @param[in] output  the address of a pointer to a caller's buffer of SMSECURE_PLAIN_SIZE bytes, which receives the
 *                    text
 * @return 0 on success
 */
s32 SMqvoxaPBKDF2Decrypt(const astring* b64Key, const astring* b64Text, astring** output);

/** Makes a login token for @p userName with @p role and makes it known to the BMC; @p reserved is 0.
 * @return 0 on success. */
s32 SMSecureGenerateBMCLoginToken(u32 reserved, const astring* userName, u32 role);

/**
 * The token that this thread's last SMSecureGenerateBMCLoginToken made.
 * @param[out] token  the caller gives it back with SMFreeMem
 * @return 0 on success
 */
s32 SMSecureGetBMCLoginToken(astring** token, u32* length);

/** What OSVerifyDigitalSignature is to check. */
typedef struct _OxaSignatureObject {
    astring* pCommonName; /**< expected name of the signer; empty or NULL: any */
    astring* pKey;        /**< path of the public key file */
    astring* pVerifyFile; /**< path of the signed file */
    astring* pSignFile;   /**< path of its detached signature */
    astring* pSignDB;     /**< a scratch directory for the verifier */
    u8       reserved[8]; /**< zeros */
} OxaSignatureObject;

/** OSVerifyDigitalSignature could not look at the signature at all: its own program or library is missing. */
#define OXA_VERIFIER_UNUSABLE 3

/**
 * Verifies a file's detached signature. @return 0: the signature is good; OXA_VERIFIER_UNUSABLE; any other: it is not
 */
s32 OSVerifyDigitalSignature(OxaSignatureObject* object);

#ifdef __cplusplus
}
#endif

#endif
