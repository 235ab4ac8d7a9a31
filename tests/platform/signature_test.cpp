/** @file signature_test.cpp  Signatures made by GnuPG with keys of the moment. */
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "scratch.h"
#include "smsecure.h"

namespace {

/** Keys and signed files, made once: a key takes its time. */
const Scratch& signer()
{
    static const Scratch scratch;
    static const bool    made = scratch.run(R"(exec 2>>gpg.log; mkdir -m 700 home
        pg() { gpg --homedir "$PWD/home" --batch --quiet --pinentry-mode loopback --passphrase '' "$@"; }
        export_key() { pg --armor -o $1.asc --export $2@zelmar.invalid; }
        printf 'the package' >package; printf 'the package!' >tampered; echo 'no key and no signature' >garbage; : >empty
        old='--faked-system-time 20200101T00000'
        pg --quick-gen-key 'Zelmar Packages <p@zelmar.invalid>' ed25519 sign never &&
        pg --quick-gen-key 'Somebody Else <s@zelmar.invalid>' ed25519 sign never &&
        pg ${old}0 --quick-gen-key 'Old <o@zelmar.invalid>' ed25519 sign 1d &&
        export_key good p && export_key other s && export_key old o && cat good.asc other.asc >both.asc &&
        pg -u p@zelmar.invalid -o good.sign -b package && pg -u s@zelmar.invalid -o other.sign -b package &&
        pg ${old}1 -u o@zelmar.invalid -o old.sign -b package && pg -u p@zelmar.invalid -o inline.sign -s package &&
        pg -u p@zelmar.invalid -u s@zelmar.invalid -o two.sign -b package &&
        for revocation in home/openpgp-revocs.d/*; do sed 's/^:--/--/' $revocation | pg --import || exit; done &&
        export_key revoked p; made=$?; gpgconf --homedir "$PWD/home" --kill all; exit $made)");
    EXPECT_TRUE(made) << contentOf(scratch / "gpg.log");
    return scratch;
}

TEST(Signature, IsNotJudgedWithoutDescriptors)
{
    const Scratch      scratch;
    std::string        key = signer() / "good.asc", file = signer() / "package", signature = signer() / "good.sign";
    std::string        database = scratch / "db";
    OxaSignatureObject object{nullptr, key.data(), file.data(), signature.data(), database.data(), {}};
    rlimit             limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_EQ(OSVerifyDigitalSignature(&object), 0) << "and GPGME has found its gpg";
    for (rlim_t most = 3; most < 24; ++most) {
        const rlimit few{most, limit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        const s32 status = OSVerifyDigitalSignature(&object);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_TRUE(status == OXA_VERIFIER_UNUSABLE || (status == 0 && most > 3)) << most << ": " << status;
    }
}

TEST(Signature, IsJudged)
{
    if (std::system("gpg --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gpg to sign with";
    for (const Row& row : casesOf("signatures")) {
        const Scratch scratch;
        std::string   name = row[3], key = signer() / row[0], file = signer() / row[1], signature = signer() / row[2];
        std::string   database = scratch / "db";
        // The updater makes it 0600.
        ASSERT_TRUE(scratch.run(::geteuid() == 0 ? "mkdir -m 600 db" : "mkdir -m 700 db"));
        OxaSignatureObject object{name.data(), key.data(), file.data(), signature.data(), database.data(), {}};
        EXPECT_EQ(OSVerifyDigitalSignature(&object) == 0, row[4] == "yes") << testing::PrintToString(row);
        EXPECT_TRUE(std::filesystem::is_empty(database));
    }
    EXPECT_NE(OSVerifyDigitalSignature(nullptr), 0);
    for (int missing = 0; missing < 4; ++missing) {
        astring path[] = "/nowhere", *paths[] = {path, path, path, path};
        paths[missing] = nullptr;
        OxaSignatureObject object{nullptr, paths[0], paths[1], paths[2], paths[3], {}};
        EXPECT_NE(OSVerifyDigitalSignature(&object), 0) << missing;
    }
}

}  // namespace
