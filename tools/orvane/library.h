/*
 * library.h -- liborvane on the default GMainContext, started for as long as this lives
 */
#pragma once

#include <orvane/orvaneGlib.h>

#include "tools/orvane/failure.h"

namespace orvaneCli {

class Library {
public:
    Library() {
        if (!orvane_glib_init(nullptr))
            throw Failure("the library does not start");
    }
    ~Library() { orvane_glib_shutdown(); }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
};

} // namespace orvaneCli
