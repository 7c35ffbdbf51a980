#include "lib/misc/err.h"

#include <cstring>

#include <gtest/gtest.h>

#include "tests/lib/lock/inThreads.h"

namespace {

TEST(Err, OneNumberHasOneTextAtOneAddress) {
    errno = EINTR;
    const char *text = Err_Errno2String(ENOENT);
    EXPECT_STREQ(strerror(ENOENT), text);
    EXPECT_EQ(EINTR, errno);
    EXPECT_EQ(text, Err_Errno2String(ENOENT));
    EXPECT_EQ(ENOENT, Err_String2Errno(text));
    EXPECT_EQ(Err_Errno2String(EINTR), Err_ErrString());
    EXPECT_EQ(0, Err_String2Errno(Err_Errno2String(0)));

    const std::string copy = text;
    EXPECT_EQ(-1, Err_String2Errno(copy.c_str()));
    EXPECT_EQ(-1, Err_String2Errno(text + 1));
    EXPECT_EQ(-1, Err_String2Errno(nullptr));
    EXPECT_STREQ("Unknown error 123456789", Err_Errno2String(123456789));
}

TEST(ErrThread, ThreadsThatAskAtOnceGetTheSameText) {
    constexpr int kNumbers = 500;
    std::vector<std::vector<const char *>> seen(8, std::vector<const char *>(kNumbers));
    InThreads(8, [&](int number) {
        for (int i = 0; i < kNumbers; i++)
            seen[number][i] = Err_Errno2String(2000 + i);
    });
    for (const auto &texts : seen)
        EXPECT_EQ(seen[0], texts);
    for (int i = 0; i < kNumbers; i++)
        EXPECT_EQ(2000 + i, Err_String2Errno(seen[0][i]));
}

} // namespace
