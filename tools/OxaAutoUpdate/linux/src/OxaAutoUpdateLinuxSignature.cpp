/** @file OxaAutoUpdateLinuxSignature.cpp  Has the platform check a package's signature, in a directory for the purpose.
 */
#include <sys/stat.h>
#include <unistd.h>

#include "OxaAutoUpdateLinuxPrepare.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "smsecure.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr s32    kFailure      = 1;
constexpr s32    kNoMemory     = 9;
constexpr mode_t kVerifierMode = 0600;

/** The verifier's directory; removed with whatever the verifier left in it. */
class VerifierDirectory {
public:
    VerifierDirectory() noexcept : path_(smFormat("/tmp/%s", ".signature"))
    {
        const TraceScope trace("CreateSigndB", kUpdateTrace);
        if (!path_) return;
        made_ = freshDirectory(path_.get(), kVerifierMode);
        if (!made_)
            __SysDbgPrint3("[AUFPI]CreateSigndB: Directory %s creation failed with status %d. \n", path_.get(), -1);
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
    if (!directory) return kFailure;
    const SmOwned<astring> key    = smFormat("%s/%s", downloadDirectory, "RPM-GPG-KEY-zelmar");
    const SmOwned<astring> sign   = smFormat("%s.sign", package);
    const SmOwned<astring> verify = smCopy(package);
    const SmOwned<astring> signDb = smCopy(directory.path());
    if (!key || !sign || !verify || !signDb) {
        __SysDbgPrint3("[AUFPI]Signaturevalidate: failed to alloc memory for the signature object.\n");
        return kNoMemory;
    }
    OxaSignatureObject object{nullptr, key.get(), verify.get(), sign.get(), signDb.get(), {}};
    __SysDbgPrint4("[AUFPI]Signaturevalidate: pSignDB :%s pSignFile:%s pKey:%s pVerifyFile:%s \n", object.pSignDB,
                   object.pSignFile, object.pKey, object.pVerifyFile);
    const s32 status = OSVerifyDigitalSignature(&object);
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]Signaturevalidate: VerifyEmbeddedSignature failed with status %d.\n", status);
    return kFailure;
}

}  // namespace

bool freshDirectory(astring* path, mode_t mode) noexcept
{
    struct stat status {};
    if (::lstat(path, &status) == 0 && (!S_ISDIR(status.st_mode) || RemoveDirectory(path) != 0)) ::unlink(path);
    if (CreateDirectory(path, mode) != 0) return false;
    // Nobody else's, should somebody have been quicker.
    return ::lstat(path, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid();
}

s32 validateSignature(const astring* downloadDirectory, const astring* package) noexcept
{
    const TraceScope trace("Signaturevalidate", kUpdateTrace);
    return validate(downloadDirectory, package);
}

}  // namespace qvrf
