// What does our cryptography cost beside OpenSSL's own, called directly?
//
// The peers are the EVP functions of the libcrypto that this program is linked with, the kernel's random bytes, and GLib's
// strings. What can be kept between two rounds (contexts, keys where the row says so) is kept on both sides.
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <crypto/crypto.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>
#include <ssl/ssl.h>
#include <sys/random.h>

#include "bench/ratio.h"
#include "lib/crypto/cryptoInt.h"
#include "lib/crypto/shaBodies.h"
#include "lib/misc/glibPtr.h"

namespace {

using MdCtxPtr = std::unique_ptr<EVP_MD_CTX, Release<EVP_MD_CTX_free>>;
using CipherCtxPtr = std::unique_ptr<EVP_CIPHER_CTX, Release<EVP_CIPHER_CTX_free>>;
using MacPtr = std::unique_ptr<EVP_MAC, Release<EVP_MAC_free>>;
using MacCtxPtr = std::unique_ptr<EVP_MAC_CTX, Release<EVP_MAC_CTX_free>>;
using KeyPtr = std::unique_ptr<CryptoKey, Release<CryptoKey_Free>>;

using Bytes = std::vector<guint8>;

constexpr gsize kBulk = 65536;
constexpr gsize kShort = 64;
constexpr gsize kSector = CRYPTO_SECTOR_SIZE;
constexpr gsize kSealed = 1024;
constexpr int kPairs = 1000;

[[noreturn]] void Fail(const char *what) {
    g_error("crypto bench: %s", what);
}

void Check(bool isDone, const char *what) {
    if (!isDone)
        Fail(what);
}

/* Registers the side of a row: round() is what is measured. */
void Add(const std::string &name, const std::function<void()> &round) {
    benchmark::RegisterBenchmark(name.c_str(), [round](benchmark::State &state) {
        for (auto _ : state)
            round();
    });
}

/* ---- hashes and MACs ---- */

void AddHash(const std::string &name, CryptoHash *hash, const EVP_MD *md, gsize size) {
    const auto data = std::make_shared<Bytes>(size, 'x');
    const std::shared_ptr<EVP_MD_CTX> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    Add(name + "/ours", [=] {
        guint8 out[32];
        Check(CryptoHash_Compute(hash, data->data(), data->size(), out,
                                 CryptoHash_GetOutputSize(hash)) == 0,
              "hash");
        benchmark::DoNotOptimize(out);
    });
    Add(name + "/peer", [=] {
        guint8 out[32];
        Check(EVP_DigestInit_ex(ctx.get(), md, nullptr) == 1 &&
                  EVP_DigestUpdate(ctx.get(), data->data(), data->size()) == 1 &&
                  EVP_DigestFinal_ex(ctx.get(), out, nullptr) == 1,
              "EVP digest");
        benchmark::DoNotOptimize(out);
    });
}

/* HMAC by EVP with one context; the key is set each time. */
class EvpHmac {
public:
    explicit EvpHmac(const char *digest)
        : mac(EVP_MAC_fetch(nullptr, "HMAC", nullptr)), ctx(EVP_MAC_CTX_new(mac.get())) {
        const OSSL_PARAM parameters[] = {
            OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char *>(digest), 0),
            OSSL_PARAM_construct_end()};
        Check(EVP_MAC_CTX_set_params(ctx.get(), parameters) == 1, "EVP HMAC");
    }
    void Compute(const guint8 *key, gsize keySize, const guint8 *data, gsize size, guint8 *out) {
        size_t outSize = 0;
        Check(EVP_MAC_init(ctx.get(), key, keySize, nullptr) == 1 &&
                  EVP_MAC_update(ctx.get(), data, size) == 1 &&
                  EVP_MAC_final(ctx.get(), out, &outSize, 32) == 1,
              "EVP HMAC");
    }

private:
    MacPtr mac;
    MacCtxPtr ctx;
};

