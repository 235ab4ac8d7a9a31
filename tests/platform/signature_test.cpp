/** @file signature_test.cpp  Signatures made by GnuPG with keys of the moment. */
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "scratch.h"
#include "smsecure.h"

namespace {

/** Keys and a signed file, made once: a key takes its time. */
class Signer {
public:
    Signer()
    {
        std::filesystem::create_directory(home());
        ::chmod(home().c_str(), 0700);
        ready = gpg("--quick-gen-key 'Zelmar Packages <p@zelmar.invalid>' ed25519 sign never") &&
                gpg("--quick-gen-key 'Somebody Else <s@zelmar.invalid>' ed25519 sign never") &&
                gpg("--faked-system-time 20200101T000000 --quick-gen-key 'Old <o@zelmar.invalid>' ed25519 sign 1d") &&
                exported("p@zelmar.invalid", "good.asc") && exported("s@zelmar.invalid", "other.asc") &&
                exported("o@zelmar.invalid", "old.asc");
        file("package.tar.gz", "the package");
        ready = ready && sign("p@zelmar.invalid", "package.tar.gz", "good.sign") &&
                sign("s@zelmar.invalid", "package.tar.gz", "other.sign") &&
                gpg("--faked-system-time 20200101T000001 -u o@zelmar.invalid -o " + (scratch / "old.sign") + " -b " +
                    (scratch / "package.tar.gz")) &&
                gpg("-u p@zelmar.invalid -u s@zelmar.invalid -o " + (scratch / "two.sign") + " -b " +
                    (scratch / "package.tar.gz")) &&
                gpg("-u p@zelmar.invalid -o " + (scratch / "inline.sign") + " -s " + (scratch / "package.tar.gz")) &&
                revoke();
        file("tampered.tar.gz", "the package!");
        file("garbage", "no key and no signature");
        file("empty", "");
        file("both.asc", contentOf(scratch / "good.asc") + contentOf(scratch / "other.asc"));
    }
    ~Signer()
    {
        if (std::system(("gpgconf --homedir " + home() + " --kill all").c_str()) != 0)
            ADD_FAILURE() << "gpg's helpers of this test could not be ended";
    }

    std::string home() const { return scratch / "home"; }
    std::string operator/(const std::string& name) const { return scratch / name; }

    bool ready = false;

private:
    bool gpg(const std::string& arguments) const
    {
        return std::system(("gpg --homedir " + home() + " --batch --quiet --pinentry-mode loopback --passphrase '' " +
                            arguments + " 2>>" + (scratch / "gpg.log"))
                               .c_str()) == 0;
    }
    bool exported(const std::string& who, const std::string& to) const
    {
        return gpg("--armor -o " + (scratch / to) + " --export " + who);
    }
    bool sign(const std::string& who, const std::string& what, const std::string& to) const
    {
        return gpg("-u " + who + " -o " + (scratch / to) + " -b " + (scratch / what));
    }
    /** The good key, with the revocation that GnuPG prepared for it. */
    bool revoke() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(home() + "/openpgp-revocs.d")) {
            std::string text  = contentOf(entry.path());
            const auto  colon = text.find(":-----BEGIN");
            if (colon != text.npos) text.erase(0, colon + 1);
            file(entry.path().filename(), text);
            if (!gpg("--import " + (scratch / entry.path().filename().string()))) return false;
        }
        return exported("p@zelmar.invalid", "revoked.asc");
    }
    void file(const std::string& name, const std::string& text) const { scratch.write(name, text); }

    const Scratch scratch;
};

const Signer& signer()
{
    static const Signer made;
    return made;
}

struct SignatureCase {
    const char* name;
    const char* commonName;
    const char* key;
    const char* file;
    const char* signature;
    bool        good;
};

class Signature : public testing::TestWithParam<SignatureCase> {
protected:
    void SetUp() override
    {
        if (std::system("gpg --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gpg to sign with";
        ASSERT_TRUE(signer().ready) << contentOf(signer() / "gpg.log");
    }
};

TEST_P(Signature, IsJudged)
{
    const auto&   row = GetParam();
    const Scratch scratch;
    std::string   name = row.commonName, key = signer() / row.key, file = signer() / row.file;
    std::string   signature = signer() / row.signature, database = scratch / "db";
    ASSERT_EQ(::mkdir(database.c_str(), 0700), 0);
    // The updater makes it so; only root gets into it.
    ASSERT_EQ(::chmod(database.c_str(), ::geteuid() == 0 ? 0600 : 0700), 0);

    OxaSignatureObject object{name.data(), key.data(), file.data(), signature.data(), database.data(), {}};
    EXPECT_EQ(OSVerifyDigitalSignature(&object) == 0, row.good);
    EXPECT_TRUE(std::filesystem::is_empty(database));
}

INSTANTIATE_TEST_SUITE_P(
    Files, Signature,
    testing::Values(SignatureCase{"Good", "", "good.asc", "package.tar.gz", "good.sign", true},
                    SignatureCase{"GoodByName", "Zelmar Packages", "good.asc", "package.tar.gz", "good.sign", true},
                    SignatureCase{"OneOfTwoKeys", "Somebody Else", "both.asc", "package.tar.gz", "other.sign", true},
                    SignatureCase{"WrongName", "Zelmar", "good.asc", "package.tar.gz", "good.sign", false},
                    SignatureCase{"NameOfAnotherKey", "Zelmar Packages", "both.asc", "package.tar.gz", "other.sign",
                                  false},
                    SignatureCase{"WrongKey", "", "other.asc", "package.tar.gz", "good.sign", false},
                    SignatureCase{"Tampered", "", "good.asc", "tampered.tar.gz", "good.sign", false},
                    SignatureCase{"ExpiredKey", "", "old.asc", "package.tar.gz", "old.sign", false},
                    SignatureCase{"RevokedKey", "", "revoked.asc", "package.tar.gz", "good.sign", false},
                    SignatureCase{"TwoSignatures", "", "both.asc", "package.tar.gz", "two.sign", false},
                    SignatureCase{"NotDetached", "", "good.asc", "package.tar.gz", "inline.sign", false},
                    SignatureCase{"NoSignature", "", "good.asc", "package.tar.gz", "empty", false},
                    SignatureCase{"GarbageSignature", "", "good.asc", "package.tar.gz", "garbage", false},
                    SignatureCase{"GarbageKey", "", "garbage", "package.tar.gz", "good.sign", false},
                    SignatureCase{"EmptyKey", "", "empty", "package.tar.gz", "good.sign", false},
                    SignatureCase{"AbsentKey", "", "absent", "package.tar.gz", "good.sign", false},
                    SignatureCase{"AbsentFile", "", "good.asc", "absent", "good.sign", false},
                    SignatureCase{"AbsentSignature", "", "good.asc", "package.tar.gz", "absent", false},
                    SignatureCase{"DirectoryAsFile", "", "good.asc", "home", "good.sign", false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SignatureObject, ThatIsIncompleteIsRefused)
{
    astring            path[] = "/nowhere";
    OxaSignatureObject object{nullptr, path, path, path, path, {}};
    EXPECT_NE(OSVerifyDigitalSignature(nullptr), 0);
    for (astring* OxaSignatureObject::*member : {&OxaSignatureObject::pKey, &OxaSignatureObject::pVerifyFile,
                                                 &OxaSignatureObject::pSignFile, &OxaSignatureObject::pSignDB}) {
        OxaSignatureObject lacking = object;
        lacking.*member            = nullptr;
        EXPECT_NE(OSVerifyDigitalSignature(&lacking), 0);
    }
}

}  // namespace
