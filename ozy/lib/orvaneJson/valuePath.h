/*
 * valuePath.h -- where in an object a value is, for messages: "config.device[3].key"
 *
 * A step lives on the stack of the function that goes down, and refers to the one above it.
 */
#pragma once

#include <string>

#include <glib.h>

struct ValuePath {
    const ValuePath *above = nullptr;
    const char *name = nullptr; /* of a property; NULL for an element and for the whole text */
    gint index = -1;            /* of an element */

    std::string Text() const {
        std::string text = above != nullptr ? above->Text() : "";
        if (index >= 0)
            return text + "[" + std::to_string(index) + "]";
        if (name == nullptr)
            return text;
        return text.empty() ? name : text + "." + name;
    }
};

/* Sets an error "path: text"; without a path, the text alone. Returns false. */
bool ValuePath_Fail(const ValuePath *path, gint code, const std::string &text, GError **error);
