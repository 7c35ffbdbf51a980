/*
 * orvaneSoapKinds.h -- the kinds of value that cross the wire, a row each
 *
 * A row says how a value is read and written and when a property of that kind can be stored without the
 * property system. A new kind is a name in SoapKind, a row in orvaneSoapKinds.cpp, and the types
 * that are of it in OrvaneSoapKind_Of().
 *
 * Threads: constant data; the functions of a row belong to the call that reads or writes.
 */
#pragma once

#include <array>
#include <string_view>

#include <glib-object.h>
#include <libxml/tree.h>

enum class SoapKind : guint8 {
    None, /* G_TYPE_NONE: the result of a method without result */
    Byte,
    UnsignedByte,
    Boolean,
    Int,
    UnsignedInt,
    Long,
    UnsignedLong,
    Int64,
    UnsignedInt64,
    Float,
    Double,
    String,
    Enum,
    Any,
    Array,
    Timeval,
    Uri,
    ByteArray,
    Managed,
    Fault, /* a fault, or the wrapper with a fault's localised message; both unwrap when read */
    Object,
    Other, /* nothing that crosses the wire */
};

struct SoapProperty;
struct SoapReader;
struct SoapWriter;

/* What is known of an element's type. */
struct SoapFound {
    GType type; /* to read it as */
    SoapKind kind;
    GType elementType; /* of an array's elements; 0: each element has its own */
    GType expected;    /* what the place can hold; 0: anything */
};

struct SoapKindRow {
    SoapKind kind;
    bool isLeaf = false;      /* no attribute of an element narrows its type */
    bool ownsNothing = false; /* a value has nothing to release */

    /* Reads an element into a value that was initialised with the type found. */
    bool (*read)(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value);
    /* Writes a value as one element or several; writes nothing and returns false if it cannot. */
    bool (*write)(const SoapWriter &writer, std::string_view name, const GValue *value);
    /* The same for what a class of the schema keeps through one pointer; NULL: it keeps none. */
    bool (*writeHeld)(const SoapWriter &writer, std::string_view name, gpointer held) = nullptr;

    /* Whether GLib stores each value that fits as it is, without validation; NULL: never. */
    bool (*isPlain)(const GParamSpec *pspec) = nullptr;
    /* Whether such a property takes the value; NULL: it takes any of its type. */
    bool (*fits)(const SoapProperty &property, const GValue *value) = nullptr;
};

constexpr std::size_t kNumSoapKinds = static_cast<std::size_t>(SoapKind::Other) + 1;
extern const std::array<SoapKindRow, kNumSoapKinds> kSoapKindRows;

inline const SoapKindRow &OrvaneSoapKind_Row(SoapKind kind) {
    return kSoapKindRows[static_cast<std::size_t>(kind)];
}

SoapKind OrvaneSoapKind_Of(GType type);
