/*
 * jsonText.h -- a text of a service as a JSON string:  a"b  ->  "a\"b"
 *
 * Control characters (C0, DEL, C1) and marks that change the direction of text are written as escapes, so that the
 * result can be shown on a terminal. Bytes that are not UTF-8 become U+FFFD.
 */
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace orvaneCli {

/* Appends the text, with its quotation marks. */
void AppendJsonText(std::string &json, std::string_view text);

std::string JsonText(std::string_view text);

/* A document in one line, with its texts escaped in the same way. */
std::string TerminalJson(const nlohmann::ordered_json &document);

/* The text of a document that nlohmann-json has written, with what it leaves in strings escaped in the same way. */
std::string EscapeJson(std::string_view json);

} // namespace orvaneCli
