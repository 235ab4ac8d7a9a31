/** @file OxaAutoUpdateLinuxSignature.cpp  Has the platform check a package's signature. */
#include <sys/stat.h>
#include <unistd.h>

#include "OxaAutoUpdateLinuxPrepare.h"
#include "OxaAutoUpdateLinuxReason.h"
#include "OxaAutoUpdateLinuxTree.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvstatus.h"
#include "smsecure.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr mode_t kVerifierMode = 0600;

/** A regular file of this user's with one name: a second one may be another user's work. */
bool isOwnFile(const astring* path) noexcept
{
    struct stat status {};
    return ::lstat(path, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           status.st_nlink == 1;
}

bool CreateSigndB(astring* path) noexcept
{
    const TraceScope trace("CreateSigndB", kUpdateTrace);
    IsDirExist(path);  // for the log alone: whatever it says, the directory is made anew
    if (isOwnFile(path) ? CreateDirectory(path, kVerifierMode) == 0 : freshDirectory(path, kVerifierMode)) return true;
    setReason("the verifier's directory %s cannot be made", path);
    __SysDbgPrint3("[AUFPI]CreateSigndB: Directory %s creation failed with status %d. \n", path, QVRFUTIL_FAILURE);
    return false;
}

/** The verifier's directory; removed with whatever the verifier left in it. */
class VerifierDirectory {
public:
    VerifierDirectory() noexcept : path_(smFormat("/tmp/%s", ".signature"))
    {
        if (!path_) __SysDbgPrint3("[AUFPI]Signaturevalidate: failed to alloc memory for the verifier's directory.\n");
        made_ = path_ && CreateSigndB(path_.get());
    }
    ~VerifierDirectory()
    {
        if (made_ && RemoveDirectory(path_.get()) != 0)
            __SysDbgPrint3("[AUFPI]Signaturevalidate: could not delete %s directory.\n", path_.get());
    }
    VerifierDirectory(VerifierDirectory&&) = delete;

    explicit       operator bool() const noexcept { return made_; }
    const astring* path() const noexcept { return path_.get(); }

private:
    SmOwned<astring> path_;
    bool             made_ = false;
};

s32 validate(const astring* downloadDirectory, const astring* package) noexcept
{
    const VerifierDirectory directory;
    if (!directory) return OXA_UPDATE_FAILED;
    const SmOwned<astring> key    = smFormat("%s/%s", downloadDirectory, "RPM-GPG-KEY-zelmar");
    const SmOwned<astring> sign   = smFormat("%s.sign", package);
    const SmOwned<astring> verify = smCopy(package);
    const SmOwned<astring> signDb = smCopy(directory.path());
    if (!key || !sign || !verify || !signDb) {
        __SysDbgPrint3("[AUFPI]Signaturevalidate: failed to alloc memory for the signature object.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    OxaSignatureObject object{nullptr, key.get(), verify.get(), sign.get(), signDb.get(), {}};
    __SysDbgPrint4("[AUFPI]Signaturevalidate: pSignDB :%s pSignFile:%s pKey:%s pVerifyFile:%s \n", object.pSignDB,
                   object.pSignFile, object.pKey, object.pVerifyFile);
    const s32 status = OSVerifyDigitalSignature(&object);
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]Signaturevalidate: VerifyEmbeddedSignature failed with status %d.\n", status);
    if (status == OXA_VERIFIER_UNUSABLE) setReason("the verifier cannot be run: nothing is known about the signature");
    return OXA_UPDATE_FAILED;
}

}  // namespace

s32 Signaturevalidate(const astring* downloadDirectory, const astring* package) noexcept
{
    const TraceScope trace("Signaturevalidate", kUpdateTrace);
    return validate(downloadDirectory, package);
}

}  // namespace qvrf
