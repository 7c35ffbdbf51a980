/*
 * orvaneSessionVersion.h -- which version of the schema a service speaks, out of the documents that it
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
 * The first namespace of which the library knows a version is taken: its current version if that is
 * known, otherwise the highest prior one that is.
 *
 * An older service has a WSDL instead, whose first import names the version:
 *
 *   <definitions><import namespace="urn:ozy25"/>...</definitions>
 *
 * Ownership: texts are the caller's.
 * Errors:    what cannot be used yields no version; there is no reason to tell.
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
/* What a service speaks that tells nothing. */
OrvaneServiceVersion OrvaneServiceVersion_Default();
