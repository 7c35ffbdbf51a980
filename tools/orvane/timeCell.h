/*
 * timeCell.h -- a time of the service in a list:  2026-01-02T03:04:05.678000Z  ->  2026-01-02 04:04:05
 *
 * A table has it in the time zone of the user; the other forms of output have it as the service sent it.
 */
#pragma once

#include <string>

#include "tools/orvane/printer.h"

namespace orvaneCli {

/* A text that is no time is shown as it is; an empty one is nothing. */
Cell TimeCell(const std::string &text);

} // namespace orvaneCli
