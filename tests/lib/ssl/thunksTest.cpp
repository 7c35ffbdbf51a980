// The thunks with targets of the test: each jumps to its own target and changes no argument.
#include "lib/ssl/sslThunkTable.h"

#include <cstdarg>
#include <cstring>

#include <gtest/gtest.h>

#define SSL_NAME(name, library) extern "C" void __wrap_##name();
#include "lib/ssl/sslNames.inc"
#undef SSL_NAME

namespace {

using Function = void (*)();

const Function kThunks[] = {
#define SSL_NAME(name, library) __wrap_##name,
#include "lib/ssl/sslNames.inc"
#undef SSL_NAME
};

/* Restores the former targets, since other tests of the process may use OpenSSL. */
struct SSLThunks : testing::Test {
    std::array<void *, SSL_THUNK_COUNT> before;
    SSLThunks() { memcpy(before.data(), sslThunkTargets, sizeof before); }
    ~SSLThunks() override { memcpy(sslThunkTargets, before.data(), sizeof before); }

    template <class Target> static Target *Through(std::size_t row, Target *target) {
        sslThunkTargets[row] = reinterpret_cast<void *>(target);
        return reinterpret_cast<Target *>(kThunks[row]);
    }
};

std::size_t Right() {
    return 1;
}

std::size_t Wrong() {
    return 0;
}

TEST_F(SSLThunks, EachNameHasItsRowItsLibraryAndItsThunk) {
    EXPECT_EQ(427u, std::size(kThunks));
    for (void *&target : sslThunkTargets)
        target = reinterpret_cast<void *>(Wrong);
    int fromSsl = 0;
    for (std::size_t row = 0; row < SSL_THUNK_COUNT; row++) {
        EXPECT_EQ(1u, Through(row, Right)()) << SSLThunkName(row);
        sslThunkTargets[row] = reinterpret_cast<void *>(Wrong);
        fromSsl += SSLThunkLibraryOf(row) == SSL_LIBSSL;
    }
    EXPECT_EQ(101, fromSsl);
    EXPECT_STREQ("SSL_new", SSLThunkName(SSL_THUNK_SSL_new));
    EXPECT_STREQ("X509V3_EXT_conf", SSLThunkName(SSL_THUNK_COUNT - 1));
}

struct Big {
    long words[6];
};

Big Many(int a, int b, int c, int d, int e, int f, long g, double h, int i, const char *j) {
    return {{a * 10L + b, c * 10L + d, e * 10L + f, g, static_cast<long>(h * 4),
             i + static_cast<long>(strlen(j))}};
}

double Sum(int count, ...) {
    va_list list;
    va_start(list, count);
    double sum = 0;
    for (int i = 0; i < count; i++)
        sum += va_arg(list, double);
    va_end(list);
    return sum;
}

TEST_F(SSLThunks, ArgumentsAndResultsPassUnchanged) {
    const Big big =
        Through(SSL_THUNK_PEM_ASN1_write_bio, Many)(1, 2, 3, 4, 5, 6, 1L << 40, 0.75, 7, "ab");
    EXPECT_EQ((std::array<long, 6>{12, 34, 56, 1L << 40, 3, 9}), std::to_array(big.words));
    EXPECT_EQ(55.0,
              Through(SSL_THUNK_HMAC, Sum)(10, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0));
}

TEST_F(SSLThunks, OneWithoutATargetEndsTheProcessWithItsName) {
    for (std::size_t row : {std::size_t{0}, std::size_t{SSL_THUNK_SSL_new},
                            std::size_t{SSL_THUNK_EVP_cleanup}, SSL_THUNK_COUNT - 1}) {
        sslThunkTargets[row] = nullptr;
        EXPECT_DEATH(kThunks[row](), std::string("SSL wrapper: invoked uninitialized function ") +
                                         SSLThunkName(row) + "!\n");
    }
}

} // namespace