void AddHmac(const std::string &name, CryptoKeyedHash *keyedHash, const char *digest, gsize size) {
    const auto data = std::make_shared<Bytes>(size, 'x');
    const auto key = std::make_shared<Bytes>(32, 'k');
    const auto evp = std::make_shared<EvpHmac>(digest);
    Add(name + "/ours", [=] {
        guint8 out[32];
        Check(CryptoKeyedHash_Compute(keyedHash, key->data(), key->size(), data->data(),
                                      data->size(), out,
                                      CryptoKeyedHash_GetOutputSize(keyedHash)) == 0,
              "HMAC");
        benchmark::DoNotOptimize(out);
    });
    Add(name + "/peer", [=] {
        guint8 out[32];
        evp->Compute(key->data(), key->size(), data->data(), data->size(), out);
        benchmark::DoNotOptimize(out);
    });
}

/* ---- AES ---- */

KeyPtr MakeKey(CryptoCipher *cipher, gsize size) {
    const Bytes bytes(size, 'k');
    CryptoKey *key = nullptr;
    Check(CryptoKey_Create(cipher, bytes.data(), bytes.size(), &key) == 0, "key");
    return KeyPtr(key);
}

/* CBC by EVP, whose key is set once; a round sets the initialization vector. */
class EvpCbc {
public:
    EvpCbc(const EVP_CIPHER *cipher, int encrypt) : ctx(EVP_CIPHER_CTX_new()) {
        const Bytes key(32, 'k');
        Check(EVP_CipherInit_ex(ctx.get(), cipher, nullptr, key.data(), nullptr, encrypt) == 1,
              "EVP key");
    }
    int Run(const guint8 *iv, const guint8 *in, gsize size, guint8 *out, bool isPadded = false) {
        int count = 0, last = 0;
        Check(EVP_CipherInit_ex(ctx.get(), nullptr, nullptr, nullptr, iv, -1) == 1 &&
                  EVP_CIPHER_CTX_set_padding(ctx.get(), isPadded) == 1 &&
                  EVP_CipherUpdate(ctx.get(), out, &count, in, static_cast<int>(size)) == 1 &&
                  (!isPadded || EVP_CipherFinal_ex(ctx.get(), out + count, &last) == 1),
              "EVP CBC");
        return count + last;
    }

private:
    CipherCtxPtr ctx;
};

void AddCbc(const std::string &name, CryptoCipher *cipher, gsize keySize, const EVP_CIPHER *evp,
            bool isEncrypting) {
    const auto in = std::make_shared<Bytes>(kBulk, 'x');
    const auto out = std::make_shared<Bytes>(kBulk);
    const std::shared_ptr<CryptoKey> key(MakeKey(cipher, keySize).release(), CryptoKey_Free);
    const auto peer = std::make_shared<EvpCbc>(evp, isEncrypting ? 1 : 0);
    Add(name + "/ours", [=] {
        guint8 iv[16] = {};
        auto *crypt = isEncrypting ? CryptoKey_CBCEncrypt : CryptoKey_CBCDecrypt;
        Check(crypt(key.get(), iv, sizeof iv, in->data(), out->data(), in->size()) == 0, "CBC");
    });
    Add(name + "/peer", [=] {
        const guint8 iv[16] = {};
        peer->Run(iv, in->data(), in->size(), out->data());
    });
}

void AddSector(const std::string &name, bool isEncrypting) {
    const auto in = std::make_shared<Bytes>(kSector, 'x');
    const auto out = std::make_shared<Bytes>(kSector);
    const Bytes secret(16, 's');
    const std::shared_ptr<CryptoSectorCipherCtx> ctx(
        CryptoSector_CipherCtxCreate(MakeKey(CryptoCipherAES_128, 16).get(), secret.data(),
                                     secret.size()),
        CryptoSector_CipherCtxRelease);
    const auto peer = std::make_shared<EvpCbc>(EVP_aes_128_cbc(), isEncrypting ? 1 : 0);
    Add(name + "/ours", [=] {
        Check(CryptoSector_Crypt(isEncrypting, ctx.get(), 7, in->data(), out->data()) == 0,
              "sector");
    });
    Add(name + "/peer", [=] {
        const guint8 iv[16] = {};
        peer->Run(iv, in->data(), in->size(), out->data());
    });
}

