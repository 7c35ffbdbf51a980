/*
 * textWidth.h -- texts in columns of a terminal: "é" takes one, "漢" two, a combining mark none
 *
 * Texts are printable UTF-8; bytes that are not are one column each.
 */
#pragma once

#include <string>
#include <string_view>

namespace orvaneCli {

int TextWidth(std::string_view text);

/* Returns the text, or its beginning with the mark at the end so that both fit into the width. */
std::string CutText(std::string_view text, int width, std::string_view mark);

/* The same with the end of the text, behind the mark. */
std::string CutTextStart(std::string_view text, int width, std::string_view mark);

/* Returns the text with blanks up to the width: behind it, or before it. */
std::string PadText(const std::string &text, int width, bool isRight = false);

} // namespace orvaneCli
