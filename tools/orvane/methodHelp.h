/*
 * methodHelp.h -- what a method takes and returns, or what a class of data objects has, as a table
 *
 *   CreateSnapshot_Task of VirtualMachine
 *   Returns: Task. The command waits for its end.
 *
 *   ARGUMENT     TYPE     NEEDED     RELEASE
 *   name         string   yes
 *   description  string   no
 *
 * An argument that is a data object has its properties below it, as "spec.name". As JSON it is an array with an
 * object for each class.
 *
 * Errors: BadUsage for what the schema does not have, with the nearest name.
 */
#pragma once

#include <string>

#include <glib-object.h>

#include "tools/orvane/failure.h"

namespace orvaneCli {

/* Writes the help of a method, of each class that has one of that name; or of a class of data objects. */
void ShowSchemaHelp(const std::string &word);

/* What to say of a method that a class does not have. */
BadUsage NoMethod(const std::string &word, GType type);

/* What to say of a class of which no property is known. */
std::string NoFieldsText(GType type);

} // namespace orvaneCli
