/*
 * wipedTexts.h -- texts that may hold a secret, such as the arguments of a call
 *
 *   const WipedTexts wiped(options.arguments);          // overwritten at the end of the scope
 *
 * Only what these texts hold is wiped. The command line itself is seen by other users of the machine: a secret is better read
 * from a file or from stdin.
 */
#pragma once

#include <cstring>
#include <string>
#include <vector>

namespace orvaneCli {

/* Overwrites a text, also what a move has left in it, and empties it. */
inline void WipeText(std::string &text) {
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
    text.clear();
}

class WipedTexts {
public:
    explicit WipedTexts(std::vector<std::string> &itsTexts) : texts(itsTexts) {}
    ~WipedTexts() {
        for (std::string &text : texts)
            WipeText(text);
    }
    WipedTexts(const WipedTexts &) = delete;
    WipedTexts &operator=(const WipedTexts &) = delete;

private:
    std::vector<std::string> &texts;
};

} // namespace orvaneCli
