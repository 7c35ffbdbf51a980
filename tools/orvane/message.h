/*
 * message.h -- what the program says to people, in their language
 *
 *   throw Failure(Text(MSGID("output.failed") "the output cannot be written: %s", why.c_str()));
 *
 * A text has an identifier, "msg.orvane.output.failed", under which the catalogue of a language has its translation:
 * messages/<language>/orvane.mcat beside the program. Without a catalogue, or a line in it, the text is the one of
 * the source. tests/lint/catalogue.sh compares both.
 *
 * Errors:  Interrupted, of Choose().
 * Threads: one.
 */
#pragma once

#include <string>

#include <glib.h>

/* The head of a text. */
#define MSGID(id) "@&!*@*@(msg.orvane." id ")"

namespace orvaneCli {

/* Loads the catalogue of the user's language, and makes what the library says come out as Report() does. */
void StartMessages();
void EndMessages();

/* A text in the language of the user, formatted as by printf(). */
std::string Text(const char *message, ...) G_GNUC_PRINTF(1, 2);

/* A text without arguments, which is no format. */
std::string PlainText(const char *message);

/* What the system says of an errno: "No space left on device". */
const char *ErrorText(int error);

/* Writes a failure or a warning to stderr, behind the program's name. */
void Report(const std::string &text);

/**
 * Asks the user to type the word of a button.
 * buttons:       messages, with NULL at the end
 * defaultButton: index of the answer without a terminal, at the end of the input and after three other words
 * details:       shown above the question
 * question:      a message without arguments; the setting "answer." with its identifier answers in advance
 *
 * Returns the index of a button.
 */
int Choose(const char *const *buttons, int defaultButton, const std::string &details,
           const char *question);

} // namespace orvaneCli
