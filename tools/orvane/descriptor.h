/*
 * descriptor.h -- a file descriptor that is closed at the end of a scope
 */
#pragma once

#include <unistd.h>

namespace orvaneCli {

/* Takes what open() returned, -1 included. Standard input stays open. */
class Descriptor {
public:
    explicit Descriptor(int opened) : number(opened) {}
    ~Descriptor() {
        if (number > STDIN_FILENO)
            close(number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int Number() const { return number; }

private:
    int number;
};

} // namespace orvaneCli
