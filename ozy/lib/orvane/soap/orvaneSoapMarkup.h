/*
 * orvaneSoapMarkup.h -- a look at a text's tags before libxml2 parses it
 *
 * libxml2 compares each attribute of an element with all others, and each prefix with all namespaces
 * in scope, before any handler of ours is called. A small text can therefore keep it busy for hours.
 * This module follows the tags of a text in one pass and refuses those with too many of either.
 *
 *   <a b="1" c='2'>text<!-- <d e="3"> --></a>      one element, two attributes
 *
 * libxml2 continues after an error. Where its next tag begins is then hard to determine, so a text whose
 * tags it may read otherwise is reported as malformed. libxml2 would refuse it as well.
 *
 * Errors:  as SoapMarkup.
 * Threads: stateless; may be called from any thread.
 */
#pragma once

#include <string_view>

#include <glib.h>

enum class SoapMarkup {
    Fine, /* no element has too many; the text may still be malformed in harmless ways */
    DocumentType,
    TooManyAttributes,
    Malformed,
};

/* Attributes and namespace declarations of one element. */
inline constexpr gsize kSoapMaxAttributes = 256;
/* Namespace declarations of an element and all elements around it. */
inline constexpr gsize kSoapMaxNamespaces = 1024;

/* @text is UTF-8, or what claims to be. */
SoapMarkup OrvaneSoapMarkup_Check(std::string_view text);
