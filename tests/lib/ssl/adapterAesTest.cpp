// AES by the low-level names, beside OpenSSL's own functions of these names: byte for byte the same.
#include <array>
#include <cstring>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ssl/ssl.h>

#include "lib/ssl/sslThunks.h"
#include "tests/lib/crypto/bytes.h"

namespace {

/* OpenSSL's own functions, which the adapters do not hide from whoever looks into the object itself. */
struct Genuine {
    decltype(__wrap_AES_set_encrypt_key) *setEncryptKey;
    decltype(__wrap_AES_set_decrypt_key) *setDecryptKey;
    decltype(__wrap_AES_cbc_encrypt) *cbc;
};

template <class Function> void Find(void *object, const char *name, Function **function) {
    *function = reinterpret_cast<Function *>(dlsym(object, name));
    ASSERT_NE(nullptr, *function) << name;
}

struct SSLAdapterAes : ::testing::Test {
    void SetUp() override {
        SSL_Init(nullptr, nullptr, nullptr);
        void *object = dlopen("libcrypto.so.3", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, object) << dlerror();
        Find(object, "AES_set_encrypt_key", &genuine.setEncryptKey);
        Find(object, "AES_set_decrypt_key", &genuine.setDecryptKey);
        Find(object, "AES_cbc_encrypt", &genuine.cbc);
    }

    Genuine genuine{};
};

AES_KEY EmptyKey() {
    AES_KEY key;
    memset(&key, 0xee, sizeof key);
    return key;
}

TEST_F(SSLAdapterAes, SchedulesAreTheGenuineOnes) {
    for (int bits : {128, 192, 256}) {
        for (guint32 seed = 1; seed <= 20; seed++) {
            const Bytes bytes = SomeBytes(32, seed);
            AES_KEY ours = EmptyKey();
            AES_KEY theirs = EmptyKey();
            EXPECT_EQ(0, __wrap_AES_set_encrypt_key(bytes.data(), bits, &ours));
            EXPECT_EQ(0, genuine.setEncryptKey(bytes.data(), bits, &theirs));
            EXPECT_EQ(0, memcmp(&ours, &theirs, sizeof ours)) << bits;
            ours = theirs = EmptyKey();
            EXPECT_EQ(0, __wrap_AES_set_decrypt_key(bytes.data(), bits, &ours));
            EXPECT_EQ(0, genuine.setDecryptKey(bytes.data(), bits, &theirs));
            EXPECT_EQ(0, memcmp(&ours, &theirs, sizeof ours)) << bits;
        }
    }
    const Bytes bytes(32);
    AES_KEY key = EmptyKey();
    for (auto *set : {__wrap_AES_set_encrypt_key, __wrap_AES_set_decrypt_key}) {
        for (int bits : {-128, 0, 127, 129, 160, 512})
            EXPECT_EQ(-2, set(bytes.data(), bits, &key)) << bits;
        EXPECT_EQ(-1, set(nullptr, 128, &key));
        EXPECT_EQ(-1, set(bytes.data(), 128, nullptr));
    }
}

/* Each length up to some blocks more than are decrypted side by side, whole blocks or not, into another buffer or in
 * place; beyond it too, where OpenSSL completes a block. */
TEST_F(SSLAdapterAes, ChainsOfAnyLengthAreTheGenuineOnes) {
    constexpr size_t kRoom = 16 * 20;
    for (int bits : {128, 192, 256}) {
        AES_KEY keys[2];
        const Bytes keyBytes = SomeBytes(32, static_cast<guint32>(bits));
        __wrap_AES_set_encrypt_key(keyBytes.data(), bits, &keys[AES_ENCRYPT]);
        __wrap_AES_set_decrypt_key(keyBytes.data(), bits, &keys[AES_DECRYPT]);
        for (size_t size = 0; size <= kRoom - 16; size++) {
            for (int direction : {AES_ENCRYPT, AES_DECRYPT}) {
                for (bool isInPlace : {false, true}) {
                    const Bytes in = SomeBytes(kRoom, 7);
                    std::array<Bytes, 2> outs = {Bytes(kRoom, 0xee), Bytes(kRoom, 0xee)};
                    std::array<Bytes, 2> ivs = {SomeBytes(16, 9), SomeBytes(16, 9)};
                    if (isInPlace)
                        outs = {in, in};
                    for (size_t i = 0; i < 2; i++) {
                        auto *cbc = i == 0 ? __wrap_AES_cbc_encrypt : genuine.cbc;
                        cbc(isInPlace ? outs[i].data() : in.data(), outs[i].data(), size,
                            &keys[direction], ivs[i].data(), direction);
                    }
                    ASSERT_EQ(outs[0], outs[1])
                        << bits << " " << size << " " << direction << " " << isInPlace;
                    ASSERT_EQ(ivs[0], ivs[1])
                        << bits << " " << size << " " << direction << " " << isInPlace;
                }
            }
        }
    }
}

} // namespace
