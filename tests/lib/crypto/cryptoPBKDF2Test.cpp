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

/* RFC 6070, but for the row of 16,777,216 rounds. */
TEST(CryptoPBKDF2, KnownAnswers) {
    using namespace std::literals;
    const std::tuple<std::string_view, std::string_view, int, const char *> rows[] = {
        {"password", "salt", 1, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
        {"password", "salt", 2, "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957"},
        {"password", "salt", 4096, "4b007901b765489abead49d926f721d065a429c1"},
        {"passwordPASSWORDpassword", "saltSALTsaltSALTsaltSALTsaltSALTsalt", 4096,
         "3d2eec4fe41c849b80c8d83662c0e44a8b291a964cf2f07038"},
        {"pass\0word"sv, "sa\0lt"sv, 4096, "56fa6aa75548099dcc37d7f03425e0c3"},
    };
    for (const auto &[password, salt, rounds, key] : rows)
        EXPECT_EQ(key, Derive(password, salt, rounds, strlen(key) / 2))
            << password << " " << rounds;
}

/* The definition, block by block, with the keyed hash of the facade. */
std::string DeriveByDefinition(std::string_view password, std::string_view salt, int rounds,
                               gsize size) {
    Bytes out;
    for (guint8 block = 1; out.size() < size; block++) {
        Bytes input(salt.begin(), salt.end());
        input.insert(input.end(), {0, 0, 0, block});
        Bytes sum(20);
        for (int i = 0; i < rounds; i++) {
            input = HmacSha1({password.begin(), password.end()}, input);
            for (gsize at = 0; at < sum.size(); at++)
                sum[at] ^= input[at];
        }
        out.insert(out.end(), sum.begin(), sum.end());
    }
    out.resize(size);
    return ToHex(out);
}

TEST(CryptoPBKDF2, PasswordsSaltsAndResultsOfAnySize) {
    const std::string text(200, 'p');
    for (gsize passwordSize : {0, 1, 63, 64, 65, 200}) {
        const std::string_view password = std::string_view(text).substr(0, passwordSize);
        for (gsize saltSize : {0, 8, 60, 200}) {
            const std::string_view salt = std::string_view(text).substr(0, saltSize);
            for (gsize size : {0, 1, 20, 21, 100})
                EXPECT_EQ(DeriveByDefinition(password, salt, 3, size),
                          Derive(password, salt, 3, size))
                    << passwordSize << " " << saltSize << " " << size;
        }
    }
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
