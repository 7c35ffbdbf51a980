/*
 * orvaneSoapInt.h -- shared by the sources of the codec: the state of one write and of one read
 *
 * The exported routines are thin: each makes such a state from the session and calls the routine below
 * that does the work. Tests use these where they have no session.
 *
 * Ownership: states live on the stack of the outermost call and borrow everything they name.
 * Errors:    as in orvaneSoap.h.
 * Threads:   a state belongs to one call.
 */
#pragma once

#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapCheck.h"
#include "ozy/lib/orvane/soap/orvaneSoapPlan.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

/* The service that a request is written for. */
struct SoapDestination {
    const char *ns;   /* "ozy25" */
    guint32 versions; /* what the service's version includes, as OrvaneVersionEntry::mask */
};

struct SoapWriter {
    GString *out;
    guint32 versions;
    SoapPlanCache &plans;
    guint numObjects = 0;    /* objects around the value that is being written */
    guint numContainers = 0; /* any values and arrays around it */
    bool *isCut =
        nullptr; /* becomes true when something is left out since it is nested too deeply */
};

/* "isCut", which may be NULL: whether a part of an argument was left out since it is nested too deeply. */
char *OrvaneSoapWriteRequest(const SoapDestination &destination, const char *typeName,
                             const char *objectId, const char *methodName,
                             const OrvaneArgument *arguments, guint count, gsize *length,
                             bool *isCut = nullptr);
bool OrvaneSoapWriteValue(const SoapWriter &writer, std::string_view name, const GValue *value);
bool OrvaneSoapWriteObject(const SoapWriter &writer, std::string_view name, GObject *object);

bool OrvaneSoapWriteAny(const SoapWriter &writer, std::string_view name, const GValue *held);
/* An element per member; an empty array is nothing, and false. */
bool OrvaneSoapWriteArray(const SoapWriter &writer, std::string_view name,
                          const GValueArray *array);

/* Simple values; each writes one element, or nothing if it yields false. */
bool OrvaneSoapWriteText(GString *out, std::string_view name, std::string_view xsiType,
                         std::string_view content);
bool OrvaneSoapWriteEscaped(GString *out, std::string_view name, std::string_view xsiType,
                            const char *text);
bool OrvaneSoapWriteSigned(GString *out, std::string_view name, std::string_view xsiType,
                           gint64 number);
bool OrvaneSoapWriteUnsigned(GString *out, std::string_view name, std::string_view xsiType,
                             guint64 number);
bool OrvaneSoapWriteReal(GString *out, std::string_view name, std::string_view xsiType,
                         gdouble number);
bool OrvaneSoapWriteEnum(GString *out, std::string_view name, GType enumType, gint value);
bool OrvaneSoapWriteTimeval(GString *out, std::string_view name, const GTimeVal *value);
bool OrvaneSoapWriteByteArray(GString *out, std::string_view name, const GByteArray *value);
bool OrvaneSoapWriteManaged(GString *out, std::string_view name,
                            const SkemaQormManagedObject *proxy);

/* Makes room for so many more bytes and the NUL. Returns where they begin. */
inline char *OrvaneSoapReserve(GString *out, gsize length) {
    const gsize before = out->len;
    if (before + length >= out->allocated_len) {
        g_string_set_size(out, before + length); /* grows the text by doubling */
        out->len = before;
    }
    return out->str + before;
}

/* Appends the pieces to the text, in order. Inline, so that literals are stored rather than copied. */
template <class... Pieces> inline void OrvaneSoapAppend(GString *out, const Pieces &...pieces) {
    const auto append = [out](const auto &...views) {
        const gsize length = (views.size() + ...);
        char *at = OrvaneSoapReserve(out, length);
        ((at = static_cast<char *>(std::memcpy(at, views.data(), views.size())) + views.size()),
         ...);
        *at = '\0';
        out->len += length;
    };
    append(std::string_view(pieces)...);
}

/* A text that may be NULL, spelled as printf does then. */
inline std::string_view OrvaneSoapSpell(const char *text) {
    return text != nullptr ? text : "(null)";
}

/* The children of an object's element that belong to one property. */
struct SoapRun {
    xmlNode *first; /* NULL: there is none */
    xmlNode *last;
    guint count;
};

