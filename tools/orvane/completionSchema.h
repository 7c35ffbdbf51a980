/*
 * completionSchema.h -- words of the schema for a command line that is being typed
 *
 *   methods, the arguments of a method as "NAME=", and their values where the schema lists them
 *   property paths: "config.hardware.device[*].label"
 *   the names that "orvane set" takes, and their values
 *
 * Threads: the one of the library's loop.
 */
#pragma once

#include <string>
#include <vector>

#include <glib-object.h>

#include "tools/orvane/completionWords.h"

namespace orvaneCli {

/* The words of kMethod, kArgument, kProperty or kSetting for an object of the class, which is 0 if it is not known. They
 * need not begin like what is typed. */
std::vector<std::string> SchemaWords(const Completion &completion, GType type);

} // namespace orvaneCli