void AddSeal(const std::string &name) {
    const auto in = std::make_shared<Bytes>(kSealed, 'x');
    const std::shared_ptr<CryptoKey> key(MakeKey(CryptoCipherAES_128, 16).release(),
                                         CryptoKey_Free);
    const auto cbc = std::make_shared<EvpCbc>(EVP_aes_128_cbc(), 1);
    const auto hmac = std::make_shared<EvpHmac>("SHA1");
    Add(name + "/ours", [=] {
        guint8 *out = nullptr;
        gsize outSize = 0;
        Check(CryptoKey_EncryptWithMAC(key.get(), CryptoKeyedHash_HMAC_SHA_1, in->data(),
                                       in->size(), &out, &outSize) == 0,
              "seal");
        Crypto_Free(out, outSize);
    });
    Add(name + "/peer", [=] {
        auto *out = static_cast<guint8 *>(malloc(kSealed + 16 + 16 + 20));
        const guint8 macKey[16] = {};
        Check(RAND_bytes(out, 16) == 1, "RAND_bytes");
        const int size = cbc->Run(out, in->data(), in->size(), out + 16, true);
        hmac->Compute(macKey, sizeof macKey, in->data(), in->size(), out + 16 + size);
        free(out);
    });
}

/* ---- the rest ---- */

void AddPbkdf2(const std::string &name) {
    constexpr int kRounds = 1000;
    static constexpr char kPassword[] = "correct horse";
    static constexpr guint8 kSalt[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    Add(name + "/ours", [] {
        guint8 out[16];
        Check(CryptoPBKDF2_HMAC_SHA1_Compute(kRounds, reinterpret_cast<const guint8 *>(kPassword),
                                             strlen(kPassword), kSalt, sizeof kSalt, out,
                                             sizeof out) == 0,
              "PBKDF2");
        benchmark::DoNotOptimize(out);
    });
    Add(name + "/peer", [] {
        guint8 out[16];
        Check(PKCS5_PBKDF2_HMAC(kPassword, static_cast<int>(strlen(kPassword)), kSalt, sizeof kSalt,
                                kRounds, EVP_sha1(), sizeof out, out) == 1,
              "PKCS5_PBKDF2_HMAC");
        benchmark::DoNotOptimize(out);
    });
}

void AddRandom(const std::string &name) {
    Add(name + "/ours", [] {
        guint8 out[32];
        Check(CryptoRandom_GetBytes(out, sizeof out) == 0, "random");
        benchmark::DoNotOptimize(out);
    });
    Add(name + "/peer", [] {
        guint8 out[32];
        Check(getrandom(out, sizeof out, 0) == sizeof out, "getrandom");
        benchmark::DoNotOptimize(out);
    });
}

void AddDict(const std::string &exportName, const std::string &importName) {
    CryptoDict *made = nullptr;
    Check(CryptoDict_Create(&made) == 0, "dictionary");
    const std::shared_ptr<CryptoDict> dict(made, CryptoDict_Free);
    const auto pairs = std::make_shared<std::vector<std::pair<std::string, std::string>>>();
    for (int i = 0; i < kPairs; i++) {
        pairs->emplace_back("key number " + std::to_string(i), "value of it, " + std::to_string(i));
        Check(CryptoDict_Set(made, pairs->back().first.c_str(), pairs->back().second.c_str()) == 0,
              "dictionary");
    }
    char *exported = nullptr;
    gsize size = 0;
    Check(CryptoDict_Export(made, FALSE, &exported, &size) == 0, "export");
    const auto text = std::make_shared<std::string>(exported, size);
    Crypto_FreeString(exported);

    Add(exportName + "/ours", [=] {
        char *out = nullptr;
        gsize outSize = 0;
        Check(CryptoDict_Export(dict.get(), FALSE, &out, &outSize) == 0, "export");
        Crypto_FreeString(out);
    });
    Add(exportName + "/peer", [=] {
        GString *out = g_string_new(nullptr);
        for (const auto &[key, value] : *pairs) {
            g_string_append_len(out, key.data(), static_cast<gssize>(key.size()));
            g_string_append_c(out, '=');
            g_string_append_len(out, value.data(), static_cast<gssize>(value.size()));
            g_string_append_c(out, ':');
        }
        benchmark::DoNotOptimize(out->str);
        g_string_free(out, TRUE);
    });
    Add(importName + "/ours", [=] {
        CryptoDict *read = nullptr;
        Check(CryptoDict_CreateAndImport(text->data(), text->size(), &read) == 0, "import");
        CryptoDict_Free(read);
    });
    Add(importName + "/peer", [=] {
        char **fields = g_strsplit(text->c_str(), ":", -1);
        benchmark::DoNotOptimize(fields);
        g_strfreev(fields);
    });
}

} // namespace

