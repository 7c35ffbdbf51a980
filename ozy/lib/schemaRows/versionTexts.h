/*
 * versionTexts.h -- the wire texts of the releases of the schema, in the order of their quarks:
 * "" (part of every release), "ozy2/2.0", "ozy25/2.5", ...
 *
 * The place in this list is the number by which the rows of the schema name the release that
 * brought a field, and its bit in OrvaneVersionEntry::mask. schemagen and the
 * version catalogue both read it here, so the two cannot drift apart.
 *
 * Threads: constant data.
 */
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

inline constexpr auto kVersionTexts = std::to_array<const char *>({
    "",
    "ozy2/2.0",
    "ozy25/2.5",
    "ozy25/2.5u2",
    "ozy25/2.5u2server",
    "ozy25/4.0",
    "ozy25/4.1",
    "ozy25/5.0",
    "ozy25/5.1",
    "ozy25/5.5",
    "ozy25/6.0",
    "ozy25/dev2",
    "ozy25/r15i2",
    "ozy25/r15i3",
    "ozy25/r15i4",
    "ozy25/r15i4x3CD75",
    "reflect/1.0",
    "ferry/1.0",
    "ferry/2.0",
    "ferry/3.0",
    "ferry/4.0",
    "ferry/5.0",
});

static_assert(kVersionTexts.size() <= 32, "OrvaneVersionEntry::mask has a bit for each");

/* The place of a wire text in the list, or -1. */
constexpr int VersionTexts_Index(std::string_view wireText) {
    const auto found = std::ranges::find(kVersionTexts, wireText,
                                         [](const char *text) { return std::string_view(text); });
    return found == kVersionTexts.end() ? -1 : static_cast<int>(found - kVersionTexts.begin());
}
