/*
 * orvaneSoapTree.h -- a reply's tree of nodes, made in a few big blocks
 *
 * libxml2 allocates and frees each node, text and attribute of a tree separately, which is most of
 * the time that a reply takes. Here the same nodes are made in blocks of memory that are freed, or kept
 * for the next reply, as a whole. They are ordinary xmlNodes to read; nothing may be
 * added, freed or unlinked, and libxml2 is never to free them.
 *
 *   SoapTreePtr tree(OrvaneSoapTree_Parse(content, length, "noname.xml", maxBytes));
 *   if (tree == nullptr) ...
 *   xmlNode *root = OrvaneSoapTree_Root(tree.get());
 *
 * Only plain XML is read in this way, see orvaneSoapScan.h. All other texts, malformed ones included,
 * are parsed by OrvaneSoap_ParseDocument(), which reads or refuses them and writes to the log.
 *
 * The content ends with a NUL behind its length bytes, as a response's does. Further NULs at its end are
 * ignored. maxBytes limits the memory of the tree, 0 for no limit; it is exceeded by no more than the
 * longest text.
 *
 * Ownership: the tree is the caller's; nodes, names and texts live as long as it.
 * Errors:    NULL for a text that is refused.
 * Threads:   a tree belongs to one thread at a time; any thread may make and free trees.
 */
#pragma once

#include <libxml/tree.h>

#include "lib/misc/glibPtr.h"

struct OrvaneSoapTree;

OrvaneSoapTree *OrvaneSoapTree_Parse(const char *content, gsize length, const char *name,
                                     guint64 maxBytes);
xmlNode *OrvaneSoapTree_Root(const OrvaneSoapTree *tree);
/* Whether the nodes are in blocks; if not, libxml2 parsed the text. */
bool OrvaneSoapTree_IsInBlocks(const OrvaneSoapTree *tree);
void OrvaneSoapTree_Free(OrvaneSoapTree *tree);

using SoapTreePtr = std::unique_ptr<OrvaneSoapTree, Release<OrvaneSoapTree_Free>>;
