/*
 * basicHttpSecretName.h -- names of secrets, such as "password", in texts that quote them in any form
 *
 * Nobody can list the forms in which a secret may be quoted. So names are searched with all escapes of single characters
 * undone, and with line ends, hyphens and markup taken out. A text that hides the names themselves, as Base64 does, is not
 * recognised.
 *
 * The time is in proportion to the length of the text, whatever is in it. Threads: no state.
 */
#pragma once

#include <array>
#include <string>
#include <string_view>

#include <glib.h>

constexpr size_t kBasicHttpMaxShown = 32 * 1024; /* the log shows no more of a text */

std::string BasicHttpLower(std::string_view text);

/* A text in lower case, on the stack unless it is long. */
class BasicHttpLowered {
public:
    enum Which { kAll, kLettersAndDigits };
    BasicHttpLowered(std::string_view text, Which which) {
        if (text.size() > near.size())
            far.resize(text.size());
        char *to = far.empty() ? near.data() : far.data();
        char *end = to;
        for (char c : text) {
            if (which == kAll || g_ascii_isalnum(c))
                *end++ = g_ascii_tolower(c);
        }
        all = {to, size_t(end - to)};
    }
    BasicHttpLowered(const BasicHttpLowered &) = delete;
    BasicHttpLowered &operator=(const BasicHttpLowered &) = delete;
    std::string_view Text() const { return all; }

private:
    std::array<char, 256> near;
    std::string far;
    std::string_view all;
};

/* Whether an element or member of that name in lower case, with or without a prefix, is a secret. */
bool BasicHttpSecretName_IsElement(std::string_view lowerName);

/* Behind the first name of a secret; the end of the text if there is none. */
size_t BasicHttpSecretName_End(std::string_view lower);

/* The text up to the first name of a secret, with what is put in the place of the rest. */
std::string BasicHttpSecretName_Cut(std::string_view text, std::string_view instead);
