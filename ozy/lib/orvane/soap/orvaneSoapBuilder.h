/*
 * orvaneSoapBuilder.h -- makes the nodes of orvaneSoapTree.h from plain XML
 *
 *   SoapBuilder builder(content, limits);
 *   if (builder.Make(content + length)) ...        // the nodes below builder.root
 *
 * An element of a long result that is short itself becomes a piece: its text is only checked, "skimmed", and the
 * limits count its nodes as if they existed. Expand() makes them when they are read.
 *
 * Ownership: the nodes are in the builder's blocks. The content must live as long as pieces may be expanded.
 * Errors:    false for a text that is not plain XML, or exceeds the limits.
 * Threads:   a builder belongs to one thread at a time.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include <libxml/tree.h>

#include "ozy/lib/orvane/soap/orvaneSoapBlocks.h"
#include "ozy/lib/orvane/soap/orvaneSoapScan.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

constexpr gsize kSoapMaxAttributes = 8; /* of one element, namespaces included */
constexpr gsize kSoapMaxScope = 16;     /* namespaces that are declared at one place */

/* What a node has in its field "extra". The field "psvi" is where its text begins. */
enum : unsigned short {
    SOAP_NODE_WHOLE,
    SOAP_NODE_CLOSED, /* a piece: it has a name, but neither attributes nor children */
};

/* An attribute as it is in the text. */
struct SoapGiven {
    std::string_view prefix;
    std::string_view name;
    std::string_view value;
};

struct SoapGivenList {
    std::array<SoapGiven, kSoapMaxAttributes> items;
    gsize count = 0;

    SoapGivenList() = default;
    SoapGivenList(const SoapGivenList &other) { *this = other; }
    /* Copies only those that are there. */
    SoapGivenList &operator=(const SoapGivenList &other) {
        count = other.count;
        std::copy_n(other.items.begin(), count, items.begin());
        return *this;
    }
    ~SoapGivenList() = default;
};

/* A start tag. */
struct SoapTag {
    const char *start; /* its '<' */
    SoapScanName name;
    SoapGivenList given;
    bool isEmpty; /* <a/> */
};

/* An element that is not closed yet. */
struct SoapOpened {
    std::string_view name;
    gsize outerScope; /* namespaces that are declared around it */
};

struct SoapDeclared {
    std::string_view prefix;
    xmlNs *ns; /* NULL in an element that is only skimmed */
};

/*
 * Makes the nodes of one text, or only checks and counts them: it skims. Its functions return false where
 * the text is not plain.
 */
class SoapBuilder {
public:
    SoapBuilder(const char *content, const SoapTreeLimits &limits)
        : pieceBytes(limits.pieceBytes), maxBytes(limits.maxBytes), scan{content} {}

    /* The nodes of the whole text, which ends there. */
    bool Make(const char *end);
    bool IsOverLimit() const { return maxBytes != 0 && numBytes > maxBytes; }
    /* The nodes of a piece of a text that was made. The blocks can be rewound when they are no longer used. */
    xmlNode *Expand(const xmlNode *piece);

    xmlNode *root = nullptr;
    SoapBlocks blocks;

private:
    bool Element();
    bool Content();
    bool Start();
    bool End();
    bool TakeTag();
    bool TakeAttribute();
    bool OpenTag();
    bool Declare(xmlNode *node);
    bool AddAttributes(xmlNode *node);
    void AddText(std::string_view more);
    void ExtendText(std::string_view more);

    bool MayBePiece() const;
    bool Skim(bool *isPiece);
    void AddPiece(const char *start, std::string_view name);
    void FindScope(const xmlNode *outer);

    void Open(xmlNode *node, gsize outerScope);
    void Close();
    void Link(xmlNode *node);
    const SoapDeclared *FindNs(std::string_view prefix) const;
    const xmlChar *Copy(std::string_view from);
    const xmlChar *Intern(std::string_view name);
    xmlNode *MakeElement(std::string_view name);
    xmlNode *MakeText(std::string_view from);
    template <class T> T *Zeroed() {
        gpointer memory = blocks.Take(SoapBlocks_Round(sizeof(T)));
        return static_cast<T *>(std::memset(memory, 0, sizeof(T)));
    }

    gsize pieceBytes; /* 0: all nodes are made at once */
    guint64 maxBytes;
    guint64 numBytes =
        0; /* of all nodes, those that were only skimmed included; without their names */
    bool isSkimming = false;
    bool isInResult = false;
    SoapScan scan;
    SoapTag tag;
    xmlDoc *doc = nullptr;     /* in the blocks; only the target of all nodes' doc pointers */
    xmlNode *parent = nullptr; /* the innermost open element that has a node */
    std::vector<SoapOpened> open;
    bool hasText = false; /* the last child of the innermost open element is a text */
    gsize textLength = 0;
    gsize textCapacity = 0;
    xmlNode *text = nullptr; /* its node */
    std::array<SoapDeclared, kSoapMaxScope>
        scope; /* declared by the open elements, the innermost last */
    gsize scopeSize = 0;
    const xmlNode *scopeOf = nullptr; /* whose namespaces the scope was filled with for a piece */
    gsize scopeOfSize = 0;
    /* Recent names, by a cheap hash: most elements have the name of an earlier one. */
    std::array<std::string_view, 64> names{};
};
