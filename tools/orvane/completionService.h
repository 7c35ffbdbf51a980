/*
 * completionService.h -- words of a service for a command line that is being typed, in time or not at all
 *
 * A process of its own asks the service, so that the user does not wait longer than 300 ms; that process then still logs
 * out. It asks the user nothing: without a password in the environment, or with a certificate that is not known, there
 * are no words.
 *
 * Errors:  whatever fails, the result is empty, since the command line is not the place for a message.
 * Threads: none may have been started.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/completionWords.h"

namespace orvaneCli {

/* The words of a kind that is not fixed or a profile, which begin like what is typed. A path that leads on ends in "/".
 * If the class of the object is not known in time, the methods of all classes are returned, the properties of all
 * managed entities, and nothing for "orvane set". */
std::vector<std::string> AskService(const Completion &completion);

} // namespace orvaneCli
