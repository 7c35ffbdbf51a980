/*
 * logText.h -- the lines that the log keeps in memory
 *
 *   LogRing_Clear();
 *   ... what writes to the log ...
 *   EXPECT_EQ("W SSL: connect failed\n", LogText());
 *   EXPECT_EQ(1u, CountInLog("connect failed"));
 */
#pragma once

#include <string>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"

inline std::string LogText() {
    return GPtr<char>(LogRing_Copy()).get();
}

inline size_t CountInLog(std::string_view text) {
    const std::string log = LogText();
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
        count++;
    return count;
}
