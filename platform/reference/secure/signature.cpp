/** @file signature.cpp  OSVerifyDigitalSignature: a detached OpenPGP signature against one public key file. */
#include <fcntl.h>
#include <ftw.h>
#include <gpgme.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "owners.h"
#include "shield.h"
#include "smsecure.h"

namespace {

using qvrf::GivenBackBy;
using Context   = std::unique_ptr<std::remove_pointer_t<gpgme_ctx_t>, GivenBackBy<&gpgme_release>>;
using Data      = std::unique_ptr<std::remove_pointer_t<gpgme_data_t>, GivenBackBy<&gpgme_data_release>>;
using PublicKey = std::unique_ptr<std::remove_pointer_t<gpgme_key_t>, GivenBackBy<&gpgme_key_unref>>;

constexpr char op[] = "OSVerifyDigitalSignature";

constexpr s32 kFailed  = 1;
constexpr s32 kInvalid = 2;

bool refused(const char* why, const char* detail = "")
{
    __SysDbgPrint3("%s : %s %s\n", op, why, detail);
    return false;
}

/** Descriptors, memory or a program are missing: nothing is known about the signature. */
struct Unusable {};

bool worked(gpgme_error_t error, const char* step)
{
    if (error == 0) return true;
    refused(step, gpgme_strerror(error));
    // A system's error; and what GPGME says of a gpg that ended without a word, as one does that could not begin.
    const gpg_err_code_t code = gpgme_err_code(error);
    if (gpgme_err_code_to_errno(code) != 0 || code == GPG_ERR_GENERAL || code == GPG_ERR_EOF) throw Unusable();
    return false;
}

/** A keyring directory of its own below the scratch directory; removed with what GnuPG put into it. */
class ScratchHome {
public:
    explicit ScratchHome(const std::string& below)
    {
        if (::mkdir(below.c_str(), S_IRWXU) != 0 && errno != EEXIST) return;
        std::string name = below + "/verify-XXXXXX";
        if (::mkdtemp(name.data()) != nullptr) path_ = std::move(name);
    }
    ~ScratchHome()
    {
        // After an error GPGME does not wait for its gpg, which may still write here. Without the directory it cannot.
        constexpr int kTries = 400;
        for (int attempt = 0; !path_.empty() && !removed() && attempt < kTries; ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ScratchHome(ScratchHome&&) = delete;

    const std::string& path() const noexcept { return path_; }

    /** Checking a signature needs no helper process, and none may be left running for a directory that is gone. */
    bool configure() const
    {
        static constexpr char options[] =
            "no-autostart\nno-auto-key-retrieve\nno-auto-check-trustdb\n"
            "trust-model always\nbatch\n";
        const qvrf::Descriptor file(
            ::open((path_ + "/gpg.conf").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        return file && ::write(file.get(), options, sizeof options - 1) == ssize_t{sizeof options - 1};
    }

private:
    bool removed() const
    {
        const auto removeOne = [](const char* path, const struct stat*, int, FTW*) {
            ::remove(path);
            return 0;
        };
        ::nftw(path_.c_str(), removeOne, 8, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
        return ::access(path_.c_str(), F_OK) != 0;
    }

    std::string path_;
};

/** GPGME writes into pipes of a process that may have ended; the signal for that would end the agent. */
class BrokenPipeHeld {
public:
    BrokenPipeHeld()
    {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~BrokenPipeHeld()
    {
        const timespec now{};
        while (!wasPending_ && sigtimedwait(&pipe_, nullptr, &now) == -1 && errno == EINTR) continue;
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    BrokenPipeHeld(BrokenPipeHeld&&) = delete;

private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool     wasPending_ = false;
};

/** A file that GPGME reads. */
class Input {
public:
    explicit Input(const char* path) : file_(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
    {
        struct stat  status {};
        gpgme_data_t data = nullptr;
        if (!file_ && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) throw Unusable();
        if (!file_ || ::fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode))
            refused("cannot read", path);
        else if (worked(gpgme_data_new_from_fd(&data, file_.get()), path))
            data_.reset(data);
    }
    explicit     operator bool() const noexcept { return static_cast<bool>(data_); }
    gpgme_data_t get() const noexcept { return data_.get(); }

private:
    qvrf::Descriptor file_;
    Data             data_;
};

bool startGpgme()
{
    static std::once_flag once;
    static bool           usable = false;
    std::call_once(once, [] {
        usable = gpgme_check_version(nullptr) != nullptr && gpgme_engine_check_version(GPGME_PROTOCOL_OpenPGP) == 0;
    });
    return usable || refused("GnuPG is not usable.");
}

Context newContext(const std::string& home)
{
    gpgme_ctx_t raw = nullptr;
    if (!worked(gpgme_new(&raw), "no context:")) return nullptr;
    Context             context(raw);
    const gpgme_error_t error = gpgme_ctx_set_engine_info(raw, GPGME_PROTOCOL_OpenPGP, nullptr, home.c_str());
    return worked(error, "engine:") ? std::move(context) : nullptr;
}

bool importKey(gpgme_ctx_t context, const Input& key)
{
    if (!worked(gpgme_op_import(context, key.get()), "import of the public key:")) return false;
    const gpgme_import_result_t result = gpgme_op_import_result(context);
    return (result != nullptr && result->imported > 0) || refused("the key file holds no public key.");
}

/** The only signature, when it is good in every respect but the trust in its key: the caller brought the key. */
gpgme_signature_t soleGoodSignature(gpgme_ctx_t context)
{
    constexpr unsigned bad = GPGME_SIGSUM_RED | GPGME_SIGSUM_KEY_REVOKED | GPGME_SIGSUM_KEY_EXPIRED |
                             GPGME_SIGSUM_SIG_EXPIRED | GPGME_SIGSUM_KEY_MISSING | GPGME_SIGSUM_BAD_POLICY |
                             GPGME_SIGSUM_SYS_ERROR;
    const gpgme_verify_result_t result = gpgme_op_verify_result(context);
    if (result == nullptr || result->signatures == nullptr || result->signatures->next != nullptr) {
        refused("there is not exactly one signature.");
        return nullptr;
    }
    const gpgme_signature_t signature = result->signatures;
    if (!worked(signature->status, "signature:")) return nullptr;
    if ((signature->summary & bad) != 0 || signature->wrong_key_usage != 0 || signature->fpr == nullptr) {
        refused("the signature or its key is no longer good.");
        return nullptr;
    }
    return signature;
}

/** The scratch keyring holds nothing but the imported file: a key found there is a key of that file. */
bool signerIs(gpgme_ctx_t context, const char* fingerprint, const char* commonName)
{
    gpgme_key_t raw = nullptr;
    if (!worked(gpgme_get_key(context, fingerprint, &raw, 0), "signer:")) return false;
    const PublicKey key(raw);
    if (key->revoked || key->expired || key->disabled || key->invalid) return refused("the key is no longer good.");
    if (commonName == nullptr || *commonName == '\0') return true;
    for (gpgme_user_id_t id = key->uids; id != nullptr; id = id->next)
        if (!id->revoked && !id->invalid && id->name != nullptr && std::strcmp(id->name, commonName) == 0) return true;
    return refused("the signer is not", commonName);
}

bool verifies(const OxaSignatureObject& object)
{
    const BrokenPipeHeld held;
    const Input          key(object.pKey);
    const Input          signedFile(object.pVerifyFile);
    const Input          signatureFile(object.pSignFile);
    if (!key || !signedFile || !signatureFile) return false;

    const ScratchHome home(object.pSignDB);
    if (home.path().empty() || !home.configure()) {
        refused("no keyring below", object.pSignDB);
        throw Unusable();
    }
    const Context context = newContext(home.path());
    if (!context || !importKey(context.get(), key)) return false;
    if (!worked(gpgme_op_verify(context.get(), signatureFile.get(), signedFile.get(), nullptr), "verify:"))
        return false;
    const gpgme_signature_t signature = soleGoodSignature(context.get());
    // Asking for the key starts a new operation, which takes the old one's result away.
    if (signature == nullptr) return false;
    const std::string fingerprint = signature->fpr;
    return signerIs(context.get(), fingerprint.c_str(), object.pCommonName);
}

bool given(const char* text)
{
    return text != nullptr && *text != '\0';
}

}  // namespace

extern "C" s32 OSVerifyDigitalSignature(OxaSignatureObject* object)
{
    if (object == nullptr || !given(object->pKey) || !given(object->pVerifyFile) || !given(object->pSignFile) ||
        !given(object->pSignDB))
        return kInvalid;
    return qvrf::shielded<s32>(op, OXA_VERIFIER_UNUSABLE, [&] {
        if (!startGpgme()) return OXA_VERIFIER_UNUSABLE;
        try {
            return verifies(*object) ? 0 : kFailed;
        } catch (const Unusable&) {
            return OXA_VERIFIER_UNUSABLE;
        }
    });
}
