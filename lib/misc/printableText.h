/*
 * printableText.h -- text of a peer, made safe for a terminal and for one line of a log
 *
 *   "name\nConnected"  ->  "name\\nConnected"        "\x1b[31m"  ->  "\\x1b[31m"
 *
 * Escaped are: control characters (C0, DEL and C1), so that no terminal obeys the text; line breaks
 * (U+2028 and U+2029 included), so that it stays on its line; marks that change the direction of writing,
 * so that it cannot rearrange its neighbours; and bytes that are not UTF-8. All else stays as it is,
 * backslashes included: the result is for people, and cannot be converted back.
 *
 *   \n \r \t     these three            \x1b \xff        another control byte; a byte that is not UTF-8
 *   \u202e       another character      \U0001f600       one above U+FFFF (in the form ASCII only)
 *
 * Errors:  none; a text of any bytes has a result of at most ten times its size.
 * Threads: stateless; may be called from any thread.
 */
#pragma once

#include <string>
#include <string_view>

enum class PrintableForm {
    Utf8, /* for terminals and files in UTF-8 */
    Ascii, /* for those of another encoding, which may read a part of a character as a control byte */
};

/* Returns the text with everything escaped that a reader or a terminal could be misled by. */
std::string PrintableText_Make(std::string_view foreign, PrintableForm form = PrintableForm::Utf8);