/* What the types are that attributes name. Few different names are in a reply, but nearly each element has one. */
class SoapTypeNames {
public:
    struct Named {
        std::string name;
        GType type = 0;
        GType elementType = 0;
    };
    /* Of the attribute "type". */
    const Named &Plain(const char *name);
    /* Of the attribute "xsi:type". */
    const Named &Instance(const char *name);

private:
    Named plain[32];
    Named instance[32];
};

/* Classes of enumerations: a reference to a class takes a lock of GLib. */
class SoapEnumClasses {
public:
    SoapEnumClasses() = default;
    SoapEnumClasses(const SoapEnumClasses &) = delete;
    SoapEnumClasses &operator=(const SoapEnumClasses &) = delete;
    /* NULL if the type has no values. */
    GEnumClass *Get(GType type) {
        TypeClassPtr &held = recent[(type >> 4) % std::size(recent)];
        if (held == nullptr || G_TYPE_FROM_CLASS(held.get()) != type)
            held.reset(G_TYPE_IS_ENUM(type) && G_TYPE_IS_CLASSED(type) ? g_type_class_ref(type)
                                                                       : nullptr);
        return static_cast<GEnumClass *>(held.get());
    }

private:
    TypeClassPtr recent[8];
};

/* Kinds of types: that of a class is found by several questions to GLib. */
class SoapKinds {
public:
    SoapKind Of(GType type) {
        Known &known = recent[(type >> 4) % std::size(recent)];
        if (known.type != type)
            known = {type, OrvaneSoapKind_Of(type)};
        return known.kind;
    }

private:
    struct Known {
        GType type = 0;
        SoapKind kind = SoapKind::Other;
    };
    Known recent[16];
};

struct SoapReader {
    explicit SoapReader(OrvaneSession *owner, OrvaneSoapTree *read = nullptr)
        : session(owner), tree(read) {}

    OrvaneSession *session;
    OrvaneSoapTree *tree;      /* that may have pieces; NULL: all nodes exist */
    std::vector<SoapRun> runs; /* of all objects that are being read, the innermost last */
    SoapPlanCache plans;
    SoapTypeNames typeNames;
    SoapEnumClasses enums;
    SoapKinds kinds;
};

bool OrvaneSoapReadValue(SoapReader *reader, xmlNode *node, GType expectedType, GValue *value);
bool OrvaneSoapReadObject(SoapReader *reader, xmlNode *node, GType objectType, GValue *value);
/* An element whose attributes and name alone determine the type of its value. */
bool OrvaneSoapReadAny(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value);
/* An element whose children are the elements of an array. */
bool OrvaneSoapReadArray(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value);
/*
 * A reference. An application may have made the proxy by a more general class than the reply names; it
 * is then taken as it is wherever the place can hold it.
 */
bool OrvaneSoapReadManaged(SoapReader *reader, xmlNode *node, const SoapFound &found,
                           GValue *value);
/* A word of an enumeration; the class is NULL if it is none. */
bool OrvaneSoapReadWord(const char *content, GEnumClass *words, GValue *value);
bool OrvaneSoapReadFault(SoapReader *reader, xmlNode *node, GValue *value);
bool OrvaneSoapReadLocalizedFault(SoapReader *reader, xmlNode *node, GValue *value);

/* The first child of node that is text; NULL without one. CDATA sections do not count. */
const char *OrvaneSoapContent(const xmlNode *node);

/* The first child of node that is an element, NULL without one. */
inline xmlNode *OrvaneSoapFirstElement(const xmlNode *node) {
    xmlNode *child = node->children;
    while (child != nullptr && child->type != XML_ELEMENT_NODE)
        child = child->next;
    return child;
}

inline bool OrvaneSoapIsElement(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE &&
           std::string_view(reinterpret_cast<const char *>(node->name)) == name;
}

/*
 * Determines the type of an element: the expected type, narrowed by the attributes "type" and
 * "xsi:type". Without an expected type and attributes, the element's name decides. 0 if it is unknown.
 * elementType is that of an array type.
 */
GType OrvaneSoapFindType(const xmlNode *node, GType expectedType, GType *elementType,
                         SoapTypeNames *names);
