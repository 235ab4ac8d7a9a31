/** @file signature_test.cpp  Signatures made by GnuPG with keys of the moment. */
#include <gtest/gtest.h>

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

TEST(Signature, IsJudged)
{
    if (std::system("gpg --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gpg to sign with";
    const struct {
        const char *name, *key, *file, *signature;
        bool        good;
    } rows[] = {{"", "good.asc", "package", "good.sign", true},
                {"Zelmar Packages", "good.asc", "package", "good.sign", true},
                {"Somebody Else", "both.asc", "package", "other.sign", true},
                {"Zelmar", "good.asc", "package", "good.sign", false},
                {"Zelmar Packages", "both.asc", "package", "other.sign", false},
                {"", "other.asc", "package", "good.sign", false},
                {"", "good.asc", "tampered", "good.sign", false},
                {"", "old.asc", "package", "old.sign", false},
                {"", "revoked.asc", "package", "good.sign", false},
                {"", "both.asc", "package", "two.sign", false},
                {"", "good.asc", "package", "inline.sign", false},
                {"", "good.asc", "package", "empty", false},
                {"", "good.asc", "package", "garbage", false},
                {"", "garbage", "package", "good.sign", false},
                {"", "empty", "package", "good.sign", false},
                {"", "absent", "package", "good.sign", false},
                {"", "good.asc", "absent", "good.sign", false},
                {"", "good.asc", "package", "absent", false},
                {"", "good.asc", "home", "good.sign", false}};
    for (const auto& row : rows) {
        const Scratch scratch;
        std::string   name = row.name, key = signer() / row.key, file = signer() / row.file;
        std::string   signature = signer() / row.signature, database = scratch / "db";
        ASSERT_TRUE(
            scratch.run(::geteuid() == 0 ? "mkdir -m 600 db" : "mkdir -m 700 db"));  // the updater makes it 0600
        OxaSignatureObject object{name.data(), key.data(), file.data(), signature.data(), database.data(), {}};
        EXPECT_EQ(OSVerifyDigitalSignature(&object) == 0, row.good)
            << row.name << ' ' << row.key << ' ' << row.file << ' ' << row.signature;
        EXPECT_TRUE(std::filesystem::is_empty(database));
    }
    astring path[] = "/nowhere";
    EXPECT_NE(OSVerifyDigitalSignature(nullptr), 0);
    for (int missing = 0; missing < 4; ++missing) {
        astring* paths[] = {path, path, path, path};
        paths[missing]   = nullptr;
        OxaSignatureObject object{nullptr, paths[0], paths[1], paths[2], paths[3], {}};
        EXPECT_NE(OSVerifyDigitalSignature(&object), 0) << missing;
    }
}

}  // namespace
