/*
 * resultText.h -- the result of a call on stdout, in the form of the setting "output"
 *
 *   table, plain   a line for a text, number or id; each element of a list on its own; data objects as JSON
 *   json           one document; null without a result
 *   jsonl          the same on one line; a list has a line for each element
 *
 * Errors: Failure, if JSON cannot express it.
 */
#pragma once

#include <string>

#include <glib-object.h>

namespace orvaneCli {

/* A zeroed value is no result. */
void WriteResult(const GValue *value);

/* What an orvane_..._to_json() returned, which is released; a Failure if it is NULL, and the error is released. */
std::string OwnJson(char *json, GError *error);

} // namespace orvaneCli
