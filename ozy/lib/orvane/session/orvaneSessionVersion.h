/*
 * orvaneSessionVersion.h -- finds out which version of the schema a service uses, from the documents that it
 * publishes
 *
 *   <namespaces>
 *     <namespace>
 *       <name>urn:ozy25</name>
 *       <version>6.0</version>                                    -> "ozy25/6.0" of "ozy25"
 *       <priorVersions><version>5.5</version>...</priorVersions>
 *     </namespace>...
 *   </namespaces>
 *
 * The first namespace with a version that the library knows is selected: its current version if that is
 * known, otherwise the highest known prior version.
 *
 * An older service has a WSDL instead, whose first import names the version:
 *
 *   <definitions><import namespace="urn:ozy25"/>...</definitions>
 *
 * Ownership: the caller owns the texts.
 * Errors:    a document that cannot be used yields no version, without a reason.
 * Threads:   the loop's.
 */
#pragma once

#include "lib/misc/glibPtr.h"

struct OrvaneServiceVersion {
    GPtr<char> version;   /* "ozy25/6.0"; NULL if none was found */
    GPtr<char> nameSpace; /* "ozy25" */
};

/* maxTreeBytes: as OrvaneSoap_ParseDocument() */
OrvaneServiceVersion OrvaneServiceVersion_FromDocument(const char *content, gsize length,
                                                       guint64 maxTreeBytes);
OrvaneServiceVersion OrvaneServiceVersion_FromWsdl(const char *content, gsize length,
                                                   guint64 maxTreeBytes);
/* The version of a service that publishes none. */
OrvaneServiceVersion OrvaneServiceVersion_Default();
