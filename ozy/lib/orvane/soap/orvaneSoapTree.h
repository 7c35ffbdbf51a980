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
 * A long reply is read in pieces, so that the nodes of all its objects never exist at the same time:
 *
 *   Envelope - Body - RetrievePropertiesResponse - returnval*      each "returnval" is a piece
 *   Envelope - Body - WaitForUpdatesExResponse - returnval - filterSet - objectSet*   each "objectSet" is one
 *
 * The whole text is read first, and refused if it is not well-formed, before a value of it is seen. What is left are
 * the nodes of long elements and one node for each piece: an element of the result that is no longer than
 * pieceBytes, in a longer one. A piece has a name and siblings. Its attributes and children exist while a
 * SoapOpenPiece does:
 *
 *   const SoapOpenPiece piece(tree, node);
 *   ... piece.Node() ...                           // the node itself if it is no piece
 *
 * The limits are the same in both ways of reading, as if all nodes existed.
 *
 * The content ends with a NUL behind its length bytes, as a response's does. Further NULs at its end are
 * ignored. maxBytes limits the memory of the tree, 0 for no limit; it is exceeded by no more than the
 * longest text. Names of elements and attributes, which are shorter than the content, do not count.
 *
 * Ownership: the tree is the caller's; nodes, names and texts live as long as it. A tree with pieces needs the
 *            content as long as it lives.
 * Errors:    NULL for a text that is refused.
 * Threads:   a tree belongs to one thread at a time; any thread may make and free trees.
 */
#pragma once

#include <libxml/tree.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/soap/orvaneSoapBlocks.h"

struct OrvaneSoapTree;

struct SoapTreeLimits {
    guint64 maxBytes = 0; /* of all nodes; 0: no limit */
    gsize pieceBytes = 0; /* of the text of one piece; 0: there are no pieces */
};

OrvaneSoapTree *OrvaneSoapTree_ParsePieces(const char *content, gsize length, const char *name,
                                           const SoapTreeLimits &limits);
OrvaneSoapTree *OrvaneSoapTree_Parse(const char *content, gsize length, const char *name,
                                     guint64 maxBytes);
/* A session's reply; in pieces if it is long. */
OrvaneSoapTree *OrvaneSoapTree_ParseReply(const char *content, gsize length, guint64 maxBytes);
xmlNode *OrvaneSoapTree_Root(const OrvaneSoapTree *tree);
/* Whether the nodes are in blocks; if not, libxml2 parsed the text. */
bool OrvaneSoapTree_IsInBlocks(const OrvaneSoapTree *tree);
/* The size of the blocks, those included whose nodes were given back. */
gsize OrvaneSoapTree_HeldBytes(const OrvaneSoapTree *tree);
void OrvaneSoapTree_Free(OrvaneSoapTree *tree);

using SoapTreePtr = std::unique_ptr<OrvaneSoapTree, Release<OrvaneSoapTree_Free>>;

/* Access to an element that may be a piece. One piece of a tree is open at a time; the elements inside it are whole. */
class SoapOpenPiece {
public:
    SoapOpenPiece(OrvaneSoapTree *owner, xmlNode *node);
    ~SoapOpenPiece();
    SoapOpenPiece(const SoapOpenPiece &) = delete;
    SoapOpenPiece &operator=(const SoapOpenPiece &) = delete;

    xmlNode *Node() const { return whole; }
    bool IsOpened() const { return tree != nullptr; }

private:
    xmlNode *whole;
    OrvaneSoapTree *tree; /* NULL: nothing was opened */
    SoapMark mark{};
};
