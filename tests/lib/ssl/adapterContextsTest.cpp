// The adapter of libcrypto: contexts and records of the caller, and other behaviour of 1.0.2.
#include <array>
#include <cstring>

#include "tests/lib/crypto/bytes.h"
#include "tests/lib/ssl/certifiedPair.h"

extern "C" {
void __wrap_EVP_MD_CTX_init(void *ctx);
int __wrap_EVP_MD_CTX_cleanup(void *ctx);
void *__wrap_EVP_MD_CTX_create(void);
void __wrap_EVP_MD_CTX_destroy(void *ctx);
const EVP_MD *__wrap_EVP_MD_CTX_md(const void *ctx);
int __wrap_EVP_DigestInit(void *ctx, const EVP_MD *digest);
int __wrap_EVP_DigestUpdate(void *ctx, const void *data, size_t size);
int __wrap_EVP_DigestFinal(void *ctx, unsigned char *result, unsigned int *size);
int __wrap_EVP_DigestFinal_ex(void *ctx, unsigned char *result, unsigned int *size);
const EVP_MD *__wrap_EVP_sha(void);
const BIO_METHOD *__wrap_BIO_f_md(void);
void __wrap_EVP_CIPHER_CTX_init(void *ctx);
int __wrap_EVP_CIPHER_CTX_cleanup(void *ctx);
int __wrap_EVP_CIPHER_CTX_block_size(const void *ctx);
int __wrap_EVP_CIPHER_CTX_set_padding(void *ctx, int padding);
using CipherInitFn = int(void *ctx, const EVP_CIPHER *cipher, void *engine,
                         const unsigned char *key, const unsigned char *iv);
using CipherUpdateFn = int(void *ctx, unsigned char *out, int *outSize, const unsigned char *in,
                           int inSize);
using CipherFinalFn = int(void *ctx, unsigned char *out, int *outSize);
CipherInitFn __wrap_EVP_EncryptInit_ex, __wrap_EVP_DecryptInit_ex;
CipherUpdateFn __wrap_EVP_EncryptUpdate, __wrap_EVP_DecryptUpdate;
CipherFinalFn __wrap_EVP_EncryptFinal, __wrap_EVP_EncryptFinal_ex, __wrap_EVP_DecryptFinal_ex;
int __wrap_EVP_EncryptInit(void *ctx, const EVP_CIPHER *cipher, const unsigned char *key,
                           const unsigned char *iv);
const EVP_CIPHER *__wrap_EVP_des_cbc(void);
const EVP_CIPHER *__wrap_EVP_bf_cbc(void);
const EVP_CIPHER *__wrap_EVP_des_ede3_cbc(void);
void *__wrap_CRYPTO_malloc(long size, const char *file,
                           int line); /* the size is an int: the upper half is ignored */
void __wrap_CRYPTO_free(void *pointer);
int __wrap_X509_STORE_get_by_subject(X509_STORE_CTX *storeContext, int type, X509_NAME *name,
                                     void *result);
void __wrap_X509_OBJECT_free_contents(void *object);
int __wrap_X509_cmp(const X509 *first, const X509 *second);
}

