#include "lib/misc/dynBuf.h"

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

const std::string kWithEnd = {'a', 'b', '\0', 'c', 'd', '\0'};

TEST(DynBuf, KeepsWhatIsAppendedByteByByteAndInPieces) {
    DynBuf buffer;
    DynBuf_Init(&buffer);
    std::string expected;
    for (int i = 0; i < 3000; i++) {
        const std::string piece(size_t(i % 7), char(i));
        expected += piece;
        ASSERT_TRUE(DynBuf_Append(&buffer, piece.data(), piece.size()));
    }
    EXPECT_TRUE(DynBuf_AppendString(&buffer, "end"));
    EXPECT_TRUE(DynBuf_Append(&buffer, nullptr, 0));
    expected += "end";
    EXPECT_EQ(expected, std::string(buffer.data, buffer.size));
    DynBuf_Destroy(&buffer);
    EXPECT_EQ(0u, buffer.size);
}

TEST(DynBuf, DetachesItsTextWithANulWhateverRoomIsLeft) {
    for (gsize reserved : {0, 5, 6, 100, 1000000}) {
        DynBuf buffer;
        DynBuf_Init(&buffer);
        EXPECT_TRUE(DynBuf_Reserve(&buffer, reserved));
        EXPECT_TRUE(DynBuf_Append(&buffer, "ab\0cd", 5));
        gsize size = 0;
        const MallocPtr<char> text(DynBuf_DetachText(&buffer, &size));
        EXPECT_EQ(kWithEnd, std::string(text.get(), size + 1)) << reserved;
        EXPECT_EQ(nullptr, buffer.data);

        const MallocPtr<char> empty(DynBuf_DetachText(&buffer, &size));
        EXPECT_STREQ("", empty.get());
        EXPECT_EQ(0u, size);
    }
}

TEST(DynBuf, IsUnchangedWithoutMemory) {
    DynBuf buffer;
    DynBuf_Init(&buffer);
    ASSERT_TRUE(DynBuf_AppendString(&buffer, "kept"));
    EXPECT_FALSE(DynBuf_Append(&buffer, "x", G_MAXSIZE - 2)) << "more than sizes can say";
    EXPECT_EQ("kept", std::string(buffer.data, buffer.size));
    DynBuf_Destroy(&buffer);
}

} // namespace