int main(int argc, char **argv) {
    SSL_Init(nullptr, nullptr, nullptr);
    AddHash("sha1Bulk", CryptoHash_SHA_1, EVP_sha1(), kBulk);
    AddHash("sha256Bulk", CryptoHash_SHA_256, EVP_sha256(), kBulk);
    AddHmac("hmac1Bulk", CryptoKeyedHash_HMAC_SHA_1, "SHA1", kBulk);
    AddHmac("hmac256Bulk", CryptoKeyedHash_HMAC_SHA_256, "SHA256", kBulk);
    AddHash("sha1Short", CryptoHash_SHA_1, EVP_sha1(), kShort);
    AddHash("sha256Short", CryptoHash_SHA_256, EVP_sha256(), kShort);
    AddHmac("hmac1Short", CryptoKeyedHash_HMAC_SHA_1, "SHA1", kShort);
    AddHmac("hmac256Short", CryptoKeyedHash_HMAC_SHA_256, "SHA256", kShort);
    AddCbc("aes128Encrypt", CryptoCipherAES_128, 16, EVP_aes_128_cbc(), true);
    AddCbc("aes128Decrypt", CryptoCipherAES_128, 16, EVP_aes_128_cbc(), false);
    AddCbc("aes256Encrypt", CryptoCipherAES_256, 32, EVP_aes_256_cbc(), true);
    AddCbc("aes256Decrypt", CryptoCipherAES_256, 32, EVP_aes_256_cbc(), false);
    AddSector("sectorEncrypt", true);
    AddSector("sectorDecrypt", false);
    AddPbkdf2("pbkdf2");
    AddRandom("random");
    AddSeal("seal");
    AddDict("dictExport", "dictImport");

    const bool isPortable = &ShaBody_Get() == &ShaBodies().back();
    const double bulk = 1 / (isPortable ? 0.35 : 0.9);
    const RatioRow rows[] = {
        {"sha1Bulk", "SHA-1 of 64 KB, against EVP", bulk},
        {"sha256Bulk", "SHA-256 of 64 KB, against EVP", bulk},
        {"hmac1Bulk", "HMAC-SHA-1 of 64 KB, against EVP", bulk},
        {"hmac256Bulk", "HMAC-SHA-256 of 64 KB, against EVP", bulk},
        {"sha1Short", "SHA-1 of 64 bytes, against EVP", 1 / 0.9},
        {"sha256Short", "SHA-256 of 64 bytes, against EVP", 1 / 0.9},
        {"hmac1Short", "HMAC-SHA-1 of 64 bytes, key set each time", 1 / 0.9},
        {"hmac256Short", "HMAC-SHA-256 of 64 bytes, key set each time", 1 / 0.9},
        {"aes128Encrypt", "AES-128-CBC, 64 KB encrypted, against EVP", 1 / 0.9},
        {"aes128Decrypt", "AES-128-CBC, 64 KB decrypted, against EVP", 1 / 0.85},
        {"aes256Encrypt", "AES-256-CBC, 64 KB encrypted, against EVP", 1 / 0.9},
        {"aes256Decrypt", "AES-256-CBC, 64 KB decrypted, against EVP", 1 / 0.85},
        {"sectorEncrypt", "a sector encrypted, against EVP-CBC of 512 bytes", 1 / 0.4},
        {"sectorDecrypt", "a sector decrypted, against EVP-CBC of 512 bytes", 1 / 0.4},
        {"pbkdf2", "PBKDF2, 1,000 rounds, against PKCS5_PBKDF2_HMAC", 1.2},
        {"random", "32 random bytes, against getrandom", 1.0},
        {"seal", "1 KB encrypted with MAC, against the same by EVP", 1.5},
        {"dictExport", "1,000 pairs as text, against a GString of the same bytes", 3.0},
        {"dictImport", "1,000 pairs read and freed, against g_strsplit", 3.0},
    };
    const int result = Ratio_Main(argc, argv, rows);
    SSL_Exit();
    return result;
}
