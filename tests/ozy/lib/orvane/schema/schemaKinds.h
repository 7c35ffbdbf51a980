/*
 * schemaKinds.h -- types with a field, and methods with arguments, of every kind of value: the
 * shipped schema does not use all of them
 *
 *   data TestKinds : DynamicData      oneKind, maybeKind? and allKind[] for each Kind of Rows()
 *   data TestNumbers : TestKinds      no fields
 *   fault TestFault : MethodFault     proxy ManagedObject
 *   managed TestProxy : ManagedObject proxy ManagedObject  proxies ManagedObject[]?  value any?
 *   managed TestProxyBelow : TestProxy
 *
 * and for each Kind a method TestProxy.TakeKind(one Kind, maybe Kind?, all Kind[]?, likely ~Kind!) TestKinds[].
 *
 * They are an overlay that the test program adds before its first test.
 *
 * Ownership: the tables live as long as the program.
 */
#pragma once

#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "tests/ozy/lib/orvane/schema/shownValue.h"

namespace schemaKinds {

struct KindRow {
    SchemaValueKind kind;
    const char *word;       /* "Boolean" of the field "oneBoolean" */
    const char *type;       /* wire name of the type, for kinds that have one */
    void (*fill)(GValue *); /* puts the sample into a value of the kind's type */
    const char *sample;     /* the sample as Show() spells it */
};

std::span<const KindRow> Rows();
guint MethodOf(const std::string &wireName);

} // namespace schemaKinds
