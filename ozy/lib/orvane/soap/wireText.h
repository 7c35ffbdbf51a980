/*
 * wireText.h -- a body as text for people: indented, without secrets, safe for a terminal
 *
 *   <a><b x="1">t</b><password>p</password></a>      <a>
 *                                                      <b x="1">t</b>
 *                                                      <password>[redacted]</password>
 *                                                    </a>
 *
 * Hidden are the contents of elements and attributes that are named after a secret, and what follows the name of a secret
 * in a text. If a text or an attribute is just such a name ("guestinfo.password"), the values beside it are hidden, too.
 * Comments, processing instructions and the namespaces of prefixes are left out. The end of a body that was cut is
 * simply missing.
 *
 * A page of HTML, and a body that is no XML, is shown by the rules of BasicHttp_Redact(), each of its lines on one line.
 *
 * The time is in proportion to the length of the body, whatever is in it. Secrets in XML are not copied.
 *
 * Errors:  none.
 * Threads: stateless; may be called from any thread.
 */
#pragma once

#include <string>
#include <string_view>

/* Appends the lines to a text. Each begins with a newline and two blanks. */
void WireText_Append(std::string *out, std::string_view body);
