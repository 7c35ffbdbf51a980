#include <crypto/cryptoPassword.h>

#include "lib/crypto/cryptoInt.h"
#include "tests/lib/crypto/keys.h"

namespace {

std::string Derive(std::string_view password, std::string_view salt, int rounds, gsize size) {
    Bytes out(size, 0xee);
    const CryptoError error = CryptoPBKDF2_HMAC_SHA1_Compute(
        rounds, reinterpret_cast<const guint8 *>(password.data()), password.size(),
        reinterpret_cast<const guint8 *>(salt.data()), salt.size(), out.data(), out.size());
    return error == CRYPTO_ERROR_SUCCESS ? ToHex(out) : "error " + std::to_string(error);
}

/* RFC 6070, but for the row of 16,777,216 rounds; and texts shorter and longer than blocks, by another program. */
TEST(CryptoPBKDF2, KnownAnswers) {
    using namespace std::literals;
    const std::tuple<std::string, std::string, int, const char *> rows[] = {
        {"password", "salt", 1, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
        {"password", "salt", 2, "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957"},
        {"password", "salt", 4096, "4b007901b765489abead49d926f721d065a429c1"},
        {"passwordPASSWORDpassword", "saltSALTsaltSALTsaltSALTsaltSALTsalt", 4096,
         "3d2eec4fe41c849b80c8d83662c0e44a8b291a964cf2f07038"},
        {"pass\0word"s, "sa\0lt"s, 4096, "56fa6aa75548099dcc37d7f03425e0c3"},
        {"", "", 3, "96"},
        {std::string(1, 'p'), std::string(8, 'p'), 3, "7c5531ad37b860fa237227501cbfc537ae1df806"},
        {std::string(63, 'p'), std::string(60, 'p'), 3,
         "192a1a1e26956c374234a27ec18a6dcc28c4e01779"},
        {std::string(64, 'p'), std::string(200, 'p'), 3,
         "b58cba3456dfd375e1cf923fc32a0e89f6cb88c47ab62d54fc5097831e27b29229cb695a50f8c16c"},
        {std::string(65, 'p'), std::string(8, 'p'), 3, "4aaece82043c2900f280872c87fd3278bb1eadbf"},
        {std::string(200, 'p'), "", 3,
         "0bb31e6e8d362600abea9c13ac06af68f60adb2e662fa34f3826a28be6bc0ac94811610449473316ae1055136"
         "e20dc0f9190"},
    };
    for (const auto &[password, salt, rounds, key] : rows)
        EXPECT_EQ(key, Derive(password, salt, rounds, strlen(key) / 2))
            << password.size() << " " << rounds;
}

TEST(CryptoPBKDF2, LessThanOneRoundIsRefusedAndTheOutputZeroed) {
    for (int rounds : {0, -1, G_MININT}) {
        Bytes out(5, 0xee);
        EXPECT_EQ(1u, CryptoPBKDF2_HMAC_SHA1_Compute(rounds, nullptr, 0, nullptr, 0, out.data(),
                                                     out.size()));
        EXPECT_EQ(Bytes(5), out);
    }
}

TEST(CryptoPass2Key, NamesAreExact) {
    CryptoPass2Key *pass2key = nullptr;
    EXPECT_EQ(0u, CryptoPass2Key_FromString("PBKDF2-HMAC-SHA-1", &pass2key));
    EXPECT_EQ(CryptoPass2Key_PBKDF2_HMAC_SHA_1, pass2key);
    EXPECT_STREQ("PBKDF2-HMAC-SHA-1", CryptoPass2Key_ToString(pass2key));
    EXPECT_EQ(2u, CryptoPass2Key_FromString("PBKDF2-HMAC-SHA-256", &pass2key));
    EXPECT_EQ(nullptr, pass2key);
}

} // namespace