namespace {

using namespace std::string_view_literals;

/* Storage of a caller with the size of 1.0.2, followed by guard bytes. */
template <size_t size> struct Storage {
    alignas(8) std::array<unsigned char, size + 16> bytes;
    explicit Storage(unsigned char filling) {
        bytes.fill(filling);
        std::fill(bytes.begin() + size, bytes.end(), 0x5a);
    }
    ~Storage() {
        for (size_t i = size; i < bytes.size(); i++)
            EXPECT_EQ(0x5a, bytes[i]) << "written behind the end";
    }
    void *At() { return bytes.data(); }
};
using DigestStorage = Storage<48>;
using CipherStorage = Storage<168>;

struct SSLAdapterContexts : testing::Test {
    SSLAdapterContexts() { SSL_Init(nullptr, nullptr, nullptr); }
};

constexpr char kSha1OfAbc[] = "a9993e364706816aba3e25717850c26c9cd0d89d";

std::string Finish(void *ctx, decltype(__wrap_EVP_DigestFinal) *final = __wrap_EVP_DigestFinal) {
    unsigned char result[64];
    unsigned int size = 0;
    return final(ctx, result, &size) == 1 ? ToHex(result, size) : "failed";
}

TEST_F(SSLAdapterContexts, DigestsWorkInStorageOfAnyContents) {
    for (const char filling : "\x00\xa5\xff"sv) {
        DigestStorage ctx(static_cast<unsigned char>(filling));
        for (int round = 0; round < 2; round++) {
            ASSERT_EQ(1, __wrap_EVP_DigestInit(ctx.At(), __wrap_EVP_sha1()));
            EXPECT_EQ(__wrap_EVP_sha1(), __wrap_EVP_MD_CTX_md(ctx.At()));
            EXPECT_EQ(1, __wrap_EVP_DigestUpdate(ctx.At(), "abc", 3));
            EXPECT_EQ(kSha1OfAbc, Finish(ctx.At()));
        }
        EXPECT_EQ(nullptr, __wrap_EVP_MD_CTX_md(ctx.At())) << "the end cleans up";
        __wrap_EVP_MD_CTX_init(ctx.At());
        EXPECT_EQ(0, __wrap_EVP_DigestInit(ctx.At(), __wrap_EVP_sha())) << "there is no SHA-0";
        EXPECT_EQ(1, __wrap_EVP_MD_CTX_cleanup(ctx.At()));
    }
    void *ctx = __wrap_EVP_MD_CTX_create();
    __wrap_EVP_DigestInit(ctx, __wrap_EVP_sha1());
    __wrap_EVP_DigestUpdate(ctx, "abc", 3);
    EXPECT_EQ(kSha1OfAbc, Finish(ctx, __wrap_EVP_DigestFinal_ex));
    __wrap_EVP_MD_CTX_destroy(ctx);
    __wrap_EVP_MD_CTX_destroy(nullptr);
    __wrap_ERR_clear_error();
}

/* OpenSSL returns a context of its own there. It is used, and nothing is written into it. */
TEST_F(SSLAdapterContexts, TheContextOfADigestBioIsUsedDirectly) {
    constexpr int kSetDigest = 111;
    constexpr int kGetContext = 120;
    BIO *bio = __wrap_BIO_new(__wrap_BIO_f_md());
    ASSERT_EQ(1, __wrap_BIO_ctrl(bio, kSetDigest, 0, const_cast<EVP_MD *>(__wrap_EVP_sha1())));
    for (int round = 0; round < 2; round++) {
        void *ctx = nullptr;
        ASSERT_EQ(1, __wrap_BIO_ctrl(bio, kGetContext, 0, &ctx));
        EXPECT_EQ(1, __wrap_EVP_DigestUpdate(ctx, "abc", 3));
        EXPECT_EQ(kSha1OfAbc, Finish(ctx));
        ASSERT_EQ(1, __wrap_BIO_ctrl(bio, kSetDigest, 0, const_cast<EVP_MD *>(__wrap_EVP_sha1())));
    }
    EXPECT_EQ(1, __wrap_BIO_free(bio));
}

constexpr unsigned char kKey[24] = "0123456789abcdefghijklm";
constexpr unsigned char kIv[16] = "fedcba987654321";

std::string Crypt(void *ctx, std::string_view text, CipherUpdateFn *update, CipherFinalFn *final) {
    unsigned char out[64];
    int first = 0;
    int last = 0;
    if (update(ctx, out, &first, reinterpret_cast<const unsigned char *>(text.data()),
               static_cast<int>(text.size())) != 1 ||
        final(ctx, out + first, &last) != 1)
        return "failed";
    return {reinterpret_cast<char *>(out), static_cast<size_t>(first + last)};
}

/* Only the provider "legacy" has DES and Blowfish. */
TEST_F(SSLAdapterContexts, CiphersEncryptAndDecryptAlsoTheLegacyOnes) {
    const std::tuple<const char *, const EVP_CIPHER *, int> rows[] = {
        {"AES-128", __wrap_EVP_aes_128_cbc(), 16},
        {"3DES", __wrap_EVP_des_ede3_cbc(), 8},
        {"DES", __wrap_EVP_des_cbc(), 8},
        {"Blowfish", __wrap_EVP_bf_cbc(), 8}};
    for (const auto &[name, cipher, blockSize] : rows) {
        SCOPED_TRACE(name);
        CipherStorage there(0xa5);
        ASSERT_EQ(1, __wrap_EVP_EncryptInit(there.At(), cipher, kKey, kIv));
        EXPECT_EQ(blockSize, __wrap_EVP_CIPHER_CTX_block_size(there.At()));
        const std::string secret = Crypt(there.At(), "some text of 23 letters",
                                         __wrap_EVP_EncryptUpdate, __wrap_EVP_EncryptFinal);
        EXPECT_EQ(blockSize == 8 ? 24u : 32u, secret.size());
        EXPECT_EQ(1, __wrap_EVP_CIPHER_CTX_cleanup(there.At()));

        CipherStorage back(0);
        ASSERT_EQ(1, __wrap_EVP_DecryptInit_ex(back.At(), cipher, nullptr, kKey, kIv));
        EXPECT_EQ("some text of 23 letters",
                  Crypt(back.At(), secret, __wrap_EVP_DecryptUpdate, __wrap_EVP_DecryptFinal_ex));
        EXPECT_EQ(1, __wrap_EVP_CIPHER_CTX_cleanup(back.At()));
    }
}

TEST_F(SSLAdapterContexts, PaddingIsKeptForTheNextCipher) {
    CipherStorage ctx(0xff);
    __wrap_EVP_CIPHER_CTX_init(ctx.At());
    EXPECT_EQ(0, __wrap_EVP_CIPHER_CTX_block_size(ctx.At()));
    EXPECT_EQ(1, __wrap_EVP_CIPHER_CTX_set_padding(ctx.At(), 0));
    ASSERT_EQ(1, __wrap_EVP_EncryptInit_ex(ctx.At(), __wrap_EVP_aes_128_cbc(), nullptr, kKey, kIv));
    EXPECT_EQ(16u, Crypt(ctx.At(), "sixteen letters.", __wrap_EVP_EncryptUpdate,
                         __wrap_EVP_EncryptFinal_ex)
                       .size());
    EXPECT_EQ(1, __wrap_EVP_CIPHER_CTX_cleanup(ctx.At()));
}

TEST_F(SSLAdapterContexts, TheSizeOfAnAllocationIsAnInt) {
    void *memory = __wrap_CRYPTO_malloc(0x7fffffff00000010L, __FILE__, __LINE__);
    ASSERT_NE(nullptr, memory);
    memset(memory, 1, 16);
    __wrap_CRYPTO_free(memory);
    for (long size : {0L, 0xffffffffL})
        EXPECT_EQ(nullptr, __wrap_CRYPTO_malloc(size, __FILE__, __LINE__)) << size;
}

TEST_F(SSLAdapterContexts, ExDataClassesKeepTheirNumbers) {
    for (int known : {0, 1, 4, 5, 6, 10, 13, 100, 7000})
        EXPECT_LE(0, __wrap_CRYPTO_get_ex_new_index(known, 0, nullptr, nullptr, nullptr, nullptr))
            << known;
    for (int unknown : {-1, 14, 99})
        EXPECT_EQ(-1,
                  __wrap_CRYPTO_get_ex_new_index(unknown, 0, nullptr, nullptr, nullptr, nullptr))
            << unknown;
}

TEST_F(SSLAdapterContexts, VerifyTextsAreTheFormerOnes) {
    const std::pair<int, const char *> rows[] = {
        {0, "ok"},
        {10, "certificate has expired"},
        {18, "self signed certificate"},
        {19, "self signed certificate in certificate chain"},
        {24, "invalid CA certificate"},
        {26, "unsupported certificate purpose"}};
    for (const auto &[code, text] : rows)
        EXPECT_STREQ(text, __wrap_X509_verify_cert_error_string(code));
}

TEST_F(SSLAdapterContexts, CertificatesAreFoundBySubject) {
    const CertPtr cert = Parse(ServerCertificate());
    X509_STORE *store = __wrap_X509_STORE_new();
    ASSERT_EQ(1, __wrap_X509_STORE_add_cert(store, cert.get()));
    X509_STORE_CTX *search = __wrap_X509_STORE_CTX_new();
    ASSERT_EQ(1, __wrap_X509_STORE_CTX_init(search, store, nullptr, nullptr));

    struct {
        int type;
        X509 *cert;
    } found = {0, nullptr};
    EXPECT_EQ(1, __wrap_X509_STORE_get_by_subject(
                     search, 1, __wrap_X509_get_subject_name(cert.get()), &found));
    __wrap_X509_STORE_CTX_free(search);
    __wrap_X509_STORE_free(store);
    EXPECT_EQ(1, found.type);
    EXPECT_EQ(0, __wrap_X509_cmp(cert.get(), found.cert)) << "it outlives the store";
    __wrap_X509_OBJECT_free_contents(&found);
}

} // namespace
