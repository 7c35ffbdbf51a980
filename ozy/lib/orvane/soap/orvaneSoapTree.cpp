#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

#include <climits>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "ozy/lib/orvane/soap/orvaneSoapBuilder.h"
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

namespace {

constexpr gsize kReplyPieceBytes = 16384;
/* Of a reply. A shorter one has no pieces: its nodes take a few MiB for a moment, a second scan of it costs time. */
constexpr gsize kMinPiecesLength = 1 << 20;

} // namespace

struct OrvaneSoapTree {
    OrvaneSoapTree(const char *content, const SoapTreeLimits &limits) : builder(content, limits) {}

    XmlDocPtr doc; /* NULL if the nodes are in blocks */
    xmlNode *root = nullptr;
    SoapBuilder builder;
};

OrvaneSoapTree *OrvaneSoapTree_ParsePieces(const char *content, gsize length, const char *name,
                                           const SoapTreeLimits &limits) {
    while (length > 0 && content[length - 1] == '\0')
        length--;
    SoapTreePtr tree(new OrvaneSoapTree(content, limits));
    if (length > 0 && length <= INT_MAX) {
        if (tree->builder.Make(content + length)) {
            tree->root = tree->builder.root;
            return tree.release();
        }
        if (tree->builder.IsOverLimit()) {
            Log("SOAP: %s refused: its tree takes more than %" G_GUINT64_FORMAT " bytes\n", name,
                limits.maxBytes);
            return nullptr;
        }
        tree.reset(new OrvaneSoapTree(content, limits)); /* without the nodes that were made */
    }
    tree->doc.reset(OrvaneSoap_ParseDocument(content, length, name, limits.maxBytes));
    if (tree->doc == nullptr)
        return nullptr;
    tree->root = xmlDocGetRootElement(tree->doc.get());
    return tree.release();
}

OrvaneSoapTree *OrvaneSoapTree_Parse(const char *content, gsize length, const char *name,
                                     guint64 maxBytes) {
    return OrvaneSoapTree_ParsePieces(content, length, name, {.maxBytes = maxBytes});
}

OrvaneSoapTree *OrvaneSoapTree_ParseReply(const char *content, gsize length, guint64 maxBytes) {
    const gsize pieceBytes = length >= kMinPiecesLength ? kReplyPieceBytes : 0;
    return OrvaneSoapTree_ParsePieces(content, length, "noname.xml", {maxBytes, pieceBytes});
}

xmlNode *OrvaneSoapTree_Root(const OrvaneSoapTree *tree) {
    return tree->root;
}

bool OrvaneSoapTree_IsInBlocks(const OrvaneSoapTree *tree) {
    return tree->doc == nullptr;
}

void OrvaneSoapTree_Free(OrvaneSoapTree *tree) {
    delete tree;
}

gsize OrvaneSoapTree_HeldBytes(const OrvaneSoapTree *tree) {
    return tree->builder.blocks.HeldBytes();
}

SoapOpenPiece::SoapOpenPiece(OrvaneSoapTree *owner, xmlNode *node) : whole(node), tree(owner) {
    if (tree == nullptr || tree->doc != nullptr || node->extra != SOAP_NODE_CLOSED) {
        tree = nullptr;
        return;
    }
    mark = tree->builder.blocks.Mark();
    whole = tree->builder.Expand(node);
    VERIFY(whole != nullptr); /* its text was read before */
}

SoapOpenPiece::~SoapOpenPiece() {
    if (tree != nullptr)
        tree->builder.blocks.Rewind(mark);
}
